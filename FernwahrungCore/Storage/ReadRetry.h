// How files are opened and read where a signal may interrupt the call. The call itself is handed in, so that
// its interruptions can be tested.
#pragma once

#include <cerrno>
#include <cstddef>
#include <optional>
#include <sys/types.h>

namespace fernwahrung::ReadRetry {

/// `open` gives a descriptor, or -1 and errno. An interrupted call is tried again, 100 tries in all.
template <typename Open>
int openRetrying(Open open) {
  constexpr int tries = 100;
  int fd = -1;
  for (int attempt = 0; attempt < tries; ++attempt) {
    fd = open();
    if (fd >= 0 || errno != EINTR) break;
  }
  return fd;
}

struct Filled {
  std::size_t count = 0;
  bool reachedEnd = false;
};

/// Calls `read(offset, length)`, which gives a count, or -1 and errno, until `wanted` bytes are there or the
/// file ends. Interrupted and empty-handed calls are tried again, 1000 times in all; then what is there is
/// given. Nothing for any other error, with its errno.
template <typename Read>
std::optional<Filled> readFully(Read read, std::size_t wanted) {
  constexpr int retries = 1000;
  Filled filled;
  int failures = 0;
  while (filled.count < wanted) {
    const ssize_t count = read(filled.count, wanted - filled.count);
    if (count > 0) {
      filled.count += static_cast<std::size_t>(count);
    } else if (count == 0) {
      filled.reachedEnd = true;
      break;
    } else if (errno != EINTR && errno != EAGAIN) {
      return std::nullopt;
    } else if (++failures > retries) {
      break;
    }
  }
  return filled;
}

}  // namespace fernwahrung::ReadRetry
