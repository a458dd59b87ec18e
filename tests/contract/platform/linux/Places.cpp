#include "../Places.h"

#include "support/ScratchDrive.h"

#include "Foundation/FileDescriptor.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <stdexcept>
#include <sys/ioctl.h>

namespace fernwahrung::contract {
namespace {

int flagsOf(const FileDescriptor& fd) {
  int flags = 0;
  return ::ioctl(fd.get(), FS_IOC_GETFLAGS, &flags) == 0 ? flags : 0;
}

FileDescriptor opened(const std::string& path) {
  return FileDescriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
}

}  // namespace

struct CloningFolder::State {
  ScratchDrive drive{{.bytes = 512LL << 20, .fileSystem = ScratchDrive::FileSystem::btrfs}};
};

CloningFolder::CloningFolder() : state_(std::make_unique<State>()) {
}
CloningFolder::~CloningFolder() = default;

const std::string& CloningFolder::path() const {
  return state_->drive.path();
}

std::optional<std::string> mountingUnavailable() {
  return ScratchDrive::unavailable();
}

bool setNoDumpFlag(const std::string& path) {
  const FileDescriptor fd = opened(path);
  const int flags = flagsOf(fd) | FS_NODUMP_FL;
  return ::ioctl(fd.get(), FS_IOC_SETFLAGS, &flags) == 0;
}

bool hasNoDumpFlag(const std::string& path) {
  return flagsOf(opened(path)) & FS_NODUMP_FL;
}

}  // namespace fernwahrung::contract
