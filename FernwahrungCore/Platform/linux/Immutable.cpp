// Two ways to lock. Root sets the inode's immutable flag. An ordinary user may not, and takes the write
// permissions away instead; the marker remembers them, and tells a locked folder from one that was
// write-protected all along.
#include "Foundation/FileDescriptor.h"
#include "Foundation/Text.h"
#include "Platform/SystemCalls.h"
#include "Platform/linux/Attributes.h"

#include <cerrno>
#include <charconv>
#include <fcntl.h>
#include <linux/fs.h>
#include <optional>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace fernwahrung::System {
namespace {

constexpr mode_t writeBits = S_IWUSR | S_IWGRP | S_IWOTH;

/// Only files and folders: opening anything else could wait or wake a device.
FileDescriptor openItem(const std::string& path) {
  struct stat status;
  if (::lstat(path.c_str(), &status) != 0) return {};
  if (!S_ISDIR(status.st_mode) && !S_ISREG(status.st_mode)) {
    errno = EOPNOTSUPP;
    return {};
  }
  return FileDescriptor(::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
}

/// The inode's flags; nothing where the file system has none.
std::optional<int> inodeFlags(int fd) {
  int flags = 0;
  if (::ioctl(fd, FS_IOC_GETFLAGS, &flags) != 0) return std::nullopt;
  return flags;
}

bool hasImmutableFlag(int fd) {
  return inodeFlags(fd).value_or(0) & FS_IMMUTABLE_FL;
}

/// The permission bits kept in the marker; nothing when there is none.
std::optional<mode_t> markedMode(int fd) {
  char text[16];
  const ssize_t length = ::fgetxattr(fd, lockMarker, text, sizeof text);
  if (length < 0 && errno != ERANGE) return std::nullopt;
  // A damaged marker still marks; the owner gets his own rights back.
  if (length < 0) return S_IRWXU;
  const auto mode = Text::toInteger<mode_t>({text, static_cast<std::size_t>(length)}, 8);
  return mode && *mode <= 07777 ? *mode : S_IRWXU;
}

bool isWriteProtected(const struct stat& status) {
  return (status.st_mode & writeBits) == 0;
}

int setMarker(int fd, mode_t mode) {
  char text[8];
  const auto [end, error] = std::to_chars(text, text + sizeof text, static_cast<unsigned>(mode), 8);
  return ::fsetxattr(fd, lockMarker, text, static_cast<std::size_t>(end - text), 0);
}

std::error_code lockAsUser(int fd, mode_t mode) {
  // The marker needs the right to write, so it comes before that right goes.
  if (setMarker(fd, mode) != 0) {
    if (errno != EACCES) return errorCode(errno);
    if (::fchmod(fd, mode | S_IWUSR) != 0) return errorCode(errno);
    if (setMarker(fd, mode) != 0) {
      const auto error = errorCode(errno);
      ::fchmod(fd, mode);
      return error;
    }
  }
  if (::fchmod(fd, mode & ~writeBits) != 0) {
    const auto error = errorCode(errno);
    ::fremovexattr(fd, lockMarker);
    return error;
  }
  return {};
}

std::error_code unlockAsUser(int fd, const struct stat& status, mode_t marked) {
  // Someone who has given the write permissions back has chosen the mode; then only the marker is left over.
  // A mode without the right to write would keep the owner from taking the marker off.
  const mode_t mode = isWriteProtected(status) ? marked : status.st_mode & 07777;
  if (::fchmod(fd, mode | S_IWUSR) != 0) return errorCode(errno);
  const auto error = ::fremovexattr(fd, lockMarker) == 0 ? std::error_code() : errorCode(errno);
  if (!(mode & S_IWUSR) && ::fchmod(fd, mode) != 0) return errorCode(errno);
  return error;
}

std::error_code lock(int fd, const struct stat& status) {
  const auto flags = inodeFlags(fd);
  if (flags.value_or(0) & FS_IMMUTABLE_FL) return {};
  if (markedMode(fd) && isWriteProtected(status)) return {};
  if (flags) {
    const int locked = *flags | FS_IMMUTABLE_FL;
    if (::ioctl(fd, FS_IOC_SETFLAGS, &locked) == 0) return {};
    if (errno != EPERM && errno != EOPNOTSUPP && errno != ENOTTY) return errorCode(errno);
  }
  return lockAsUser(fd, status.st_mode & 07777);
}

std::error_code unlock(int fd, const struct stat& status) {
  if (const auto flags = inodeFlags(fd); flags.value_or(0) & FS_IMMUTABLE_FL) {
    const int unlocked = *flags & ~FS_IMMUTABLE_FL;
    if (::ioctl(fd, FS_IOC_SETFLAGS, &unlocked) != 0) return errorCode(errno);
  }
  if (const auto marked = markedMode(fd)) return unlockAsUser(fd, status, *marked);
  return {};
}

}  // namespace

std::error_code setImmutable(const std::string& path, bool immutable) {
  const FileDescriptor fd = openItem(path);
  if (!fd) return errorCode(errno);
  struct stat status;
  if (::fstat(fd.get(), &status) != 0) return errorCode(errno);
  return immutable ? lock(fd.get(), status) : unlock(fd.get(), status);
}

bool isImmutable(const std::string& path) {
  // statx and lgetxattr need no right to open the folder; the ioctl is for file systems that answer nothing
  // else.
  struct statx status;
  if (::statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, STATX_MODE, &status) != 0) return false;
  if (status.stx_attributes & STATX_ATTR_IMMUTABLE) return true;
  if (!(status.stx_attributes_mask & STATX_ATTR_IMMUTABLE)) {
    if (const FileDescriptor fd = openItem(path); fd && hasImmutableFlag(fd.get())) return true;
  }
  return (status.stx_mode & writeBits) == 0 && ::lgetxattr(path.c_str(), lockMarker, nullptr, 0) >= 0;
}

}  // namespace fernwahrung::System
