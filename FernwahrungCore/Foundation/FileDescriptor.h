#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <unistd.h>
#include <utility>

namespace fernwahrung {

/// Owns a file descriptor; -1 is none.
class FileDescriptor {
 public:
  FileDescriptor() = default;
  explicit FileDescriptor(int fd) : fd_(fd) {}
  FileDescriptor(FileDescriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    if (this != &other) {
      reset();
      fd_ = std::exchange(other.fd_, -1);
    }
    return *this;
  }
  ~FileDescriptor() { reset(); }

  int get() const { return fd_; }
  explicit operator bool() const { return fd_ >= 0; }
  void reset() {
    if (fd_ >= 0) ::close(std::exchange(fd_, -1));
  }
  /// Gives the descriptor away without closing it.
  int release() { return std::exchange(fd_, -1); }

 private:
  int fd_ = -1;
};

/// The bytes from here to the end. Nothing when a read fails; errno says why.
std::optional<std::string> readToEnd(int fd);
/// Every byte, in as many calls as it takes. False when one fails; errno says why.
bool writeAll(int fd, std::string_view data);

}  // namespace fernwahrung
