#include "support/Files.h"
#include "support/NastyTree.h"
#include "support/ScratchDrive.h"
#include "support/TreeManifest.h"

#include "Foundation/FileDescriptor.h"
#include "Platform/FileChanges.h"
#include "Platform/FileInfo.h"
#include "Platform/Volume.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/fiemap.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace fernwahrung {
namespace {

/// Whether every block of the file belongs to another file too.
bool isShared(const std::string& path) {
  const FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  ::fsync(fd.get());
  std::vector<char> memory(sizeof(fiemap) + 64 * sizeof(fiemap_extent));
  auto* map = reinterpret_cast<fiemap*>(memory.data());
  map->fm_length = FIEMAP_MAX_OFFSET;
  map->fm_extent_count = 64;
  if (::ioctl(fd.get(), FS_IOC_FIEMAP, map) != 0 || map->fm_mapped_extents == 0) return false;
  for (unsigned i = 0; i < map->fm_mapped_extents; ++i) {
    if (!(map->fm_extents[i].fe_flags & FIEMAP_EXTENT_SHARED)) return false;
  }
  return true;
}

struct LinuxClone : testing::TestWithParam<ScratchDrive::FileSystem> {
  void SetUp() override {
    if (auto reason = ScratchDrive::unavailable(GetParam())) GTEST_SKIP() << *reason;
    drive =
        std::make_unique<ScratchDrive>(ScratchDrive::Options{.bytes = 512LL << 20, .fileSystem = GetParam()});
  }
  std::string at(const std::string& name) const { return *drive / name; }

  std::unique_ptr<ScratchDrive> drive;
};

INSTANTIATE_TEST_SUITE_P(Cloning, LinuxClone,
                         testing::Values(ScratchDrive::FileSystem::btrfs, ScratchDrive::FileSystem::xfs),
                         [](const auto& instance) {
                           return instance.param == ScratchDrive::FileSystem::btrfs ? "btrfs" : "xfs";
                         });

TEST_P(LinuxClone, KeepsEverythingOfADifficultTree) {
  makeNastyTree(at("source"));
  const auto before = TreeManifest::of(at("source"));
  ASSERT_GT(before.entries.size(), 50u);
  ASSERT_FALSE(Platform::clone(at("source"), at("copy")));
  EXPECT_EQ(diff(before, TreeManifest::of(at("copy")), {.holes = true}), "");
  EXPECT_EQ(diff(before, TreeManifest::of(at("source"))), "");
}

TEST_P(LinuxClone, SharesItsBlocks) {
  writeFile(at("source/file"), std::string(4 << 20, 'x'));
  ASSERT_FALSE(Platform::clone(at("source"), at("copy")));
  EXPECT_TRUE(isShared(at("copy/file")));
}

TEST_P(LinuxClone, KeepsPipesAndTheirModes) {
  makeFolder(at("source"));
  ASSERT_EQ(::mkfifo(at("source/pipe").c_str(), 0620), 0);
  ASSERT_EQ(::chmod(at("source/pipe").c_str(), 0622), 0);
  ASSERT_FALSE(Platform::clone(at("source"), at("copy")));
  const auto info = Platform::fileInfo(at("copy/pipe"));
  ASSERT_TRUE(info);
  EXPECT_EQ(info->type, FileType::other);
  EXPECT_EQ(info->permissions, 0622u);
}

TEST_P(LinuxClone, AFolderOfAnotherVolumeInsideStopsItWhole) {
  const ScratchDrive other({.bytes = 256LL << 20});
  writeFile(at("source/a"), std::string(100000, 'x'));
  ASSERT_FALSE(Platform::clone(at("source"), at("probe")));
  EXPECT_EQ(Platform::clone(at("source"), other / "copy").value(), EXDEV);
  EXPECT_EQ(namesIn(other.path()), std::vector<std::string>{});
}

TEST_P(LinuxClone, AnOrdinaryUsersReadOnlyFoldersAreNoHindrance) {
  writeFile(at("mine/source/closed/file"), "bytes");
  ASSERT_EQ(::chmod(at("mine/source/closed").c_str(), 0555), 0);
  ASSERT_EQ(::chmod(at("mine/source").c_str(), 0555), 0);
  for (const char* name : {"mine", "mine/source", "mine/source/closed", "mine/source/closed/file"}) {
    ASSERT_EQ(::chown(at(name).c_str(), 65534, 65534), 0);
  }
  const pid_t child = ::fork();
  if (child == 0) {
    if (::setgid(65534) != 0 || ::setuid(65534) != 0) ::_exit(126);
    ::_exit(Platform::clone(at("mine/source"), at("mine/copy")).value());
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(diff(TreeManifest::of(at("mine/source")), TreeManifest::of(at("mine/copy"))), "");
}

TEST(LinuxCloneOnBtrfs, AFileThatIsNeverCopiedOnWriteClonesToo) {
  if (auto reason = ScratchDrive::unavailable()) GTEST_SKIP() << *reason;
  const ScratchDrive drive({.bytes = 256LL << 20});
  writeFile(drive / "source", "");
  {
    const FileDescriptor fd(::open((drive / "source").c_str(), O_RDONLY | O_CLOEXEC));
    const int flags = FS_NOCOW_FL;
    ASSERT_EQ(::ioctl(fd.get(), FS_IOC_SETFLAGS, &flags), 0);
  }
  ASSERT_FALSE(Platform::writeAndFlush(drive / "source", std::string(100000, 'x')));
  ASSERT_FALSE(Platform::clone(drive / "source", drive / "copy"));
  EXPECT_EQ(readFile(drive / "copy"), std::string(100000, 'x'));
}

TEST(LinuxCloneOnXfs, AFullDriveLeavesNothing) {
  const auto type = ScratchDrive::FileSystem::xfs;
  if (auto reason = ScratchDrive::unavailable(type)) GTEST_SKIP() << *reason;
  ScratchDrive drive({.bytes = 400LL << 20, .fileSystem = type});
  for (int i = 0; i < 20000; ++i) writeFile(drive / "source/" + std::to_string(i), "");
  const auto before = namesIn(drive.path());
  drive.fill(0);
  const auto error = Platform::clone(drive / "source", drive / "copy");
  drive.unfill();
  EXPECT_EQ(error.value(), ENOSPC);
  EXPECT_EQ(namesIn(drive.path()), before);
}

TEST(LinuxCloneOnExt4, IsRefusedAndLeavesNothing) {
  const auto type = ScratchDrive::FileSystem::ext4;
  if (auto reason = ScratchDrive::unavailable(type)) GTEST_SKIP() << *reason;
  const ScratchDrive drive({.bytes = 64LL << 20, .fileSystem = type});
  writeFile(drive / "source/file", "bytes");
  const auto before = namesIn(drive.path());
  EXPECT_EQ(Platform::clone(drive / "source", drive / "copy").value(), EOPNOTSUPP);
  EXPECT_EQ(Platform::clone(drive / "source/file", drive / "copy").value(), EOPNOTSUPP);
  EXPECT_EQ(namesIn(drive.path()), before);
}

}  // namespace
}  // namespace fernwahrung
