#include "Platform/ReadAhead.h"

#include <fcntl.h>

namespace fernwahrung::Platform {

void adviseWillRead(int fd, std::int64_t offset, std::int64_t length) {
  ::posix_fadvise(fd, offset, length, POSIX_FADV_WILLNEED);
}

}  // namespace fernwahrung::Platform
