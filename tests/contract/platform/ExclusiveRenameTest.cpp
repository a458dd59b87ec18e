#include "support/Files.h"
#include "support/TempFolder.h"

#include "Platform/FileChanges.h"
#include "Platform/FileInfo.h"

#include <cerrno>
#include <cstring>
#include <gtest/gtest.h>
#include <unistd.h>

namespace fernwahrung {
namespace {

struct ExclusiveRename : testing::Test {
  void SetUp() override { writeFile(source, "source"); }
  void expectRefused(const std::string& from, const std::string& to) {
    const auto fromBefore = Platform::fileInfo(from);
    const auto toBefore = Platform::fileInfo(to);
    ASSERT_TRUE(fromBefore && toBefore);
    EXPECT_EQ(Platform::renameExclusive(from, to).value(), EEXIST);
    const auto fromAfter = Platform::fileInfo(from);
    const auto toAfter = Platform::fileInfo(to);
    ASSERT_TRUE(fromAfter && toAfter);
    EXPECT_EQ(fromAfter->inode, fromBefore->inode);
    EXPECT_EQ(toAfter->inode, toBefore->inode);
    EXPECT_EQ(toAfter->type, toBefore->type);
  }

  TempFolder folder;
  const std::string source = folder / "source";
  const std::string target = folder / "target";
};

TEST_F(ExclusiveRename, MovesToAFreeName) {
  EXPECT_FALSE(Platform::renameExclusive(source, target));
  EXPECT_FALSE(exists(source));
  EXPECT_EQ(readFile(target), "source");
}

TEST_F(ExclusiveRename, MovesAWholeFolder) {
  writeFile(folder / "tree/deep/file", "bytes");
  EXPECT_FALSE(Platform::renameExclusive(folder / "tree", target));
  EXPECT_FALSE(exists(folder / "tree"));
  EXPECT_EQ(readFile(target + "/deep/file"), "bytes");
}

TEST_F(ExclusiveRename, MovesALinkItself) {
  ASSERT_FALSE(Platform::makeSymlink("source", folder / "link"));
  EXPECT_FALSE(Platform::renameExclusive(folder / "link", target));
  EXPECT_EQ(Platform::linkText(target), "source");
  EXPECT_EQ(readFile(source), "source");
}

TEST_F(ExclusiveRename, LeavesAnExistingFile) {
  writeFile(target, "target");
  expectRefused(source, target);
  EXPECT_EQ(readFile(source), "source");
  EXPECT_EQ(readFile(target), "target");
}

TEST_F(ExclusiveRename, LeavesAnEmptyFolderThatRenameWouldReplace) {
  makeFolder(folder / "tree");
  makeFolder(target);
  expectRefused(folder / "tree", target);
}

TEST_F(ExclusiveRename, LeavesAFullFolder) {
  makeFolder(folder / "tree");
  writeFile(target + "/kept", "kept");
  expectRefused(folder / "tree", target);
  expectRefused(source, target);
  EXPECT_EQ(readFile(target + "/kept"), "kept");
}

TEST_F(ExclusiveRename, LeavesALink) {
  writeFile(folder / "elsewhere", "elsewhere");
  ASSERT_FALSE(Platform::makeSymlink(folder / "elsewhere", target));
  expectRefused(source, target);
  EXPECT_EQ(readFile(folder / "elsewhere"), "elsewhere");
}

TEST_F(ExclusiveRename, LeavesADanglingLink) {
  ASSERT_FALSE(Platform::makeSymlink("nowhere", target));
  expectRefused(source, target);
  EXPECT_EQ(Platform::linkText(target), "nowhere");
  EXPECT_FALSE(exists(folder / "nowhere"));
}

TEST_F(ExclusiveRename, TellsAMissingSourceAndAMissingFolder) {
  EXPECT_EQ(Platform::renameExclusive(folder / "missing", target).value(), ENOENT);
  EXPECT_EQ(Platform::renameExclusive(source, folder / "missing/target").value(), ENOENT);
  EXPECT_EQ(readFile(source), "source");
}

TEST_F(ExclusiveRename, ErrorsCarryTheSystemsText) {
  EXPECT_EQ(Platform::renameExclusive(folder / "missing", target).message(), ::strerror(ENOENT));
}

}  // namespace
}  // namespace fernwahrung
