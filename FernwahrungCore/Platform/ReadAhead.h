#pragma once

#include <cstdint>

namespace fernwahrung::Platform {

/// Asks the system to read this range soon, without waiting for it, so that two drives work at the same time.
/// A hint: failures don't matter. Darwin: F_RDADVISE. Linux: posix_fadvise(WILLNEED).
void adviseWillRead(int fd, std::int64_t offset, std::int64_t length);

}  // namespace fernwahrung::Platform
