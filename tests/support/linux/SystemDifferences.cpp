#include "support/SystemDifferences.h"

#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/xattr.h>

namespace fernwahrung {

bool changeImmutable(int fd, bool immutable) {
  int flags = 0;
  if (::ioctl(fd, FS_IOC_GETFLAGS, &flags) != 0) return false;
  const int wanted = immutable ? flags | FS_IMMUTABLE_FL : flags & ~(FS_IMMUTABLE_FL | FS_APPEND_FL);
  return wanted == flags || ::ioctl(fd, FS_IOC_SETFLAGS, &wanted) == 0;
}

int setAttributeAt(const std::string& path, const char* name, const std::string& value) {
  return ::lsetxattr(path.c_str(), name, value.data(), value.size(), 0);
}

ssize_t attributeAt(const std::string& path, const char* name, void* value, std::size_t size) {
  return ::lgetxattr(path.c_str(), name, value, size);
}

ssize_t attributeNamesAt(const std::string& path, char* names, std::size_t size) {
  return ::llistxattr(path.c_str(), names, size);
}

std::int64_t modifiedNanoseconds(const struct stat& info) {
  return info.st_mtim.tv_sec * 1'000'000'000LL + info.st_mtim.tv_nsec;
}

}  // namespace fernwahrung
