#include "linux/AttachedImages.h"
#include "linux/VolumeCheck.h"
#include "linux/diskutil/Verbs.h"

#include <fmt/format.h>
#include <iostream>

namespace fernwahrung::host::Diskutil {

int verifyVolume(const Arguments& arguments) {
  if (arguments.size() != 1)
    throw Failure("Usage:  diskutil verifyVolume MountPoint|DiskIdentifier|DeviceNode");
  const auto image = AttachedImages::findTarget(arguments[0]);
  if (!image) throw Failure("Unable to find disk for " + arguments[0]);
  const std::string name = image->name();
  std::cout << fmt::format("Started file system verification on {}\nVerifying file system\n", name);
  const ProgramOutcome outcome = checkVolume(*image);
  std::cout << outcome.output << fmt::format("File system check exit code is {}\n", outcome.status);
  if (outcome.status == 0) {
    std::cout << fmt::format("Finished file system verification on {}", name) << std::endl;
    return 0;
  }
  std::cout.flush();
  std::cerr << "Error: -69845: File system verify or repair failed\nUnderlying error: " << outcome.status
            << std::endl;
  return 1;
}

}  // namespace fernwahrung::host::Diskutil
