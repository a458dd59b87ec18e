#include "linux/BlockDisk.h"
#include "linux/Files.h"
#include "linux/diskutil/Verbs.h"

#include "Foundation/PathString.h"

#include <cerrno>
#include <iostream>
#include <sys/mount.h>
#include <unistd.h>

namespace fernwahrung::host::Diskutil {
namespace {

/// The Mac makes a folder for each volume it mounts there, and takes it away afterwards.
constexpr std::string_view mountFolder = "/Volumes";

void unmount(const BlockVolume& volume) {
  const std::string& mountPoint = volume.mount.mountPoint;
  if (::umount2(mountPoint.c_str(), UMOUNT_NOFOLLOW) != 0) {
    throw Failure("Volume " + PathString::lastComponent(mountPoint) + " on " + volume.name +
                  " failed to eject - " + reasonOf(errno));
  }
  if (PathString::parent(mountPoint) == mountFolder) ::rmdir(mountPoint.c_str());
}

}  // namespace

/// All volumes of the disk go, the last mounted first; one in use stops it, and nothing is forced.
int eject(const Arguments& arguments) {
  if (arguments.size() != 1) throw Failure("Usage:  diskutil eject MountPoint|DeviceNode");
  const auto volume = BlockDisks::volume(arguments[0]);
  if (!volume) throw Failure("Unable to find disk for " + arguments[0]);
  const auto volumes = BlockDisks::volumesOf(volume->wholeDisk);
  for (auto each = volumes.rbegin(); each != volumes.rend(); ++each) unmount(*each);
  std::cout << "Disk " << arguments[0] << " ejected" << std::endl;
  return 0;
}

}  // namespace fernwahrung::host::Diskutil
