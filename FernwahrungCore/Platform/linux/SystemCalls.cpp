#include "Platform/SystemCalls.h"

#include "Foundation/FileDescriptor.h"

#include <cerrno>
#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

namespace fernwahrung::System {

std::error_code renameExclusive(const std::string& from, const std::string& to) {
  return ::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0 ? std::error_code()
                                                                                          : errorCode(errno);
}

std::error_code flushVolume(const std::string& path) {
  const FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!fd || ::syncfs(fd.get()) != 0) return errorCode(errno);
  return {};
}

std::error_code flush(int fd) {
  return ::fsync(fd) == 0 ? std::error_code() : errorCode(errno);
}

bool foldsNames(const std::string& /*folder*/) {
  return false;
}

bool imagesFoldNames() {
  return false;  // ext4
}

int makePipe(int ends[2]) {
  return ::pipe2(ends, O_CLOEXEC) == 0 ? 0 : errno;
}

int keepStandardStreamsOnly(posix_spawn_file_actions_t& actions, short& /*flags*/) {
  return ::posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
}

}  // namespace fernwahrung::System
