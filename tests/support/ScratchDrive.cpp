#include "support/ScratchDrive.h"

#include "support/Eventually.h"
#include "support/Files.h"
#include "support/Program.h"

#include "Foundation/FileDescriptor.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <linux/loop.h>
#include <map>
#include <signal.h>
#include <stdexcept>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/statvfs.h>
#include <system_error>
#include <unistd.h>

namespace fernwahrung {
namespace {

const std::string volumes = "/Volumes";
const std::string namePrefix = "Fernwahrung-Test-";

std::string typeName(ScratchDrive::FileSystem fileSystem) {
  switch (fileSystem) {
    case ScratchDrive::FileSystem::btrfs:
      return "btrfs";
    case ScratchDrive::FileSystem::ext4:
      return "ext4";
    case ScratchDrive::FileSystem::xfs:
      return "xfs";
    case ScratchDrive::FileSystem::ext2:
      return "ext2";
  }
  return "";
}

std::vector<std::string> formatCommand(ScratchDrive::FileSystem fileSystem, const std::string& file) {
  switch (fileSystem) {
    case ScratchDrive::FileSystem::btrfs:
      return {"mkfs.btrfs", "-q", "-f", file};
    case ScratchDrive::FileSystem::ext4:
      return {"mkfs.ext4", "-q", "-F", "-m", "0", file};
    case ScratchDrive::FileSystem::xfs:
      return {"mkfs.xfs", "-q", "-f", file};
    case ScratchDrive::FileSystem::ext2:
      return {"mkfs.ext2", "-q", "-F", "-m", "0", file};
  }
  return {};
}

/// "Fernwahrung-Test-{pid}-{number}": the process tells later ones whether the drive is still in use.
std::string freshName() {
  static std::atomic<int> number = 0;
  return namePrefix + std::to_string(::getpid()) + "-" + std::to_string(++number);
}

Mounts::Loop loopOf(const std::string& node) {
  for (const Mounts::Loop& loop : Mounts::loops()) {
    if (loop.node == node) return loop;
  }
  throw std::runtime_error("no loop device " + node);
}

void removeStaleDrives() {
  std::error_code ignored;
  for (const auto& entry : std::filesystem::directory_iterator(volumes, ignored)) {
    const std::string name = entry.path().filename();
    if (name.compare(0, namePrefix.size(), namePrefix) != 0) continue;
    const int owner = std::atoi(name.c_str() + namePrefix.size());
    if (owner <= 0 || ::kill(owner, 0) == 0 || errno != ESRCH) continue;
    std::string backing;
    for (const Mounts::Mount& mount : Mounts::mounts()) {
      if (mount.mountPoint != entry.path()) continue;
      for (const Mounts::Loop& loop : Mounts::loops()) {
        if (loop.node == mount.source || loop.device == mount.device) backing = loop.backingFile;
      }
    }
    Mounts::release(entry.path());
    ::rmdir(entry.path().c_str());
    try {
      if (!backing.empty()) removeEverything(std::filesystem::path(backing).parent_path());
    } catch (const std::exception&) {
      continue;  // another test is clearing the same drive away
    }
  }
}

/// The device shrinks to one sector under its file system, whose every access then fails; the file keeps its
/// bytes.
void makeDeviceFail(const std::string& node) {
  const FileDescriptor fd(::open(node.c_str(), O_RDONLY | O_CLOEXEC));
  loop_info64 info{};
  if (!fd || ::ioctl(fd.get(), LOOP_GET_STATUS64, &info) != 0) {
    throw std::system_error(errno, std::generic_category(), node);
  }
  info.lo_sizelimit = 512;
  if (::ioctl(fd.get(), LOOP_SET_STATUS64, &info) != 0)
    throw std::system_error(errno, std::generic_category(), node);
}

std::optional<std::string> tryDrive(ScratchDrive::FileSystem fileSystem) {
  if (::geteuid() != 0) return "mounting needs root";
  if (::access("/dev/loop-control", R_OK | W_OK) != 0) return "this machine has no loop devices";
  const std::string command = formatCommand(fileSystem, "")[0];
  if (!findProgram(command)) return command + " is not installed";
  try {
    const ScratchDrive drive({.bytes = 400LL << 20, .fileSystem = fileSystem});
    return std::nullopt;
  } catch (const std::exception& error) {
    return "this machine can't mount " + typeName(fileSystem) + ": " + error.what();
  }
}

}  // namespace

std::optional<std::string> ScratchDrive::unavailable(FileSystem fileSystem) {
  static std::map<FileSystem, std::optional<std::string>> answers;
  auto found = answers.find(fileSystem);
  if (found == answers.end()) found = answers.emplace(fileSystem, tryDrive(fileSystem)).first;
  return found->second;
}

ScratchDrive::ScratchDrive(const Options& options) : fileSystem_(options.fileSystem) {
  removeStaleDrives();
  mountPoint_ = volumes + "/" + (options.name.empty() ? freshName() : options.name);
  writeFile(backingFile(), "");
  if (::truncate(backingFile().c_str(), options.bytes) != 0) {
    throw std::system_error(errno, std::generic_category(), backingFile());
  }
  mustRun(formatCommand(fileSystem_, backingFile()));
  try {
    plugIn();
  } catch (...) {
    letGo();
    throw;
  }
}

ScratchDrive::~ScratchDrive() {
  letGo();
}

void ScratchDrive::plugIn() {
  std::string node = mustRun({"losetup", "--find", "--show", backingFile()});
  node.pop_back();
  loop_ = loopOf(node);
  makeFolder(mountPoint_);
  mustRun({"mount", "-t", typeName(fileSystem_), loop_.node, mountPoint_});
}

void ScratchDrive::letGo() {
  for (const Mounts::Loop& orphan : orphans_) Mounts::releaseLoop(orphan);
  orphans_.clear();
  if (Mounts::isMountPoint(mountPoint_)) Mounts::release(mountPoint_);
  if (!loop_.node.empty()) Mounts::releaseLoop(loop_);
  loop_ = {};
  ::rmdir(mountPoint_.c_str());
}

void ScratchDrive::pull() {
  for (const Mounts::Loop& loop : Mounts::loops()) {
    if (loop.backingFile.compare(0, mountPoint_.size() + 1, mountPoint_ + "/") == 0) orphans_.push_back(loop);
  }
  makeDeviceFail(loop_.node);
  if (::umount2(mountPoint_.c_str(), MNT_DETACH) != 0) {
    throw std::system_error(errno, std::generic_category(), mountPoint_);
  }
  Mounts::detachLoop(loop_);
  ::rmdir(mountPoint_.c_str());
}

void ScratchDrive::remount() {
  const Mounts::Loop before = loop_;
  letGo();
  if (!before.node.empty() && !eventually([&] { return !Mounts::isStillThere(before); }))
    throw std::runtime_error("somebody still holds files open on " + mountPoint_);
  plugIn();
}

std::int64_t ScratchDrive::availableBytes() const {
  struct statvfs facts {};
  if (::statvfs(mountPoint_.c_str(), &facts) != 0) {
    throw std::system_error(errno, std::generic_category(), mountPoint_);
  }
  return static_cast<std::int64_t>(facts.f_bavail * facts.f_frsize);
}

std::int64_t ScratchDrive::fill(std::int64_t leaveFree) {
  const FileDescriptor fd(::open((*this / ".ballast").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
  if (!fd) throw std::system_error(errno, std::generic_category(), *this / ".ballast");
  std::int64_t taken = 0;
  std::int64_t piece = availableBytes() - leaveFree;
  while (piece >= 4096 && availableBytes() > leaveFree) {
    piece = std::min(piece, availableBytes() - leaveFree) / 4096 * 4096;
    if (piece > 0 && ::fallocate(fd.get(), 0, taken, piece) == 0) {
      taken += piece;
      ::syncfs(fd.get());
    } else {
      piece /= 2;
    }
  }
  return availableBytes();
}

void ScratchDrive::unfill() {
  ::unlink((*this / ".ballast").c_str());
  const FileDescriptor fd(::open(mountPoint_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (fd) ::syncfs(fd.get());
}

}  // namespace fernwahrung
