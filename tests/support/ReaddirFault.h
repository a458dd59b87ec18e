#pragma once

#include "Storage/DirectoryState.h"

namespace fernwahrung {

/// While it lives, reading a folder's state fails with this errno.
class ReaddirFault {
 public:
  explicit ReaddirFault(int code) { FileOps::readdirErrorForTesting = code; }
  ~ReaddirFault() { FileOps::readdirErrorForTesting.reset(); }
  ReaddirFault(const ReaddirFault&) = delete;
  ReaddirFault& operator=(const ReaddirFault&) = delete;
};

}  // namespace fernwahrung
