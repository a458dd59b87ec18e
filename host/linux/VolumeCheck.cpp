#include "linux/VolumeCheck.h"

#include "linux/FileSystem.h"
#include "linux/Files.h"
#include "linux/Tools.h"

#include "Foundation/FileDescriptor.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <linux/fs.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fernwahrung::host {
namespace {

[[noreturn]] void fail() {
  throw Failure(reasonOf(errno));
}

FileDescriptor opened(const std::string& path) {
  FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!fd) fail();
  return fd;
}

/// The kernel holds all changes of the volume back while this object lives. A process of its own sees to it
/// that they are let through again, even if this one is killed.
class Freeze {
 public:
  explicit Freeze(const std::string& mountPoint) {
    const FileDescriptor volume = opened(mountPoint);
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) fail();
    FileDescriptor readEnd(ends[0]);
    lifeline_ = FileDescriptor(ends[1]);
    guard_ = ::fork();
    if (guard_ < 0) fail();
    if (guard_ == 0) thawWhenOver(readEnd.get(), volume.get());
    if (::ioctl(volume.get(), FIFREEZE, 0) == 0) return;
    const int error = errno;
    release();
    throw Failure(reasonOf(error));
  }
  ~Freeze() { release(); }
  Freeze(const Freeze&) = delete;
  Freeze& operator=(const Freeze&) = delete;

 private:
  [[noreturn]] void thawWhenOver(int readEnd, int volume) {
    ::setsid();
    sigset_t all;
    ::sigfillset(&all);
    ::sigprocmask(SIG_SETMASK, &all, nullptr);
    lifeline_.reset();
    // Those who wait for this program's output need not wait for its guard.
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) ::close(stream);
    char byte;
    while (::read(readEnd, &byte, 1) < 0 && errno == EINTR) {
    }
    ::ioctl(volume, FITHAW, 0);
    ::_exit(0);
  }

  void release() {
    lifeline_.reset();
    while (::waitpid(guard_, nullptr, 0) < 0 && errno == EINTR) {
    }
  }

  FileDescriptor lifeline_;
  pid_t guard_ = -1;
};

/// A sparse file in memory that the programs can open by path.
class MetadataCopy {
 public:
  MetadataCopy() : file_(::memfd_create("volume", MFD_CLOEXEC)) {
    if (!file_) fail();
  }

  void take(const std::string& device) {
    const ProgramOutcome outcome = runProgram("e2image", {"-f", "-r", device, path()}, file_.get());
    if (outcome.status != 0) throw Failure("e2image: " + outcome.lastLine());
  }

  /// What a mount does first: the journal, files deleted while open, the counters.
  ProgramOutcome recover() { return runProgram("e2fsck", {"-p", path()}, file_.get()); }
  ProgramOutcome check() { return FileSystem::check(path(), file_.get()); }

 private:
  /// The same for a program that inherits the descriptor.
  std::string path() const { return "/proc/self/fd/" + std::to_string(file_.get()); }

  FileDescriptor file_;
};

ProgramOutcome checkCopy(MetadataCopy& copy) {
  constexpr int mended = 3;
  ProgramOutcome recovery = copy.recover();
  if ((recovery.status & ~mended) != 0) return recovery;
  return copy.check();
}

ProgramOutcome checkMountedByKernel(const AttachedImage& image) {
  if (image.isReadOnly()) {
    if (!FileSystem::needsReplay(opened(image.device).get())) return FileSystem::check(image.device);
    MetadataCopy copy;
    copy.take(image.device);
    return checkCopy(copy);
  }
  MetadataCopy copy;
  {
    const Freeze freeze(image.mounts.front().mountPoint);
    copy.take(image.device);
  }
  return checkCopy(copy);
}

/// Its process can't be made to pause, so errors may be seen that aren't there, because something was written
/// during the look. They are gone with the next one, or others; an error that is there is told in the same
/// words each time.
ProgramOutcome checkMountedByFuse(const AttachedImage& image) {
  constexpr int looks = 40;
  constexpr int sameAnswers = 3;
  ProgramOutcome last{};
  int same = 0;
  for (int look = 1; look <= looks && same < sameAnswers; ++look) {
    if (!image.isReadOnly() && ::fsync(opened(image.mounts.front().mountPoint).get()) != 0) fail();
    ProgramOutcome outcome = FileSystem::check(image.device);
    if (outcome.status == 0 || image.isReadOnly()) return outcome;
    same = outcome.status == last.status && outcome.output == last.output ? same + 1 : 1;
    last = std::move(outcome);
  }
  return last;
}

}  // namespace

ProgramOutcome checkVolume(const AttachedImage& image) {
  if (image.mounts.empty()) throw Failure("not mounted");
  return image.loop ? checkMountedByKernel(image) : checkMountedByFuse(image);
}

}  // namespace fernwahrung::host
