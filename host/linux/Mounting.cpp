#include "linux/Mounting.h"

#include "linux/FileSystem.h"
#include "linux/Files.h"
#include "linux/LoopDevice.h"
#include "linux/SystemProgram.h"
#include "linux/Tools.h"

#include "Platform/linux/MountTable.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fernwahrung::host::Mounting {
namespace {

std::string mountFailure(int error) {
  switch (error) {
    case EBUSY:
    case EPERM:
    case EACCES:
    case ENOMEM:
      return reasonOf(error);
    default:
      return "no mountable file systems";  // ext4 says in different ways that it can't read what it found
  }
}

/// FUSE mounts only over a folder that its caller may write to, and a locked one has lost that right. It has
/// it while this object lives; it is given and taken through an open descriptor, which still means the folder
/// when a volume lies over it.
class WritableFolder {
 public:
  explicit WritableFolder(const std::string& path)
      : fd_(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    struct stat status;
    if (!fd_ || ::fstat(fd_.get(), &status) != 0) throw Failure(reasonOf(errno));
    mode_ = status.st_mode & 07777;
    if (mode_ & S_IWUSR) {
      fd_.reset();
    } else if (::fchmod(fd_.get(), mode_ | S_IWUSR) != 0) {
      throw Failure(reasonOf(errno));
    }
  }
  ~WritableFolder() {
    if (fd_) ::fchmod(fd_.get(), mode_);
  }
  WritableFolder(const WritableFolder&) = delete;
  WritableFolder& operator=(const WritableFolder&) = delete;

 private:
  FileDescriptor fd_;
  mode_t mode_ = 0;
};

bool isMounted(const std::string& source, const std::string& mountPoint) {
  const auto mounts = MountTable::read();
  return std::any_of(mounts.begin(), mounts.end(), [&](const MountEntry& mount) {
    return mount.mountPoint == mountPoint && mount.source == source;
  });
}

}  // namespace

bool usesKernel() {
  return ::geteuid() == 0;
}

void mountByKernel(int band, const std::string& mountPoint, bool readOnly) {
  const LoopDevices::Attachment loop = LoopDevices::attach(band, readOnly);
  // The background zeroing of inode tables would fill the sparse file; the tables' checksums make it
  // needless.
  std::string options = "noinit_itable";
  if (readOnly && FileSystem::needsReplay(band)) options += ",noload";
  const unsigned long flags = MS_NOSUID | MS_NODEV | (readOnly ? MS_RDONLY : 0);
  if (::mount(loop.device.node.c_str(), mountPoint.c_str(), "ext4", flags, options.c_str()) != 0)
    throw Failure(mountFailure(errno));
}

std::string escapedOption(const std::string& value) {
  std::string escaped;
  for (const char c : value) {
    if (c == ',' || c == '\\') escaped += '\\';
    escaped += c;
  }
  return escaped;
}

void mountByFuse(const SparseBundle& bundle, int band, const std::string& mountPoint, bool readOnly) {
  // The process has one user only, who owns all that it is asked to do: "fakeroot".
  std::string options = "no_default_opts,fakeroot,kernel_cache,use_ino,attr_timeout=0,subtype=ext4,fsname=" +
                        escapedOption(bundle.path());
  if (readOnly) options += ",ro,norecovery";
  std::vector<std::string> arguments = {"-o", options, bundle.bandPath(), mountPoint};
  // The option alone is kept by the program for itself; the kernel is told by this one.
  if (readOnly) arguments.insert(arguments.begin(), "-r");
  const WritableFolder folder(mountPoint);
  const ProgramOutcome outcome = runProgram("fuse2fs", arguments, band);
  // Its exit status is 0 even where FUSE itself refused.
  if (outcome.status != 0 || !isMounted(bundle.path(), mountPoint)) {
    const std::string reason = outcome.lastLine();
    throw Failure("no mountable file systems" + (reason.empty() ? "" : " (" + reason + ")"));
  }
}

}  // namespace fernwahrung::host::Mounting
