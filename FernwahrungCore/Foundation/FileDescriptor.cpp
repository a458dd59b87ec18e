#include "Foundation/FileDescriptor.h"

#include <array>
#include <cerrno>

namespace fernwahrung {

std::optional<std::string> readToEnd(int fd) {
  std::string bytes;
  std::array<char, 65536> buffer;
  while (true) {
    const auto count = ::read(fd, buffer.data(), buffer.size());
    if (count == 0) return bytes;
    if (count > 0) {
      bytes.append(buffer.data(), static_cast<std::size_t>(count));
    } else if (errno != EINTR) {
      return std::nullopt;
    }
  }
}

bool writeAll(int fd, std::string_view data) {
  while (!data.empty()) {
    const auto count = ::write(fd, data.data(), data.size());
    if (count >= 0) {
      data.remove_prefix(static_cast<std::size_t>(count));
    } else if (errno != EINTR) {
      return false;
    }
  }
  return true;
}

}  // namespace fernwahrung
