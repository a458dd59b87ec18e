// Sources: statfs(2) for the fields and their units. The data volume's mount point is that of every system
// since macOS 10.15.
#include "Platform/Volume.h"

#include "Foundation/BlockingCalls.h"

#include <sys/mount.h>
#include <sys/param.h>

namespace fernwahrung::Platform {

std::optional<VolumeFacts> volumeFacts(const std::string& path) {
  BlockingCalls::announce("look at a volume");
  struct statfs status;
  if (::statfs(path.c_str(), &status) != 0) return std::nullopt;
  return VolumeFacts{
      .type = status.f_fstypename,
      .mountPoint = status.f_mntonname,
      .blockSize = status.f_bsize,
      .blocks = static_cast<std::int64_t>(status.f_blocks),
      .freeBlocks = static_cast<std::int64_t>(status.f_bfree),
      .availableBlocks = static_cast<std::int64_t>(status.f_bavail),
  };
}

std::optional<bool> isVolumeRoot(const std::string& /*path*/) {
  return std::nullopt;
}

std::string internalVolume() {
  return "/System/Volumes/Data";
}

}  // namespace fernwahrung::Platform
