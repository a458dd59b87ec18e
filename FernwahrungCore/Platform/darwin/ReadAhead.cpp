// Source: fcntl(2) for F_RDADVISE and struct radvisory, whose count is an int.
#include "Platform/ReadAhead.h"

#include <algorithm>
#include <fcntl.h>
#include <limits>

namespace fernwahrung::Platform {

void adviseWillRead(int fd, std::int64_t offset, std::int64_t length) {
  constexpr std::int64_t longest = std::numeric_limits<int>::max();
  radvisory advice{.ra_offset = offset,
                   .ra_count = static_cast<int>(std::clamp<std::int64_t>(length, 0, longest))};
  ::fcntl(fd, F_RDADVISE, &advice);
}

}  // namespace fernwahrung::Platform
