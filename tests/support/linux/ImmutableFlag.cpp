#include "support/ImmutableFlag.h"

#include <linux/fs.h>
#include <sys/ioctl.h>

bool fernwahrung::changeImmutable(int fd, bool immutable) {
  int flags = 0;
  if (::ioctl(fd, FS_IOC_GETFLAGS, &flags) != 0) return false;
  const int wanted = immutable ? flags | FS_IMMUTABLE_FL : flags & ~(FS_IMMUTABLE_FL | FS_APPEND_FL);
  return wanted == flags || ::ioctl(fd, FS_IOC_SETFLAGS, &wanted) == 0;
}
