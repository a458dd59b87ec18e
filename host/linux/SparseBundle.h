// A disk image as it lies on the drive: a folder that resembles a Mac's sparse bundle from outside.
//
//   Bibliothek.sparsebundle/
//     Info.plist   what it is, and its "size" in bytes; written last, so that without it nothing is an image
//     token        empty, as on the Mac
//     bands/0      a sparse file of that size that holds an ext4 file system
//
// Whoever works on the file system holds an exclusive flock on "bands/0". That of an attached image is held
// by the kernel's loop device or by the FUSE process, so that the lock goes with them, however they end.
#pragma once

#include "Foundation/FileDescriptor.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace fernwahrung::host {

class SparseBundle {
 public:
  /// The one at the path; throws Failure with the reason alone ("No such file or directory", "image not
  /// recognized").
  static SparseBundle open(const std::string& path);

  /// Makes one whose file system is yet to be made: folders, token, and an empty sparse file. Throws Failure
  /// with the reason, "File exists" among them, and leaves nothing behind then.
  static SparseBundle begin(const std::string& path, std::int64_t bytes);
  /// Takes one that was begun away again.
  void remove() const;

  /// Makes it an image of that size, in one step and flushed to the drive.
  void writeInfo(std::int64_t bytes);

  /// Canonical.
  const std::string& path() const { return path_; }
  std::string bandPath() const { return path_ + std::string(bandName); }
  std::int64_t bytes() const { return bytes_; }

  /// The open file of the band; throws Failure with the reason.
  FileDescriptor openBand(int flags) const;
  /// For changes, with the lock; throws Failure "Resource temporarily unavailable" when somebody else works
  /// on it.
  FileDescriptor openLockedBand() const;
  /// Takes the lock if it is free.
  static bool tryLock(int band);

  static constexpr std::string_view bandName = "/bands/0";

 private:
  SparseBundle(std::string path, std::int64_t bytes) : path_(std::move(path)), bytes_(bytes) {}

  std::string path_;
  std::int64_t bytes_;
};

/// What "Info.plist" holds for an image of that size.
std::string bundleInfo(std::int64_t bytes);
/// The size told by the text of an "Info.plist"; throws Failure "image not recognized".
std::int64_t bundleBytes(std::string_view info);

}  // namespace fernwahrung::host
