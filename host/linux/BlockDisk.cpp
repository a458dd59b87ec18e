#include "linux/BlockDisk.h"

#include "linux/Files.h"
#include "linux/Tools.h"

#include "Foundation/PathString.h"

#include <algorithm>
#include <filesystem>
#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace fernwahrung::host::BlockDisks {
namespace {

namespace fs = std::filesystem;

/// The folder that stands for the device in sysfs. A file system over several devices has a number of its
/// own; its mount names one of them.
std::optional<fs::path> deviceFolder(const MountEntry& mount) {
  std::string numbers = std::to_string(mount.deviceMajor) + ":" + std::to_string(mount.deviceMinor);
  struct stat status;
  if (mount.deviceMajor == 0) {
    if (::stat(mount.source.c_str(), &status) != 0 || !S_ISBLK(status.st_mode)) return std::nullopt;
    numbers = std::to_string(major(status.st_rdev)) + ":" + std::to_string(minor(status.st_rdev));
  }
  std::error_code error;
  const fs::path folder = fs::canonical("/sys/dev/block/" + numbers, error);
  if (error) return std::nullopt;
  return folder;
}

std::string wholeDisk(fs::path folder) {
  std::error_code error;
  // A device on top of others shows them here; the first stands for all.
  for (fs::directory_iterator below(folder / "slaves", error); !error && below != fs::directory_iterator();) {
    folder = fs::canonical(below->path(), error);
    below = fs::directory_iterator(folder / "slaves", error);
  }
  if (fs::exists(folder / "partition", error)) folder = folder.parent_path();
  return folder.filename();
}

std::optional<BlockVolume> volumeOf(const MountEntry& mount) {
  const auto folder = deviceFolder(mount);
  if (!folder) return std::nullopt;
  return BlockVolume{mount, folder->filename(), wholeDisk(*folder)};
}

std::string place(const std::string& path) {
  try {
    return canonicalPlace(path);
  } catch (const Failure&) {
    return path;
  }
}

}  // namespace

std::optional<BlockVolume> volume(const std::string& mountPointOrNode) {
  const std::string wanted = place(mountPointOrNode);
  const auto mounts = MountTable::read();
  // Of several over one another the last is the one that is seen.
  const auto found = std::find_if(mounts.rbegin(), mounts.rend(), [&](const MountEntry& mount) {
    return mount.mountPoint == wanted || mount.source == wanted;
  });
  return found == mounts.rend() ? std::nullopt : volumeOf(*found);
}

std::vector<BlockVolume> volumesOf(const std::string& wholeDisk) {
  std::vector<BlockVolume> volumes;
  for (const MountEntry& mount : MountTable::read()) {
    auto candidate = volumeOf(mount);
    if (candidate && candidate->wholeDisk == wholeDisk) volumes.push_back(std::move(*candidate));
  }
  return volumes;
}

}  // namespace fernwahrung::host::BlockDisks
