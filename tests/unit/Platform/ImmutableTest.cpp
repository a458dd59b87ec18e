#include "support/Files.h"
#include "support/ScratchDrive.h"
#include "support/TempFolder.h"

#include "Foundation/FileDescriptor.h"
#include "Platform/FileChanges.h"
#include "Platform/FileInfo.h"

#include <cerrno>
#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace fernwahrung {
namespace {

constexpr uid_t nobody = 65534;
constexpr const char* marker = "user.fernwahrung.gesperrt";

/// What the work returns when an ordinary user does it: 0 to 125.
int asNobody(const std::function<int()>& work) {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(::setgid(nobody) == 0 && ::setuid(nobody) == 0 ? work() : 126);
  int status = 0;
  ::waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 127;
}

bool hasFlag(const std::string& path) {
  const FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  int flags = 0;
  return ::ioctl(fd.get(), FS_IOC_GETFLAGS, &flags) == 0 && (flags & FS_IMMUTABLE_FL);
}

std::string markerOf(const std::string& path) {
  char text[64];
  const ssize_t length = ::lgetxattr(path.c_str(), marker, text, sizeof text);
  return length < 0 ? "none" : std::string(text, static_cast<std::size_t>(length));
}

mode_t modeOf(const std::string& path) {
  return Platform::fileInfo(path)->permissions;
}

struct LinuxImmutable : testing::Test {
  void SetUp() override {
    if (::geteuid() != 0) GTEST_SKIP() << "needs root and an ordinary user";
    makeFolder(locked);
    ASSERT_EQ(::chmod(locked.c_str(), 0751), 0);
    ASSERT_EQ(::chown(locked.c_str(), nobody, nobody), 0);
  }
  int lockAsNobody() const {
    return asNobody([&] { return Platform::setImmutable(locked, true).value(); });
  }
  int unlockAsNobody() const {
    return asNobody([&] { return Platform::setImmutable(locked, false).value(); });
  }

