// What the kernel has mounted and which loop devices it has, and how a test lets go of both.
#pragma once

#include <string>
#include <vector>

namespace fernwahrung::Mounts {

struct Mount {
  std::string mountPoint;
  std::string device;  // "7:0", as in mountinfo
  std::string type;
  std::string source;  // "/dev/loop0"
};

struct Loop {
  std::string node;         // "/dev/loop0"
  std::string device;       // "7:0"
  std::string backingFile;  // without the kernel's " (deleted)"
  std::string session;      // differs each time a file is put behind the node
};

/// In the order in which they were mounted.
std::vector<Mount> mounts();
std::vector<Loop> loops();
bool isMountPoint(const std::string& path);
/// The node still stands for that file.
bool isStillThere(const Loop& loop);

/// Detaches a loop device from its file, unless the node has got another file meanwhile.
void detachLoop(const Loop& loop);
/// Unmounts what the device carries, wherever it is mounted, and detaches it; with the same care.
void releaseLoop(const Loop& loop);

/// Lets go of all that hangs on the path: first the file systems of the loop devices whose files lie at or
/// below it, wherever they are mounted, and those devices; then all mounts at or below it. Lazily, so that
/// open files are no hindrance.
void release(const std::string& path);

}  // namespace fernwahrung::Mounts
