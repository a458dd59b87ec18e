#include "support/Files.h"
#include "support/TempFolder.h"
#include "support/ToolDouble.h"

#include "Foundation/HostTools.h"
#include "Foundation/Paths.h"
#include "Storage/FileOps.h"

#include <gtest/gtest.h>

namespace fernwahrung {
namespace {

using FileOps::parseOpenFiles;

std::vector<std::string> pathsOf(const std::vector<OpenFile>& files) {
  std::vector<std::string> paths;
  for (const OpenFile& file : files) paths.push_back(file.path);
  return paths;
}

TEST(OpenFilesTest, TakesTheFolderItselfAndWhatLiesBelowIt) {
  const auto files = parseOpenFiles("p1\ncapp\nar\nn/a/b\nn/a/bc\nn/a/b/c\nn/a\nn/a/b c/d\n", "/a/b");
  EXPECT_EQ(pathsOf(files), (std::vector<std::string>{"/a/b", "/a/b/c"}));
}

TEST(OpenFilesTest, KnowsTheFolderBehindTheDataVolume) {
  const auto files =
      parseOpenFiles("p1\nar\nn/System/Volumes/Data/a/b\nn/System/Volumes/Data/a/b/c\n", "/a/b");
  EXPECT_EQ(pathsOf(files), (std::vector<std::string>{"/a/b", "/a/b/c"}));
}

TEST(OpenFilesTest, ANewProcessBeginsWithoutNameAndAccess) {
  const auto files = parseOpenFiles("p7\ncone\naw\nn/a/1\np8\nn/a/2\n", "/a");
  const std::vector<OpenFile> expected = {{7, "one", "w", "/a/1"}, {8, "", "", "/a/2"}};
  EXPECT_EQ(files, expected);
}

TEST(OpenFilesTest, SortsByProcessAndKeepsEachRecordOnce) {
  const auto files =
      parseOpenFiles("p30\ncb\nar\nn/a/x\nn/a/x\np4\nca\nau\nn/a/y\np30\ncb\nar\nn/a/x\n", "/a");
  const std::vector<OpenFile> expected = {{4, "a", "u", "/a/y"}, {30, "b", "r", "/a/x"}};
  EXPECT_EQ(files, expected);
}

TEST(OpenFilesTest, AProcessIdThatIsNoneIsZero) {
  EXPECT_EQ(parseOpenFiles("p\nn/a/x\n", "/a").at(0).pid, 0);
  EXPECT_EQ(parseOpenFiles("pabc\nn/a/x\n", "/a").at(0).pid, 0);
  EXPECT_EQ(parseOpenFiles("p99999999999\nn/a/x\n", "/a").at(0).pid, 0);
}

TEST(OpenFilesTest, ReadsARecordedRunWithLinesNobodyAskedFor) {
  const auto files =
      parseOpenFiles(readFile(FERNWAHRUNG_FIXTURES "/lsof/Fpfan-access-field.fixture.txt"), "/n");
  const std::vector<OpenFile> expected = {};
  EXPECT_EQ(files, expected);
  const auto all = parseOpenFiles(readFile(FERNWAHRUNG_FIXTURES "/lsof/Fpfan-access-field.fixture.txt"), "/");
  ASSERT_EQ(all.size(), 4u);
  EXPECT_FALSE(all[0].isWriting());
  EXPECT_EQ(all[0].access, " ");
  EXPECT_EQ(all[3].pid, 11);
  EXPECT_EQ(all[3].path, "/e");
  EXPECT_TRUE(all[3].isWriting());
}

TEST(OpenFilesTest, WhatIsNoFileOfTheFolderIsPassedOver) {
  const std::string listeners = readFile(FERNWAHRUNG_FIXTURES "/lsof/macos27.2-Fpftn-listeners.txt");
  EXPECT_TRUE(parseOpenFiles(listeners, "/a").empty());
  EXPECT_TRUE(parseOpenFiles("", "/a").empty());
  EXPECT_TRUE(parseOpenFiles("garbage\n\n\x01\xff\nn\n", "/a").empty());
}

// In the locale C, in which it runs, lsof writes "ü" as "\xc3\xbc".
TEST(OpenFilesTest, FindsAFolderWhoseNameLsofEscapes) {
  const auto files = parseOpenFiles("p1\nn/a/Schl\\xc3\\xbcssel/b\\\\c\n", "/a/Schlüssel");
  EXPECT_EQ(pathsOf(files), (std::vector<std::string>{"/a/Schlüssel/b\\c"}));
}

TEST(OpenFilesTest, AnEscapedNameInAPlainFolderIsGivenInItsBytes) {
  EXPECT_EQ(pathsOf(parseOpenFiles("p1\nn/a/Schl\\xc3\\xbcssel\n", "/a")),
            std::vector<std::string>{"/a/Schlüssel"});
}

TEST(OpenFilesTest, ANameThatLooksLikeAnEscapeIsFoundAsItStands) {
  const auto files = parseOpenFiles("p1\nn/a\\xzz/b\nn/a\\xzz/c\\\n", "/a\\xzz");
  EXPECT_EQ(pathsOf(files), (std::vector<std::string>{"/a\\xzz/b", "/a\\xzz/c\\"}));
}

TEST(OpenFilesTest, WritingIsReadFromTheAccess) {
  EXPECT_TRUE((OpenFile{1, "", "w", ""}).isWriting());
  EXPECT_TRUE((OpenFile{1, "", "u", ""}).isWriting());
  EXPECT_FALSE((OpenFile{1, "", "r", ""}).isWriting());
  EXPECT_FALSE((OpenFile{1, "", "", ""}).isWriting());
}

class OpenFilesToolTest : public testing::Test {
 protected:
  TempHome home_;
  TempFolder folder_;
};

TEST_F(OpenFilesToolTest, AsksLsofForEverythingOnce) {
  const ToolDouble lsof("/usr/sbin/lsof", {.out = "p5\ncapp\naw\nn" + (folder_ / "x") + "\n", .status = 1});
  const std::vector<OpenFile> expected = {{5, "app", "w", folder_ / "x"}};
  EXPECT_EQ(FileOps::openFiles(folder_.path() + "/"), expected);
  EXPECT_EQ(lsof.calls(), (std::vector<std::vector<std::string>>{{"-w", "-n", "-P", "-F", "pcan"}}));
  EXPECT_FALSE(exists(Paths::logFile()));
}

TEST_F(OpenFilesToolTest, WithoutLsofNothingIsOpen) {
  const HostTools::Replacement lsof("/usr/sbin/lsof", folder_ / "missing");
  EXPECT_TRUE(FileOps::openFiles(folder_.path()).empty());
}

TEST_F(OpenFilesToolTest, AskspgrepForEachApplicationLiterally) {
  ToolDouble pgrep("/usr/bin/pgrep", {.status = 1});
  pgrep.answerCall(2, {.out = "77\n", .status = 0});
  EXPECT_EQ(FileOps::runningApps({"/Applications/A+B (1).app", "/Applications/C.app", "/D.app"}),
            (std::vector<std::string>{"/Applications/C.app"}));
  EXPECT_EQ(pgrep.calls(), (std::vector<std::vector<std::string>>{
                               {"-f", "/Applications/A\\+B \\(1\\)\\.app/Contents/MacOS/"},
                               {"-f", "/Applications/C\\.app/Contents/MacOS/"},
                               {"-f", "/D\\.app/Contents/MacOS/"}}));
}

TEST_F(OpenFilesToolTest, AFailedOrMissingPgrepMeansNotRunning) {
  {
    const ToolDouble pgrep("/usr/bin/pgrep", {.out = "1\n", .status = 2});
    EXPECT_TRUE(FileOps::runningApps({"/D.app"}).empty());
  }
  const HostTools::Replacement pgrep("/usr/bin/pgrep", folder_ / "missing");
  EXPECT_TRUE(FileOps::runningApps({"/D.app"}).empty());
}

TEST(HarmlessReadersTest, AreTheSystemsIndexersAndBackup) {
  EXPECT_EQ(FileOps::harmlessReaders,
            (std::set<std::string>{"QuickLookUIService", "backupd", "fseventsd", "mds", "mds_stores",
                                   "mdworker", "mdworker_shared"}));
}

}  // namespace
}  // namespace fernwahrung
