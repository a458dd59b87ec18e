#include "support/ImmutableFlag.h"

#include <sys/stat.h>
#include <unistd.h>

bool fernwahrung::changeImmutable(int fd, bool immutable) {
  struct stat info {};
  if (::fstat(fd, &info) != 0) return false;
  const unsigned wanted = immutable ? info.st_flags | UF_IMMUTABLE : info.st_flags & ~(UF_IMMUTABLE | UF_APPEND);
  return wanted == info.st_flags || ::fchflags(fd, wanted) == 0;
}
