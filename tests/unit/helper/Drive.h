// A folder that counts as lying on an external drive of an allowed format.
#pragma once

#include "support/ScratchDrive.h"
#include "support/TempFolder.h"

#include "Storage/FileOps.h"

#include <optional>

namespace fernwahrung {

/// The temporary folder serves where its file system does; else a scratch drive, where the machine may mount
/// one.
class Drive {
 public:
  Drive() {
    const auto type = FileOps::fileSystemType(folder_.path());
    if (type == "apfs" || type == "hfs") return;
    unavailable_ = ScratchDrive::unavailable();
    if (!unavailable_) drive_.emplace();
  }

  /// Why there is none, for GTEST_SKIP.
  const std::optional<std::string>& unavailable() const { return unavailable_; }
  std::string path() const { return drive_ ? drive_->path() : folder_.path(); }

 private:
  TempFolder folder_;
  std::optional<std::string> unavailable_;
  std::optional<ScratchDrive> drive_;
};

}  // namespace fernwahrung
