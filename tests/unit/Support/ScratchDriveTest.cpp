#include "support/Eventually.h"
#include "support/Files.h"
#include "support/Program.h"
#include "support/ScratchDrive.h"

#include "Foundation/FileDescriptor.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fernwahrung {
namespace {

class ScratchDriveTest : public testing::TestWithParam<ScratchDrive::FileSystem> {
 protected:
  void SetUp() override {
    if (auto reason = ScratchDrive::unavailable(GetParam())) GTEST_SKIP() << *reason;
  }
  const ScratchDrive::Options options_{.bytes = 600LL << 20, .fileSystem = GetParam()};
};

/// Puts an ext4 image onto the drive and mounts it outside, as an attached disk image is.
void attachImage(const ScratchDrive& drive, const std::string& mountPoint) {
  const std::string image = drive / "Bilder/image";
  writeFile(image, "");
  ASSERT_EQ(::truncate(image.c_str(), 64 << 20), 0);
  mustRun({"mkfs.ext4", "-q", "-F", image});
  makeFolder(mountPoint);
  mustRun({"mount", "-o", "loop", image, mountPoint});
}

TEST_P(ScratchDriveTest, IsMountedBelowVolumesAndGoesWithTheObject) {
  std::string path, file;
  {
    const ScratchDrive drive(options_);
    path = drive.path();
    file = drive.backingFile();
    EXPECT_EQ(path.compare(0, 9, "/Volumes/"), 0);
    EXPECT_TRUE(Mounts::isMountPoint(path));
    writeFile(drive / "a", "x");
  }
  EXPECT_FALSE(exists(path));
  // Somebody who is just looking at the device may keep it for an instant.
  EXPECT_TRUE(eventually([&] {
    const auto loops = Mounts::loops();
    return std::none_of(loops.begin(), loops.end(),
                        [&](const Mounts::Loop& loop) { return loop.backingFile == file; });
  }));
}

TEST_P(ScratchDriveTest, TakesImagesAttachedFromItWithItself) {
  const TempFolder folder;
  {
    const ScratchDrive drive(options_);
    attachImage(drive, folder / "image");
    ASSERT_TRUE(Mounts::isMountPoint(folder / "image"));
  }
  EXPECT_FALSE(Mounts::isMountPoint(folder / "image"));
}

TEST_P(ScratchDriveTest, KeepsItsBytesWhenItIsPluggedInAgain) {
  ScratchDrive drive(options_);
  writeFile(drive / "kept", "x");
  ::sync();
  drive.pull();
  EXPECT_FALSE(exists(drive.path()));
  drive.remount();
  EXPECT_EQ(readFile(drive / "kept"), "x");
  drive.remount();
  EXPECT_EQ(readFile(drive / "kept"), "x");
}

TEST_P(ScratchDriveTest, GivesErrorsToThoseWhoStillReadAPulledDrive) {
  ScratchDrive drive(options_);
  writeFile(drive / "file", std::string(1 << 20, 'x'));
  drive.remount();
  const FileDescriptor fd(::open((drive / "file").c_str(), O_RDONLY | O_CLOEXEC));
  ASSERT_TRUE(fd);
  drive.pull();
  char byte = 0;
  EXPECT_EQ(::pread(fd.get(), &byte, 1, 900000), -1);
  EXPECT_EQ(errno, EIO);
}

TEST_P(ScratchDriveTest, LeavesAnAttachedImageBehindWhenItIsPulled) {
  const TempFolder folder;
  ScratchDrive drive(options_);
  attachImage(drive, folder / "image");
  drive.pull();
  EXPECT_TRUE(Mounts::isMountPoint(folder / "image"));
  drive.remount();
  EXPECT_FALSE(Mounts::isMountPoint(folder / "image"));
  EXPECT_TRUE(exists(drive / "Bilder"));
}

TEST_P(ScratchDriveTest, FillsUpToTheBytesAskedForAndEmptiesAgain) {
  ScratchDrive drive(options_);
  const std::int64_t before = drive.availableBytes();
  const std::int64_t left = drive.fill(8 << 20);
  EXPECT_LE(left, 8 << 20);
  EXPECT_EQ(drive.availableBytes(), left);
  drive.unfill();
  EXPECT_GT(drive.availableBytes(), before - (16 << 20));
}

TEST_P(ScratchDriveTest, ClearsAwayWhatAKilledTestLeft) {
  int pipe[2];
  ASSERT_EQ(::pipe2(pipe, O_CLOEXEC), 0);
  const FileDescriptor readEnd(pipe[0]);
  FileDescriptor writeEnd(pipe[1]);
  const pid_t gone = ::fork();
  if (gone == 0) {
    writeEnd.reset();
    char byte = 0;
    ::_exit(static_cast<int>(::read(readEnd.get(), &byte, 1)));
  }
  const std::string stale = "/Volumes/Fernwahrung-Test-" + std::to_string(gone) + "-1";
  makeFolder(stale);
  mustRun({"mount", "-t", "tmpfs", "none", stale});
  writeEnd.reset();
  ASSERT_EQ(::waitpid(gone, nullptr, 0), gone);
  const ScratchDrive drive(options_);
  EXPECT_FALSE(exists(stale));
}

std::string fileSystemName(const testing::TestParamInfo<ScratchDrive::FileSystem>& parameter) {
  switch (parameter.param) {
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

INSTANTIATE_TEST_SUITE_P(FileSystems, ScratchDriveTest,
                         testing::Values(ScratchDrive::FileSystem::btrfs, ScratchDrive::FileSystem::ext4,
                                         ScratchDrive::FileSystem::xfs),
                         fileSystemName);

}  // namespace
}  // namespace fernwahrung
