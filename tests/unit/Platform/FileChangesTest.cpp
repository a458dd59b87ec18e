#include "support/Files.h"
#include "support/Program.h"
#include "support/ScratchDrive.h"
#include "support/TempFolder.h"

#include "Platform/FileChanges.h"
#include "Platform/FileInfo.h"

#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <unistd.h>

namespace fernwahrung {
namespace {

TEST(LinuxFileChanges, AFullDeviceFailsTheWrite) {
  EXPECT_EQ(Platform::writeAndFlush("/dev/full", "x").value(), ENOSPC);
}

TEST(LinuxFileChanges, AFlushThatFailsIsReported) {
  // The null device takes every byte and refuses to be flushed; a folder of the process table refuses too.
  EXPECT_EQ(Platform::writeAndFlush("/dev/null", "x").value(), EINVAL);
  EXPECT_EQ(Platform::flushDirectory("/proc/self").value(), EINVAL);
}

TEST(LinuxFileChanges, APulledDriveFailsTheFlush) {
  const auto type = ScratchDrive::FileSystem::ext4;
  if (auto reason = ScratchDrive::unavailable(type)) GTEST_SKIP() << *reason;
  ScratchDrive drive({.bytes = 64LL << 20, .fileSystem = type});
  writeFile(drive / "file", "before");
  // Through the open folder the file can still be reached when its mount is gone.
  const int folder = ::open(drive.path().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
  const std::string file = "/proc/self/fd/" + std::to_string(folder) + "/file";
  drive.pull();
  EXPECT_EQ(Platform::writeAndFlush(file, std::string(1 << 20, 'x')).value(), EIO);
  ::close(folder);
}

TEST(LinuxFileChanges, WithoutAnExclusiveRenameThereIsNone) {
  if (::geteuid() != 0 || !findProgram("fuse2fs")) GTEST_SKIP() << "needs root and fuse2fs";
  const TempFolder folder;
  writeFile(folder / "image", "");
  ASSERT_EQ(::truncate((folder / "image").c_str(), 16 << 20), 0);
  mustRun({"mkfs.ext4", "-q", "-F", folder / "image"});
  makeFolder(folder / "mount");
  mustRun({"fuse2fs", folder / "image", folder / "mount"});
  writeFile(folder / "mount/source", "source");
  writeFile(folder / "mount/target", "target");
  EXPECT_TRUE(Platform::renameExclusive(folder / "mount/source", folder / "mount/target"));
  const auto error = Platform::renameExclusive(folder / "mount/source", folder / "mount/free");
  EXPECT_TRUE(error.value() == EINVAL || error.value() == ENOSYS) << error.message();
  EXPECT_EQ(readFile(folder / "mount/source"), "source");
  EXPECT_EQ(readFile(folder / "mount/target"), "target");
  EXPECT_FALSE(exists(folder / "mount/free"));
  ::umount2((folder / "mount").c_str(), MNT_DETACH);
}

}  // namespace
}  // namespace fernwahrung
