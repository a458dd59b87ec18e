#include "Platform/linux/Attributes.h"

#include "Foundation/FileDescriptor.h"
#include "Foundation/Text.h"
#include "Platform/SystemCalls.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <sys/xattr.h>
#include <unistd.h>
#include <vector>

namespace fernwahrung::System {
namespace {

constexpr std::string_view accessLists[] = {"system.posix_acl_access", "system.posix_acl_default"};

bool isAccessList(std::string_view name) {
  return std::find(std::begin(accessLists), std::end(accessLists), name) != std::end(accessLists);
}

/// Calls `ask` with a growing buffer until the answer fits; -1 with errno on failure.
template <typename Ask>
ssize_t growing(std::string& buffer, Ask ask) {
  buffer.resize(std::max<std::size_t>(buffer.size(), 1024));
  for (;;) {
    const ssize_t length = ask(buffer.data(), buffer.size());
    if (length >= 0 || errno != ERANGE) return length;
    buffer.resize(buffer.size() * 2);
  }
}

/// Security labels, capabilities and notes of the file system itself belong to the place and need rights of
/// their own.
bool mayStayBehind(std::string_view name, int error) {
  const bool ofUser = name.substr(0, 5) == "user." || isAccessList(name);
  return !ofUser && (error == EPERM || error == EACCES || error == EOPNOTSUPP || error == EINVAL);
}

std::error_code copyExtendedAttributes(int from, int to) {
  std::string list;
  const ssize_t listLength =
      growing(list, [&](char* data, std::size_t size) { return ::flistxattr(from, data, size); });
  if (listLength < 0) return errno == EOPNOTSUPP ? std::error_code() : errorCode(errno);
  const std::vector<std::string> names =
      Text::split(std::string_view(list).substr(0, static_cast<std::size_t>(listLength)), '\0');

  std::string value;
  for (const std::string& name : names) {
    if (name == lockMarker) continue;
    const ssize_t length = growing(
        value, [&](char* data, std::size_t size) { return ::fgetxattr(from, name.c_str(), data, size); });
    if (length >= 0 &&
        ::fsetxattr(to, name.c_str(), value.data(), static_cast<std::size_t>(length), 0) == 0) {
      continue;
    }
    if (errno != ENODATA && !mayStayBehind(name, errno)) return errorCode(errno);
  }
  // What the new item inherited from the folder above it is not the original's.
  for (const std::string_view list_ : accessLists) {
    if (std::find(names.begin(), names.end(), list_) == names.end()) ::fremovexattr(to, list_.data());
  }
  return {};
}

}  // namespace

std::error_code copyAttributes(int from, const struct stat& status, int to) {
  // The owner first, as changing it clears bits of the mode; the times last, as every step touches them.
  if (::fchown(to, status.st_uid, status.st_gid) != 0 && errno != EPERM) return errorCode(errno);
  if (const auto error = copyExtendedAttributes(from, to)) return error;
  if (::fchmod(to, status.st_mode & 07777) != 0) return errorCode(errno);
  const timespec times[] = {status.st_atim, status.st_mtim};
  if (::futimens(to, times) != 0) return errorCode(errno);
  return {};
}

std::error_code copyDirectoryAttributes(const std::string& from, const std::string& to) {
  const FileDescriptor source(::open(from.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!source) return errorCode(errno);
  const FileDescriptor target(::open(to.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!target) return errorCode(errno);
  struct stat status;
  if (::fstat(source.get(), &status) != 0) return errorCode(errno);
  return copyAttributes(source.get(), status, target.get());
}

}  // namespace fernwahrung::System
