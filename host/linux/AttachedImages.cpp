#include "linux/AttachedImages.h"

#include "linux/Files.h"
#include "linux/SparseBundle.h"
#include "linux/Tools.h"

#include "Foundation/PathString.h"

#include <algorithm>
#include <fcntl.h>
#include <sys/file.h>

namespace fernwahrung::host {
namespace {

using nlohmann::json;

constexpr std::string_view fuseType = "fuse.ext4";
constexpr std::string_view extension = ".sparsebundle";

/// The process behind a FUSE mount holds the lock as long as it lives; the mount outlives a killed one.
bool hasWorker(const std::string& band) {
  const FileDescriptor fd(::open(band.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  return fd && ::flock(fd.get(), LOCK_SH | LOCK_NB) != 0;
}

std::optional<AttachedImage> imageBehind(const LoopDevice& device, const std::vector<MountEntry>& mounts) {
  const auto bundle = AttachedImages::bundleOfBand(device.backingFile);
  if (!bundle) return std::nullopt;
  AttachedImage image;
  if (LoopDevices::isFileBehind(device, device.backingFile)) image.imagePath = *bundle;
  image.device = device.node;
  image.loop = device;
  for (const MountEntry& mount : mounts) {
    if (mount.deviceMajor == device.major && mount.deviceMinor == device.minor) image.mounts.push_back(mount);
  }
  return image;
}

std::optional<AttachedImage> imageOf(const MountEntry& mount) {
  if (mount.fsType != fuseType || !mount.source.ends_with(extension)) return std::nullopt;
  AttachedImage image;
  image.device = mount.source + std::string(SparseBundle::bandName);
  if (hasWorker(image.device)) image.imagePath = mount.source;
  image.mounts.push_back(mount);
  return image;
}

json volume(const AttachedImage& image) {
  return {{"content-hint", "Linux"},
          {"dev-entry", image.device},
          {"potentially-mountable", true},
          {"unmapped-content-hint", "Linux"},
          {"volume-kind", "ext4"}};
}

}  // namespace

bool AttachedImage::isReadOnly() const {
  return std::any_of(mounts.begin(), mounts.end(), [](const MountEntry& mount) {
    return mount.options == "ro" || mount.options.starts_with("ro,") || mount.superOptions == "ro" ||
           mount.superOptions.starts_with("ro,");
  });
}

std::string AttachedImage::name() const {
  return PathString::lastComponent(loop ? device : mounts.front().source);
}

namespace AttachedImages {

std::optional<std::string> bundleOfBand(std::string_view backingFile) {
  constexpr std::string_view deleted = " (deleted)";
  if (backingFile.ends_with(deleted)) backingFile.remove_suffix(deleted.size());
  if (!backingFile.ends_with(SparseBundle::bandName)) return std::nullopt;
  backingFile.remove_suffix(SparseBundle::bandName.size());
  if (!backingFile.ends_with(extension)) return std::nullopt;
  return std::string(backingFile);
}

std::vector<AttachedImage> read() {
  // A device that comes or goes between the two readings is seen without its mount, never with another's: the
  // number of one that still has its file can't belong to anything else.
  const std::vector<LoopDevice> devices = LoopDevices::read();
  const std::vector<MountEntry> mounts = MountTable::read();
  std::vector<AttachedImage> images;
  for (const LoopDevice& device : devices) {
    if (!LoopDevices::isStillThere(device)) continue;
    if (auto image = imageBehind(device, mounts)) images.push_back(std::move(*image));
  }
  for (const MountEntry& mount : mounts) {
    if (auto image = imageOf(mount)) images.push_back(std::move(*image));
  }
  return images;
}

std::optional<AttachedImage> find(const std::string& imagePath) {
  for (AttachedImage& image : read()) {
    if (image.imagePath == imagePath) return std::move(image);
  }
  return std::nullopt;
}

std::optional<AttachedImage> findTarget(const std::string& target) {
  std::vector<AttachedImage> images = read();
  const auto firstWith = [&](const auto& condition) -> std::optional<AttachedImage> {
    const auto found = std::find_if(images.begin(), images.end(), condition);
    if (found == images.end()) return std::nullopt;
    return std::move(*found);
  };
  const auto isMountedAt = [](const std::string& path) {
    return [path](const AttachedImage& image) {
      return std::any_of(image.mounts.begin(), image.mounts.end(),
                         [&](const MountEntry& mount) { return mount.mountPoint == path; });
    };
  };
  if (auto image = firstWith([&](const AttachedImage& candidate) { return candidate.device == target; }))
    return image;
  if (auto image = firstWith(isMountedAt(target))) return image;
  try {
    return firstWith(isMountedAt(canonicalPlace(target)));
  } catch (const Failure&) {
    return std::nullopt;
  }
}

json entities(const AttachedImage& image) {
  json list = json::array();
  json disk = volume(image);
  disk["content-hint"] = "";
  disk["unmapped-content-hint"] = "";
  disk["potentially-mountable"] = false;
  disk.erase("volume-kind");
  list.push_back(std::move(disk));
  for (const MountEntry& mount : image.mounts) {
    json entity = volume(image);
    entity["mount-point"] = mount.mountPoint;
    list.push_back(std::move(entity));
  }
  return list;
}

}  // namespace AttachedImages
}  // namespace fernwahrung::host
