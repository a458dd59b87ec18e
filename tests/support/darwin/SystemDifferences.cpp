#include "support/SystemDifferences.h"

#include <sys/xattr.h>
#include <unistd.h>

namespace fernwahrung {

bool changeImmutable(int fd, bool immutable) {
  struct stat info {};
  if (::fstat(fd, &info) != 0) return false;
  const unsigned wanted =
      immutable ? info.st_flags | UF_IMMUTABLE : info.st_flags & ~(UF_IMMUTABLE | UF_APPEND);
  return wanted == info.st_flags || ::fchflags(fd, wanted) == 0;
}

int setAttributeAt(const std::string& path, const char* name, const std::string& value) {
  return ::setxattr(path.c_str(), name, value.data(), value.size(), 0, XATTR_NOFOLLOW);
}

ssize_t attributeAt(const std::string& path, const char* name, void* value, std::size_t size) {
  return ::getxattr(path.c_str(), name, value, size, 0, XATTR_NOFOLLOW);
}

ssize_t attributeNamesAt(const std::string& path, char* names, std::size_t size) {
  return ::listxattr(path.c_str(), names, size, XATTR_NOFOLLOW);
}

std::int64_t modifiedNanoseconds(const struct stat& info) {
  return info.st_mtimespec.tv_sec * 1'000'000'000LL + info.st_mtimespec.tv_nsec;
}

}  // namespace fernwahrung