  TempFolder folder;
  const std::string locked = folder / "locked";
};

TEST_F(LinuxImmutable, RootSetsTheInodesFlagAndLeavesTheMode) {
  ASSERT_FALSE(Platform::setImmutable(locked, true));
  EXPECT_TRUE(hasFlag(locked));
  EXPECT_EQ(modeOf(locked), 0751u);
  EXPECT_EQ(markerOf(locked), "none");
  ASSERT_FALSE(Platform::setImmutable(locked, false));
  EXPECT_FALSE(hasFlag(locked));
}

TEST_F(LinuxImmutable, AnOrdinaryUserTakesTheWritePermissionsAndRemembersThem) {
  ASSERT_EQ(::chmod(locked.c_str(), 01773), 0);
  EXPECT_EQ(lockAsNobody(), 0);
  EXPECT_FALSE(hasFlag(locked));
  EXPECT_EQ(modeOf(locked), 01551u);
  EXPECT_EQ(markerOf(locked), "1773");
  EXPECT_TRUE(Platform::isImmutable(locked));
  EXPECT_EQ(unlockAsNobody(), 0);
  EXPECT_EQ(modeOf(locked), 01773u);
  EXPECT_EQ(markerOf(locked), "none");
}

TEST_F(LinuxImmutable, LockingTwiceKeepsTheFirstMode) {
  EXPECT_EQ(lockAsNobody(), 0);
  EXPECT_EQ(lockAsNobody(), 0);
  EXPECT_FALSE(Platform::setImmutable(locked, true));
  EXPECT_EQ(markerOf(locked), "751");
  EXPECT_EQ(unlockAsNobody(), 0);
  EXPECT_EQ(modeOf(locked), 0751u);
}

TEST_F(LinuxImmutable, RootUnlocksWhatAnOrdinaryUserLocked) {
  EXPECT_EQ(lockAsNobody(), 0);
  ASSERT_FALSE(Platform::setImmutable(locked, false));
  EXPECT_FALSE(Platform::isImmutable(locked));
  EXPECT_EQ(modeOf(locked), 0751u);
  EXPECT_EQ(markerOf(locked), "none");
}

TEST_F(LinuxImmutable, AnOrdinaryUserIsRefusedWhatRootLocked) {
  ASSERT_FALSE(Platform::setImmutable(locked, true));
  EXPECT_EQ(unlockAsNobody(), EPERM);
  EXPECT_TRUE(asNobody([&] { return Platform::isImmutable(locked) ? 1 : 0; }));
  EXPECT_TRUE(hasFlag(locked));
}

TEST_F(LinuxImmutable, BothWaysAtOnceAreBothUndone) {
  EXPECT_EQ(lockAsNobody(), 0);
  ASSERT_TRUE(setImmutableFlag(locked, true));
  ASSERT_FALSE(Platform::setImmutable(locked, false));
  EXPECT_FALSE(hasFlag(locked));
  EXPECT_EQ(modeOf(locked), 0751u);
  EXPECT_EQ(markerOf(locked), "none");
}

TEST_F(LinuxImmutable, AMarkerOnAWritableFolderIsNoLock) {
  // As after a crash between the two steps, or when someone gave the permissions back by hand.
  ASSERT_EQ(::setxattr(locked.c_str(), marker, "700", 3, 0), 0);
  EXPECT_FALSE(Platform::isImmutable(locked));
  EXPECT_EQ(lockAsNobody(), 0);
  EXPECT_EQ(markerOf(locked), "751");
  ASSERT_EQ(::chmod(locked.c_str(), 0770), 0);
  EXPECT_EQ(unlockAsNobody(), 0);
  EXPECT_EQ(modeOf(locked), 0770u);
  EXPECT_EQ(markerOf(locked), "none");
}

TEST_F(LinuxImmutable, AFolderThatWasWriteProtectedBeforeIsSoAfterwards) {
  ASSERT_EQ(::chmod(locked.c_str(), 0555), 0);
  EXPECT_EQ(lockAsNobody(), 0);
  EXPECT_TRUE(Platform::isImmutable(locked));
  EXPECT_EQ(unlockAsNobody(), 0);
  EXPECT_FALSE(Platform::isImmutable(locked));
  EXPECT_EQ(modeOf(locked), 0555u);
}

TEST_F(LinuxImmutable, ADamagedMarkerGivesTheOwnerHisRights) {
  for (const char* text : {"", "rwx", "99999", "-1", "7777777777777777777777777777777"}) {
    ASSERT_EQ(::setxattr(locked.c_str(), marker, text, strlen(text), 0), 0);
    ASSERT_EQ(::chmod(locked.c_str(), 0551), 0);
    EXPECT_TRUE(Platform::isImmutable(locked)) << text;
    EXPECT_EQ(unlockAsNobody(), 0) << text;
    EXPECT_EQ(modeOf(locked), 0700u) << text;
    EXPECT_EQ(markerOf(locked), "none") << text;
  }
}

TEST_F(LinuxImmutable, NeverFollowsALink) {
  ASSERT_FALSE(Platform::makeSymlink(locked, folder / "link"));
  EXPECT_TRUE(Platform::setImmutable(folder / "link", true));
  EXPECT_FALSE(Platform::isImmutable(locked));
}

TEST_F(LinuxImmutable, DoesNotWaitAtAPipe) {
  ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
  EXPECT_EQ(Platform::setImmutable(folder / "pipe", true).value(), EOPNOTSUPP);
  EXPECT_FALSE(Platform::isImmutable(folder / "pipe"));
}

TEST_F(LinuxImmutable, WorksOnTheFileSystemsOfDrives) {
  for (const auto type : {ScratchDrive::FileSystem::btrfs, ScratchDrive::FileSystem::ext4}) {
    if (auto reason = ScratchDrive::unavailable(type)) GTEST_SKIP() << *reason;
    const ScratchDrive drive({.bytes = 256LL << 20, .fileSystem = type});
    makeFolder(drive / "folder");
    ASSERT_FALSE(Platform::setImmutable(drive / "folder", true));
    EXPECT_TRUE(Platform::isImmutable(drive / "folder"));
    EXPECT_TRUE(Platform::createFile(drive / "folder/file"));
    ASSERT_FALSE(Platform::setImmutable(drive / "folder", false));
    EXPECT_FALSE(Platform::createFile(drive / "folder/file"));
  }
}

}  // namespace
}  // namespace fernwahrung
