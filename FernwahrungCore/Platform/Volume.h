// Facts of mounted volumes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace fernwahrung {

struct VolumeFacts {
  std::string type;        // "apfs", "hfs", "exfat" …
  std::string mountPoint;  // as the kernel names it
  std::int64_t blockSize = 0;
  std::int64_t blocks = 0;
  std::int64_t freeBlocks = 0;
  std::int64_t availableBlocks = 0;  // for an ordinary user
};

namespace Platform {

/// statfs. Nothing when it fails. Linux: a file system that clones is presented as "apfs", a journalling one
/// that does not as "hfs", every other under its own name; the mount point is that of the topmost mount the
/// path lies on.
std::optional<VolumeFacts> volumeFacts(const std::string& path);

/// Whether a volume's root lies at this path itself, which no link at the path changes. Nothing where the
/// system can tell it only by the mount point of volumeFacts. Darwin: always nothing. Linux: from statx,
/// which spares the reading of the whole mount table.
std::optional<bool> isVolumeRoot(const std::string& path);

/// Bytes that can be had for something the user asked for, purgeable space included; nothing when unknown.
/// Darwin: volumeAvailableCapacityForImportantUsage. Linux: the available blocks.
std::optional<std::int64_t> capacityForImportantUsage(const std::string& path);

/// The mount point of the internal disk: "/System/Volumes/Data" on the Mac, "/" on Linux.
std::string internalVolume();

}  // namespace Platform
}  // namespace fernwahrung
