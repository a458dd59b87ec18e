#include "Places.h"
#include "support/Files.h"
#include "support/TempFolder.h"

#include "Platform/FileChanges.h"
#include "Platform/FileInfo.h"

#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fernwahrung {
namespace {

using contract::asOrdinaryUser;

struct Immutable : testing::Test {
  void SetUp() override { makeFolder(locked); }

  TempFolder folder;
  const std::string locked = folder / "mount point";
};

/// What of all that makes a name in the folder was not refused.
std::string namesThatCanBeMade(const std::string& folder, const std::string& outside) {
  std::string made;
  if (!Platform::createFile(folder + "/file")) made += "file ";
  if (!Platform::makeDirectory(folder + "/folder", 0755)) made += "folder ";
  if (!Platform::makeSymlink("text", folder + "/link")) made += "link ";
  if (!Platform::hardLink(outside, folder + "/hard")) made += "hard link ";
  if (!Platform::rename(outside, folder + "/moved")) made += "moved ";
  return made;
}

TEST_F(Immutable, AnEmptyFolderRefusesEveryNewName) {
  writeFile(folder / "outside", "bytes");
  ASSERT_FALSE(Platform::setImmutable(locked, true));
  EXPECT_TRUE(Platform::isImmutable(locked));
  EXPECT_EQ(namesThatCanBeMade(locked, folder / "outside"), "");
  EXPECT_EQ(namesIn(locked), std::vector<std::string>{});
  EXPECT_EQ(readFile(folder / "outside"), "bytes");
}

TEST_F(Immutable, AnUnlockedFolderTakesNamesAgain) {
  writeFile(folder / "outside", "bytes");
  ASSERT_FALSE(Platform::setImmutable(locked, true));
  ASSERT_FALSE(Platform::setImmutable(locked, false));
  EXPECT_FALSE(Platform::isImmutable(locked));
  EXPECT_EQ(namesThatCanBeMade(locked, folder / "outside"), "file folder link hard link moved ");
}

TEST_F(Immutable, ALockedFolderCanNotBeRemoved) {
  makeFolder(locked + "/inner");
  ASSERT_FALSE(Platform::setImmutable(locked, true));
  EXPECT_TRUE(Platform::removeDirectory(locked + "/inner"));
  EXPECT_TRUE(isFolder(locked + "/inner"));
}

TEST_F(Immutable, KeepsTheOtherFlags) {
  ASSERT_TRUE(contract::setNoDumpFlag(locked));
  ASSERT_FALSE(Platform::setImmutable(locked, true));
  EXPECT_TRUE(contract::hasNoDumpFlag(locked));
  EXPECT_TRUE(Platform::isImmutable(locked));
  ASSERT_FALSE(Platform::setImmutable(locked, false));
  EXPECT_TRUE(contract::hasNoDumpFlag(locked));
}

TEST_F(Immutable, CanBeSetAndTakenTwice) {
  EXPECT_FALSE(Platform::setImmutable(locked, true));
  EXPECT_FALSE(Platform::setImmutable(locked, true));
  EXPECT_TRUE(Platform::isImmutable(locked));
  EXPECT_FALSE(Platform::setImmutable(locked, false));
  EXPECT_FALSE(Platform::setImmutable(locked, false));
  EXPECT_FALSE(Platform::isImmutable(locked));
}

TEST_F(Immutable, LeavesThePermissionsAsTheyWere) {
  ASSERT_EQ(::chmod(locked.c_str(), 02751), 0);
  ASSERT_FALSE(Platform::setImmutable(locked, true));
  ASSERT_FALSE(Platform::setImmutable(locked, false));
  EXPECT_EQ(Platform::fileInfo(locked)->permissions, 02751u);
}

TEST_F(Immutable, LocksAFileAgainstWriting) {
  const std::string file = folder / "file";
  writeFile(file, "bytes");
  ASSERT_FALSE(Platform::setImmutable(file, true));
  EXPECT_TRUE(Platform::writeAndFlush(file, "others"));
  EXPECT_EQ(readFile(file), "bytes");
  ASSERT_FALSE(Platform::setImmutable(file, false));
  EXPECT_FALSE(Platform::writeAndFlush(file, "others"));
}

TEST_F(Immutable, OfAMissingFolderIsAnError) {
  EXPECT_EQ(Platform::setImmutable(folder / "missing", true).value(), ENOENT);
  EXPECT_FALSE(Platform::isImmutable(folder / "missing"));
}

TEST_F(Immutable, ALinkToALockedFolderIsNotLocked) {
  ASSERT_FALSE(Platform::setImmutable(locked, true));
  ASSERT_FALSE(Platform::makeSymlink(locked, folder / "link"));
  EXPECT_FALSE(Platform::isImmutable(folder / "link"));
}

TEST_F(Immutable, AWriteProtectedFolderIsNotALockedOne) {
  ASSERT_EQ(::chmod(locked.c_str(), 0555), 0);
  EXPECT_FALSE(Platform::isImmutable(locked));
  ASSERT_FALSE(Platform::setImmutable(locked, false));
  EXPECT_EQ(Platform::fileInfo(locked)->permissions, 0555u);
}

TEST_F(Immutable, AnOrdinaryUserLocksAndUnlocksHisFolder) {
  contract::giveToOrdinaryUser(folder.path());
  contract::giveToOrdinaryUser(locked);
  writeFile(folder / "outside", "bytes");
  contract::giveToOrdinaryUser(folder / "outside");
  ASSERT_EQ(::chmod(locked.c_str(), 0751), 0);
  EXPECT_EQ(asOrdinaryUser([&]() -> std::string {
              if (const auto error = Platform::setImmutable(locked, true))
                return "locking: " + error.message();
              if (!Platform::isImmutable(locked)) return "not locked";
              return namesThatCanBeMade(locked, folder / "outside");
            }),
            "");
  EXPECT_TRUE(Platform::isImmutable(locked));
  EXPECT_EQ(asOrdinaryUser([&]() -> std::string {
              if (const auto error = Platform::setImmutable(locked, true)) return "twice: " + error.message();
              if (const auto error = Platform::setImmutable(locked, false))
                return "unlocking: " + error.message();
              if (Platform::isImmutable(locked)) return "still locked";
              return namesThatCanBeMade(locked, folder / "outside");
            }),
            "file folder link hard link moved ");
  EXPECT_EQ(Platform::fileInfo(locked)->permissions, 0751u);
}

TEST_F(Immutable, AnotherUsersFolderCanNotBeLocked) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs a second user";
  EXPECT_EQ(asOrdinaryUser(
                [&]() -> std::string { return Platform::setImmutable(locked, true) ? "refused" : "locked"; }),
            "refused");
  EXPECT_FALSE(Platform::isImmutable(locked));
  EXPECT_EQ(Platform::fileInfo(locked)->permissions, 0755u);
}

}  // namespace
}  // namespace fernwahrung
