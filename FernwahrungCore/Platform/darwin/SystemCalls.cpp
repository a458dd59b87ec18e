// Sources of the facts below: rename(2) for renamex_np and RENAME_EXCL, fsync(2) and fcntl(2) for
// F_FULLFSYNC, sync_volume_np(3), chflags(2), clonefile(2), copyfile(3), and posix_spawnattr_setflags(3) for
// POSIX_SPAWN_CLOEXEC_DEFAULT; pathconf(2) for _PC_CASE_SENSITIVE.
#include "Platform/SystemCalls.h"

#include "Foundation/FileDescriptor.h"
#include "Foundation/PathString.h"

#include <cerrno>
#include <copyfile.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/clonefile.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fernwahrung::System {
namespace {

std::error_code resultOf(int returned) {
  return returned == 0 ? std::error_code() : errorCode(errno);
}

}  // namespace

std::error_code renameExclusive(const std::string& from, const std::string& to) {
  return resultOf(::renamex_np(from.c_str(), to.c_str(), RENAME_EXCL));
}

std::error_code flush(int fd) {
  // fsync alone leaves the data in the drive's cache. File systems of external and network drives may not
  // know the full flush, each with an error of its own; a drive that fails to write says so again to fsync.
  if (::fcntl(fd, F_FULLFSYNC) == 0) return {};
  return resultOf(::fsync(fd));
}

std::error_code flushVolume(const std::string& path) {
  return resultOf(::sync_volume_np(path.c_str(), SYNC_VOLUME_WAIT | SYNC_VOLUME_FULLSYNC));
}

std::error_code setImmutable(const std::string& path, bool immutable) {
  struct stat status;
  if (::lstat(path.c_str(), &status) != 0) return errorCode(errno);
  const auto others = status.st_flags & ~static_cast<unsigned>(UF_IMMUTABLE);
  return resultOf(::lchflags(path.c_str(), immutable ? others | UF_IMMUTABLE : others));
}

std::error_code clone(const std::string& from, const std::string& to) {
  return resultOf(::clonefile(from.c_str(), to.c_str(), 0));
}

bool foldsNames(const std::string& folder) {
  return ::pathconf(folder.c_str(), _PC_CASE_SENSITIVE) == 0;
}

bool imagesFoldNames() {
  return true;  // "-fs APFS"
}

std::error_code copyDirectoryAttributes(const std::string& from, const std::string& to) {
  const FileDescriptor source(::open(from.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!source) return errorCode(errno);
  const FileDescriptor target(::open(to.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!target) return errorCode(errno);
  struct stat status;
  if (::fstat(source.get(), &status) != 0) return errorCode(errno);
  // Mode, owner where allowed, flags, access list and extended attributes.
  if (::fcopyfile(source.get(), target.get(), nullptr, COPYFILE_METADATA) != 0) return errorCode(errno);
  // A lock belongs to the place and not to the data. It would also refuse the times, which come last, as each
  // step before touches them.
  const auto flags = status.st_flags & ~static_cast<unsigned>(UF_IMMUTABLE);
  if (flags != status.st_flags && ::fchflags(target.get(), flags) != 0) return errorCode(errno);
  const timespec times[] = {status.st_atimespec, status.st_mtimespec};
  return resultOf(::futimens(target.get(), times));
}

int makePipe(int ends[2]) {
  if (::pipe(ends) != 0) return errno;
  for (const int end : {ends[0], ends[1]}) ::fcntl(end, F_SETFD, FD_CLOEXEC);
  return 0;
}

int keepStandardStreamsOnly(posix_spawn_file_actions_t& /*actions*/, short& flags) {
  flags |= POSIX_SPAWN_CLOEXEC_DEFAULT;
  return 0;
}

std::string toolPath(const std::string& tool, const std::string& directory) {
  if (!directory.empty()) {
    std::string candidate = PathString::join(directory, PathString::lastComponent(tool));
    if (::access(candidate.c_str(), X_OK) == 0) return candidate;
  }
  return tool;
}

bool isImmutable(const std::string& path) {
  struct stat status;
  return ::lstat(path.c_str(), &status) == 0 && (status.st_flags & UF_IMMUTABLE);
}

}  // namespace fernwahrung::System
