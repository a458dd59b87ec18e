#include "linux/AttachedImages.h"
#include "linux/Eventually.h"
#include "linux/Files.h"
#include "linux/Mounting.h"
#include "linux/SparseBundle.h"
#include "linux/SystemProgram.h"
#include "linux/hdiutil/Verbs.h"

#include <cerrno>
#include <fcntl.h>
#include <fmt/format.h>
#include <iostream>
#include <sys/mount.h>
#include <unistd.h>

namespace fernwahrung::host::Hdiutil {
namespace {

constexpr int busyStatus = 16;

void unmountByFuse(const std::string& mountPoint) {
  const ProgramOutcome outcome = runProgram("fusermount3", {"-u", "--", mountPoint});
  if (outcome.status == 0) return;
  const std::string reason = outcome.lastLine();
  if (reason.ends_with("busy")) throw Failure(reasonOf(EBUSY), busyStatus);
  throw Failure(reason);
}

void unmount(const AttachedImage& image, const MountEntry& mount) {
  if (!image.loop && !Mounting::usesKernel()) return unmountByFuse(mount.mountPoint);
  if (::umount2(mount.mountPoint.c_str(), UMOUNT_NOFOLLOW) == 0) return;
  const int error = errno;
  throw Failure(reasonOf(error), error == EBUSY ? busyStatus : 1);
}

/// Open before the volume goes, so that the same file is flushed before and after. None for one that has no
/// path.
FileDescriptor bandOf(const AttachedImage& image) {
  if (image.imagePath.empty()) return {};
  const std::string band = image.imagePath + std::string(SparseBundle::bandName);
  return FileDescriptor(::open(band.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
}

void flushBand(const FileDescriptor& band) {
  if (band && ::fsync(band.get()) != 0) throw Failure(reasonOf(errno));
}

/// While the volume is still there to be seen: once it is gone nobody looks for what could not be written. Of
/// a drive that was taken away there is nothing to be flushed.
void flush(const AttachedImage& image, const FileDescriptor& band) {
  if (!band) return;
  for (const MountEntry& mount : image.mounts) {
    const FileDescriptor root(::open(mount.mountPoint.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (root && ::syncfs(root.get()) != 0) throw Failure(reasonOf(errno));
  }
  flushBand(band);
}

/// The kernel, or the FUSE process, has let go of the image's file.
bool isReleased(const AttachedImage& image, const FileDescriptor& band) {
  if (image.loop) return !LoopDevices::isStillThere(*image.loop);
  return !band || SparseBundle::tryLock(band.get());
}

void detachImage(const AttachedImage& image) {
  const FileDescriptor band = bandOf(image);
  flush(image, band);
  for (auto mount = image.mounts.rbegin(); mount != image.mounts.rend(); ++mount) unmount(image, *mount);
  if (!eventually([&] { return isReleased(image, band); })) throw Failure(reasonOf(EBUSY), busyStatus);
  flushBand(band);
}

}  // namespace

int detach(const Arguments& arguments) {
  OptionReader options(arguments);
  const bool quiet = options.takeFlag("-quiet");
  const std::string target = options.operand();
  const auto image = AttachedImages::findTarget(target);
  if (!image) throw Failure(reasonOf(ENOENT));
  const std::string name = image->name();
  try {
    detachImage(*image);
  } catch (const Failure& failure) {
    std::cerr << fmt::format("hdiutil: couldn't unmount \"{}\" - {}", name, failure.what()) << std::endl;
    return failure.status();
  }
  if (!quiet) std::cout << fmt::format("\"{}\" ejected.", name) << std::endl;
  return 0;
}

}  // namespace fernwahrung::host::Hdiutil
