#pragma once

#include "support/Mounts.h"
#include "support/TempFolder.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace fernwahrung {

/// An external drive: a file system in a sparse file, behind a loop device, mounted below /Volumes. Goes with
/// the object, together with everything attached from it, also when the test failed. What earlier, killed
/// tests left below /Volumes is taken away by the next drive.
///   if (auto reason = ScratchDrive::unavailable()) GTEST_SKIP() << *reason;
///   ScratchDrive drive({.bytes = 2LL << 30});
///   writeFile(drive / "a.txt", "bytes");
class ScratchDrive {
 public:
  enum class FileSystem { btrfs, ext4, xfs, ext2 };
  struct Options {
    std::int64_t bytes = 1LL << 30;
    FileSystem fileSystem = FileSystem::btrfs;
    std::string name = {};  // below /Volumes; empty for one of its own
  };

  /// Why this machine can't mount such a drive; nothing when it can. Tried once per file system.
  static std::optional<std::string> unavailable(FileSystem fileSystem = FileSystem::btrfs);

  explicit ScratchDrive(const Options& options);
  ScratchDrive() : ScratchDrive(Options()) {}
  ~ScratchDrive();
  ScratchDrive(const ScratchDrive&) = delete;
  ScratchDrive& operator=(const ScratchDrive&) = delete;

  /// The mount point, "/Volumes/…".
  const std::string& path() const { return mountPoint_; }
  std::string operator/(std::string_view relative) const { return mountPoint_ + "/" + std::string(relative); }
  /// "/dev/loop3" while it is plugged in.
  const std::string& device() const { return loop_.node; }
  /// The file that holds the drive.
  std::string backingFile() const { return folder_ / "drive"; }
  std::int64_t availableBytes() const;

  /// Unplugs the drive as a hand does: from now on the device gives I/O errors to those who still use it, the
  /// mount is gone and its mount point with it. Images attached from it stay mounted, on a device that is not
  /// there.
  void pull();
  /// Plugs a pulled drive in again, or unmounts and mounts one that is there. Images attached from it are let
  /// go of.
  void remount();
  /// Takes away space until no more than about `leaveFree` bytes are available; what is really left is
  /// returned.
  std::int64_t fill(std::int64_t leaveFree);
  /// Gives the space back.
  void unfill();

 private:
  void plugIn();
  void letGo();

  TempFolder folder_;
  FileSystem fileSystem_;
  std::string mountPoint_;
  Mounts::Loop loop_;
  std::vector<Mounts::Loop> orphans_;  // loop devices whose files were on the drive when it was pulled
};

}  // namespace fernwahrung
