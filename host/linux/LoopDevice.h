// Files behind loop devices, through the kernel's own interface.
#pragma once

#include "Foundation/FileDescriptor.h"

#include <string>
#include <string_view>
#include <vector>

namespace fernwahrung::host {

struct LoopDevice {
  std::string node;  // "/dev/loop3"
  unsigned major = 0;
  unsigned minor = 0;
  std::string session;      // differs each time a file is put behind the node
  std::string backingFile;  // as the kernel names it now

  bool operator==(const LoopDevice&) const = default;
};

namespace LoopDevices {

/// Those with a file behind them.
std::vector<LoopDevice> read();

/// The path in the text of the kernel's "backing_file". Of a file without a name any more the kernel says so
/// behind the path; that stays.
std::string parseBackingFile(std::string_view text);

/// The file at the path is the one behind the device. The kernel's name alone does not tell: of a file whose
/// drive was taken away only the end of the path is left, and another file may lie there. Where the device
/// may not be asked (an ordinary user's case) a file of the device's size counts as it.
bool isFileBehind(const LoopDevice& device, const std::string& path);

/// The node still stands for the same file.
bool isStillThere(const LoopDevice& device);

struct Attachment {
  LoopDevice device;
  FileDescriptor hold;  // keeps the device from going by itself until it is mounted
};
/// Puts the file behind a free device, which goes by itself when nothing uses it any more. Throws Failure
/// with the reason.
Attachment attach(int file, bool readOnly);

}  // namespace LoopDevices
}  // namespace fernwahrung::host
