// Sources: getfsstat(2), unmount(2), hdiutil(1). There are no loop devices to list on a Mac: its images are
// detached by their mount points.
#include "support/Mounts.h"

#include "support/Program.h"

#include <algorithm>
#include <filesystem>
#include <sys/mount.h>

namespace fernwahrung::Mounts {
namespace {

bool liesAtOrBelow(const std::string& path, const std::string& folder) {
  return path == folder || path.compare(0, folder.size() + 1, folder + "/") == 0;
}

}  // namespace

std::vector<Mount> mounts() {
  std::vector<struct statfs> table;
  int count = ::getfsstat(nullptr, 0, MNT_NOWAIT);
  // Another may be mounted between the two calls.
  table.resize(static_cast<std::size_t>(std::max(count, 0)) + 8);
  count = ::getfsstat(table.data(), static_cast<int>(table.size() * sizeof(struct statfs)), MNT_NOWAIT);
  std::vector<Mount> result;
  for (int i = 0; i < count; ++i) {
    const struct statfs& entry = table[static_cast<std::size_t>(i)];
    result.push_back(
        {.mountPoint = entry.f_mntonname,
         .device = std::to_string(entry.f_fsid.val[0]) + ":" + std::to_string(entry.f_fsid.val[1]),
         .type = entry.f_fstypename,
         .source = entry.f_mntfromname});
  }
  return result;
}

bool isMountPoint(const std::string& path) {
  const auto all = mounts();
  return std::any_of(all.begin(), all.end(), [&](const Mount& mount) { return mount.mountPoint == path; });
}

void release(const std::string& path) {
  std::error_code ignored;
  const std::string folder = std::filesystem::weakly_canonical(path, ignored);
  const auto all = mounts();
  for (auto mount = all.rbegin(); mount != all.rend(); ++mount) {
    if (!liesAtOrBelow(mount->mountPoint, folder)) continue;
    if (runProgram({"hdiutil", "detach", "-force", mount->mountPoint}).status == 0) continue;
    ::unmount(mount->mountPoint.c_str(), MNT_FORCE);
  }
}

}  // namespace fernwahrung::Mounts
