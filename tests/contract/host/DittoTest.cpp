#include "HostTest.h"
#include "support/Files.h"
#include "support/NastyTree.h"
#include "support/TreeManifest.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace fernwahrung::host {
namespace {

struct Ditto : testing::Test {
  ProgramResult ditto() const { return runTool("ditto", {source, copy}); }

  void expectSilentSuccess() const {
    const ProgramResult result = ditto();
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "");
  }
  void expectEqual(TreeComparison comparison = {.holes = true}) const {
    EXPECT_EQ(diff(TreeManifest::of(source), TreeManifest::of(copy), comparison), "");
  }

  TempFolder folder;
  const std::string source = folder / "source";
  const std::string copy = folder / "copy";
};

mode_t modeOf(const std::string& path) {
  struct stat status;
  EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777;
}

TEST_F(Ditto, CopiesATreeThatIsHardToCopyWithAllThatBelongsToIt) {
  makeNastyTree(source);
  ASSERT_EQ(::chmod(source.c_str(), 0700), 0);
  expectSilentSuccess();
  expectEqual();
}

TEST_F(Ditto, MergesIntoAFolderThatKeepsItsOwnMetadata) {
  makeNastyTree(source);
  ASSERT_EQ(::chmod(source.c_str(), 0700), 0);
  writeFile(copy + "/here before", "bytes");
  ASSERT_EQ(::chmod(copy.c_str(), 0751), 0);
  expectSilentSuccess();
  EXPECT_EQ(readFile(copy + "/here before"), "bytes");
  EXPECT_EQ(modeOf(copy), 0751U);
  removeEverything(copy + "/here before");
  expectEqual({.holes = true, .topFolder = false});
}

TEST_F(Ditto, ReplacesFilesButNotTheirOtherNames) {
  writeFile(source + "/file", "new");
  writeFile(source + "/link", "new");
  writeFile(copy + "/file", "old and longer");
  ASSERT_EQ(::link((copy + "/file").c_str(), (copy + "/other name").c_str()), 0);
  ASSERT_EQ(::symlink("other name", (copy + "/link").c_str()), 0);
  expectSilentSuccess();
  EXPECT_EQ(readFile(copy + "/file"), "new");
  EXPECT_EQ(readFile(copy + "/link"), "new");
  EXPECT_EQ(readFile(copy + "/other name"), "old and longer");
}

TEST_F(Ditto, CanBeRepeated) {
  makeNastyTree(source);
  expectSilentSuccess();
  const ProgramResult again = ditto();
  if (isRoot()) {
    EXPECT_EQ(again.err, "");
  } else {
    EXPECT_NE(again.err.find("Permission denied"), std::string::npos)
        << "the tree has a folder that keeps its owner out";
  }
  // The files are new ones, and so the folders have changed.
  expectEqual({.folderTimes = false, .holes = true});
}

TEST_F(Ditto, CopiesAFileToANameOrIntoAFolder) {
  writeFile(source, "bytes", 0640);
  expectSilentSuccess();
  EXPECT_EQ(readFile(copy), "bytes");
  EXPECT_EQ(modeOf(copy), 0640U);
  makeFolder(folder / "into");
  EXPECT_EQ(runTool("ditto", {source, folder / "into"}).status, 0);
  EXPECT_EQ(readFile(folder / "into/source"), "bytes");
}

TEST_F(Ditto, FollowsALinkThatIsTheSourceItself) {
  writeFile(folder / "real/file", "bytes");
  ASSERT_EQ(::symlink("real", source.c_str()), 0);
  expectSilentSuccess();
  EXPECT_EQ(readFile(copy + "/file"), "bytes");
  EXPECT_FALSE(exists(copy + "/real"));
}

TEST_F(Ditto, PassesOverPipesAndSocketsWithoutAWord) {
  writeFile(source + "/file", "bytes");
  ASSERT_EQ(::mkfifo((source + "/pipe").c_str(), 0600), 0);
  ASSERT_EQ(::mknod((source + "/socket").c_str(), S_IFSOCK | 0600, 0), 0);
  expectSilentSuccess();
  EXPECT_EQ(namesIn(copy), std::vector<std::string>{"file"});
}

TEST_F(Ditto, KeepsHolesAndHardLinks) {
  writeFile(source + "/a/name", "begin");
  ASSERT_EQ(::truncate((source + "/a/name").c_str(), 1 << 30), 0);
  makeFolder(source + "/b");
  ASSERT_EQ(::link((source + "/a/name").c_str(), (source + "/b/name").c_str()), 0);
  expectSilentSuccess();
  expectEqual();
  struct stat status;
  ASSERT_EQ(::stat((copy + "/b/name").c_str(), &status), 0);
  EXPECT_EQ(status.st_nlink, 2U);
  EXPECT_LT(status.st_blocks * 512, 1 << 20);
}

TEST_F(Ditto, KeepsAccessLists) {
  writeFile(source + "/folder/file", "bytes");
  const ProgramResult set =
      runProgram({"setfacl", "-R", "-m", "u:12345:rwx,d:u:12345:rx", source + "/folder"});
  if (set.status != 0) GTEST_SKIP() << "no access lists here: " << set.err;
  expectSilentSuccess();
  const auto lists = [](const std::string& top) { return mustRun({"getfacl", "-R", "."}, {.folder = top}); };
  EXPECT_NE(lists(source).find("12345"), std::string::npos);
  EXPECT_EQ(lists(source), lists(copy));
}

TEST_F(Ditto, GoesOnAfterAnErrorAndTellsIt) {
  writeFile(source + "/a", "bytes");
  writeFile(source + "/conflict", "bytes");
  writeFile(source + "/z/file", "bytes");
  makeFolder(copy + "/conflict");
  const ProgramResult result = ditto();
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "ditto: " + source + "/conflict: Is a directory\n");
  EXPECT_EQ(readFile(copy + "/a"), "bytes");
  EXPECT_EQ(readFile(copy + "/z/file"), "bytes");
}

TEST_F(Ditto, RefusesAMissingSourceAFileAsFolderAndOtherArguments) {
  const ProgramResult missing = ditto();
  EXPECT_EQ(missing.status, 1);
  EXPECT_EQ(missing.err, "ditto: " + source + ": No such file or directory\n");
  EXPECT_FALSE(exists(copy));
  makeFolder(source);
  writeFile(copy, "bytes");
  EXPECT_EQ(ditto().status, 1);
  EXPECT_EQ(readFile(copy), "bytes");
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{}, {source}, {source, copy, copy}, {"-V", source}}) {
    EXPECT_EQ(runTool("ditto", arguments).status, 1);
  }
}

}  // namespace
}  // namespace fernwahrung::host
