// Which images are attached, and where: read from the kernel's tables each time, never remembered.
#pragma once

#include "linux/LoopDevice.h"

#include "Platform/linux/MountTable.h"

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace fernwahrung::host {

struct AttachedImage {
  /// Of the bundle. Empty when the file behind the volume can't be reached by any path: its drive was taken
  /// away, or it was removed. Such a one can still be detached.
  std::string imagePath;
  /// What stands for the disk: the node of the loop device, or the band that the FUSE process works on.
  std::string device;
  /// Nothing for FUSE.
  std::optional<LoopDevice> loop;
  /// In the order of mounting.
  std::vector<MountEntry> mounts;

  bool isReadOnly() const;
  /// For messages: "loop3", or the image's file name.
  std::string name() const;
};

namespace AttachedImages {

/// All of them; throws SystemError when the kernel does not answer.
std::vector<AttachedImage> read();
/// The image at the canonical path.
std::optional<AttachedImage> find(const std::string& imagePath);
/// By its mount point or its device node, as `hdiutil detach` takes them.
std::optional<AttachedImage> findTarget(const std::string& target);

/// The bundle's path if the path is that of a bundle's band, deleted or not.
std::optional<std::string> bundleOfBand(std::string_view backingFile);

/// The "system-entities" as the Mac's tool lists them: the whole disk, and a volume for each mount point.
nlohmann::json entities(const AttachedImage& image);

}  // namespace AttachedImages
}  // namespace fernwahrung::host
