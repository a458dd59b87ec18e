#include "support/Files.h"
#include "support/Program.h"
#include "support/ScratchDrive.h"

#include "Platform/Volume.h"

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace fernwahrung {
namespace {

/// A mount that goes with the object.
class Mounted {
 public:
  Mounted(const std::string& source, std::string target, const char* type, unsigned long flags = 0)
      : target_(std::move(target)) {
    makeFolder(target_);
    if (::mount(source.c_str(), target_.c_str(), type, flags, nullptr) != 0) {
      throw std::system_error(errno, std::generic_category(), target_);
    }
  }
  ~Mounted() { ::umount2(target_.c_str(), MNT_DETACH); }
  Mounted(const Mounted&) = delete;
  Mounted& operator=(const Mounted&) = delete;

 private:
  std::string target_;
};

std::string whyNoMounts() {
  return ::geteuid() == 0 ? ScratchDrive::unavailable().value_or("") : "mounting needs root";
}

#define NEEDS_MOUNTS() \
  if (const std::string reason = whyNoMounts(); !reason.empty()) GTEST_SKIP() << reason

struct LinuxVolume : testing::Test {
  void SetUp() override { NEEDS_MOUNTS(); }
  std::string mountPointOf(const std::string& path) {
    const auto facts = Platform::volumeFacts(path);
    return facts ? facts->mountPoint : "none";
  }
  std::string typeOf(const std::string& path) {
    const auto facts = Platform::volumeFacts(path);
    return facts ? facts->type : "none";
  }
};

TEST_F(LinuxVolume, BtrfsClones) {
  const ScratchDrive drive({.bytes = 256LL << 20, .fileSystem = ScratchDrive::FileSystem::btrfs});
  EXPECT_EQ(typeOf(drive.path()), "apfs");
}

TEST_F(LinuxVolume, Ext4KeepsAJournalOnly) {
  const ScratchDrive drive({.bytes = 64LL << 20, .fileSystem = ScratchDrive::FileSystem::ext4});
  EXPECT_EQ(typeOf(drive.path()), "hfs");
}

TEST_F(LinuxVolume, XfsClonesWhenItWasMadeSo) {
  if (auto reason = ScratchDrive::unavailable(ScratchDrive::FileSystem::xfs)) GTEST_SKIP() << *reason;
  const ScratchDrive drive({.bytes = 400LL << 20, .fileSystem = ScratchDrive::FileSystem::xfs});
  EXPECT_EQ(typeOf(drive.path()), "apfs");

  const TempFolder folder;
  writeFile(folder / "image", "");
  ASSERT_EQ(::truncate((folder / "image").c_str(), 400LL << 20), 0);
  mustRun({"mkfs.xfs", "-q", "-m", "reflink=0", folder / "image"});
  makeFolder(folder / "plain");
  mustRun({"mount", "-o", "loop", folder / "image", folder / "plain"});
  EXPECT_EQ(typeOf(folder / "plain"), "hfs");
  mustRun({"umount", folder / "plain"});
}

TEST_F(LinuxVolume, OthersHaveTheirOwnName) {
  const TempFolder folder;
  const Mounted memory("none", folder / "memory", "tmpfs");
  EXPECT_EQ(typeOf(folder / "memory"), "tmpfs");
  EXPECT_EQ(typeOf("/proc"), "proc");
}

TEST_F(LinuxVolume, TheMountPointMayHoldBlanksAndBackslashes) {
  const TempFolder folder;
  const std::string odd = folder / "Meine \\040 Platte\t„ä“\n#";
  const Mounted memory("none", odd, "tmpfs");
  EXPECT_EQ(mountPointOf(odd), odd);
  makeFolder(odd + "/below");
  EXPECT_EQ(mountPointOf(odd + "/below"), odd);
}

TEST_F(LinuxVolume, OfStackedMountsTheTopmostCounts) {
  const TempFolder folder;
  const std::string place = folder / "place";
  const ScratchDrive drive({.bytes = 256LL << 20});
  const Mounted lower("none", place, "tmpfs");
  EXPECT_EQ(typeOf(place), "tmpfs");
  const Mounted upper(drive.path(), place, nullptr, MS_BIND);
  EXPECT_EQ(typeOf(place), "apfs");
  EXPECT_EQ(mountPointOf(place), place);
}

TEST_F(LinuxVolume, ABindMountHasItsOwnMountPoint) {
  const TempFolder folder;
  makeFolder(folder / "original/inner");
  const Mounted bound(folder / "original", folder / "bound", nullptr, MS_BIND);
  EXPECT_EQ(mountPointOf(folder / "bound/inner"), folder / "bound");
  EXPECT_EQ(mountPointOf(folder / "original/inner"), mountPointOf(folder.path()));
}

TEST_F(LinuxVolume, AMovedMountIsFoundAtItsNewPlace) {
  const TempFolder folder;
  const Mounted memory("none", folder / "before/mount", "tmpfs");
  ASSERT_EQ(::rename((folder / "before").c_str(), (folder / "after").c_str()), 0);
  EXPECT_EQ(mountPointOf(folder / "after/mount"), folder / "after/mount");
  ::umount2((folder / "after/mount").c_str(), MNT_DETACH);
}

TEST_F(LinuxVolume, TheCountsAreThoseOfStatvfs) {
  const ScratchDrive drive({.bytes = 64LL << 20, .fileSystem = ScratchDrive::FileSystem::ext4});
  struct statvfs status;
  ASSERT_EQ(::statvfs(drive.path().c_str(), &status), 0);
  const auto facts = Platform::volumeFacts(drive.path());
  ASSERT_TRUE(facts);
  EXPECT_EQ(facts->blockSize, static_cast<std::int64_t>(status.f_frsize));
  EXPECT_EQ(facts->blocks, static_cast<std::int64_t>(status.f_blocks));
  EXPECT_EQ(facts->availableBlocks, static_cast<std::int64_t>(status.f_bavail));
  EXPECT_EQ(Platform::capacityForImportantUsage(drive.path()), facts->availableBlocks * facts->blockSize);
}

}  // namespace
}  // namespace fernwahrung
