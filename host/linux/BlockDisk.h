// Which disk a volume lies on, from the kernel's tables.
#pragma once

#include "Platform/linux/MountTable.h"

#include <optional>
#include <string>
#include <vector>

namespace fernwahrung::host {

struct BlockVolume {
  MountEntry mount;
  std::string name;       // "sda1", "loop0"
  std::string wholeDisk;  // "sda"; the physical one under an encrypted or logical volume
};

namespace BlockDisks {

/// The volume mounted at the path, or on the node; nothing when that is no block device's.
std::optional<BlockVolume> volume(const std::string& mountPointOrNode);
/// All mounted volumes of a disk, in the order of mounting.
std::vector<BlockVolume> volumesOf(const std::string& wholeDisk);

}  // namespace BlockDisks
}  // namespace fernwahrung::host
