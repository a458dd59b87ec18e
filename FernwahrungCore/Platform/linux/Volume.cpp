#include "Platform/Volume.h"

#include "Foundation/Arithmetic.h"
#include "Foundation/BlockingCalls.h"
#include "Foundation/Errors.h"
#include "Foundation/FileDescriptor.h"
#include "Platform/linux/MountTable.h"

#include <algorithm>
#include <array>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/vfs.h>

namespace fernwahrung::Platform {
namespace {

// The first version of xfs's answer about its geometry, from ioctl_xfs_fsgeometry(2): part of the kernel's
// stable interface, while its header comes with a development package of its own.
struct XfsGeometry {
  std::uint32_t blockSize, realtimeExtentSize, groupBlocks, groupCount, logBlocks, sectorSize, inodeSize,
      maximumInodePercent;
  std::uint64_t dataBlocks, realtimeBlocks, realtimeExtents, logStart;
  std::uint8_t uuid[16];
  std::uint32_t stripeUnit, stripeWidth;
  std::int32_t version;
  std::uint32_t flags, logSectorSize, realtimeSectorSize, directoryBlockSize;
};
static_assert(sizeof(XfsGeometry) == 112);
constexpr unsigned long xfsGeometryRequest = _IOR('X', 100, XfsGeometry);
constexpr std::uint32_t xfsReflinkFlag = 1u << 20;

bool xfsClones(const std::string& path) {
  const FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  XfsGeometry geometry{};
  return fd && ::ioctl(fd.get(), xfsGeometryRequest, &geometry) == 0 && (geometry.flags & xfsReflinkFlag);
}

std::string presentedType(const MountEntry& mount) {
  static constexpr std::array cloning = {"btrfs", "bcachefs"};
  static constexpr std::array journalling = {"ext3", "ext4", "f2fs", "jfs", "nilfs2", "reiserfs", "xfs"};
  const auto isOneOf = [&](const auto& types) {
    return std::find(types.begin(), types.end(), mount.fsType) != types.end();
  };
  if (isOneOf(cloning) || (mount.fsType == "xfs" && xfsClones(mount.mountPoint))) return "apfs";
  if (isOneOf(journalling)) return "hfs";
  return mount.fsType;
}

std::optional<MountEntry> mountWithId(std::uint64_t mountId) {
  try {
    for (MountEntry& mount : MountTable::read()) {
      if (mount.mountId == mountId) return std::move(mount);
    }
  } catch (const SystemError&) {
  }
  return std::nullopt;
}

}  // namespace

std::optional<VolumeFacts> volumeFacts(const std::string& path) {
  BlockingCalls::announce("look at a volume");
  // The open descriptor holds the mount in place between the questions; O_PATH needs no right to read.
  const FileDescriptor fd(::open(path.c_str(), O_PATH | O_CLOEXEC));
  if (!fd) return std::nullopt;
  struct statfs status;
  struct statx extended;
  if (::fstatfs(fd.get(), &status) != 0) return std::nullopt;
  if (::statx(fd.get(), "", AT_EMPTY_PATH, STATX_MNT_ID, &extended) != 0) return std::nullopt;
  if (!(extended.stx_mask & STATX_MNT_ID)) return std::nullopt;
  const auto mount = mountWithId(extended.stx_mnt_id);
  if (!mount) return std::nullopt;
  return VolumeFacts{
      .type = presentedType(*mount),
      .mountPoint = mount->mountPoint,
      // The counts are in fragments; f_bsize is only the size that reads best.
      .blockSize = status.f_frsize > 0 ? status.f_frsize : status.f_bsize,
      .blocks = static_cast<std::int64_t>(status.f_blocks),
      .freeBlocks = static_cast<std::int64_t>(status.f_bfree),
      .availableBlocks = static_cast<std::int64_t>(status.f_bavail),
  };
}

std::optional<bool> isVolumeRoot(const std::string& path) {
  BlockingCalls::announce("look at a volume");
  struct statx status;
  if (::statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT, STATX_TYPE, &status) != 0)
    return std::nullopt;
  if (!(status.stx_attributes_mask & STATX_ATTR_MOUNT_ROOT)) return std::nullopt;
  return S_ISDIR(status.stx_mode) && (status.stx_attributes & STATX_ATTR_MOUNT_ROOT);
}

std::optional<std::int64_t> capacityForImportantUsage(const std::string& path) {
  const auto facts = volumeFacts(path);
  if (!facts) return std::nullopt;
  return saturatingProduct(facts->availableBlocks, facts->blockSize);
}

std::string internalVolume() {
  return "/";
}

}  // namespace fernwahrung::Platform
