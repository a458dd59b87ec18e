#include "linux/BlockDisk.h"
#include "linux/diskutil/Verbs.h"

#include "Foundation/PropertyList.h"

#include <iostream>
#include <sys/statvfs.h>

namespace fernwahrung::host::Diskutil {
namespace {

nlohmann::json describe(const BlockVolume& volume) {
  nlohmann::json facts = {
      {"DeviceIdentifier", volume.name},       {"DeviceNode", "/dev/" + volume.name},
      {"FilesystemType", volume.mount.fsType}, {"MountPoint", volume.mount.mountPoint},
      {"ParentWholeDisk", volume.wholeDisk},   {"WholeDisk", volume.name == volume.wholeDisk}};
  struct statvfs space;
  if (::statvfs(volume.mount.mountPoint.c_str(), &space) == 0) {
    facts["VolumeSize"] = space.f_blocks * space.f_frsize;
    facts["FreeSpace"] = space.f_bavail * space.f_frsize;
  }
  return facts;
}

}  // namespace

int info(const Arguments& arguments) {
  if (arguments.size() != 2 || arguments[0] != "-plist")
    throw Failure("Usage:  diskutil info -plist MountPoint|DeviceNode");
  const auto volume = BlockDisks::volume(arguments[1]);
  // The tool tells its failures as a property list, too.
  std::cout << PropertyList::printXml(
      volume ? describe(*volume)
             : nlohmann::json{{"Error", true}, {"ErrorMessage", "Could not find disk: " + arguments[1]}});
  return volume ? 0 : 1;
}

}  // namespace fernwahrung::host::Diskutil
