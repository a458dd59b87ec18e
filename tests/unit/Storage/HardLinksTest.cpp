#include "support/Files.h"
#include "support/OrdinaryUser.h"
#include "support/Program.h"
#include "support/TempFolder.h"
#include "support/TreeManifest.h"

#include "Foundation/Errors.h"
#include "Foundation/Paths.h"
#include "Platform/FileInfo.h"
#include "Storage/HardLinks.h"
#include "Storage/Verifier.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fernwahrung {
namespace {

class HardLinksTest : public testing::Test {
 protected:
  HardLinksTest() {
    writeFile(source + "/a/eins", "gemeinsam");
    writeFile(source + "/b/allein", "allein");
    link("a/eins", "b/zwei");
    link("a/eins", "oben");
    makeFolder(copy);
  }

  void link(const std::string& existing, const std::string& name) {
    ASSERT_EQ(::link((source + "/" + existing).c_str(), (source + "/" + name).c_str()), 0);
  }

  /// Each entry of the top folder by itself, as the way back copies a volume.
  void copyEntryByEntry() {
    for (const std::string& name : namesIn(source))
      mustRun({"cp", "-a", source + "/" + name, copy + "/" + name});
    mustRun({"touch", "-r", source, copy});
  }

  void rejoin() { HardLinks::rejoin(source, namesIn(source), copy, context); }

  std::string log() const { return exists(Paths::logFile()) ? readFile(Paths::logFile()) : std::string(); }

  TempHome home;
  TempFolder folder;
  OperationContext context;
  std::string source = folder / "quelle";
  std::string copy = folder / "kopie";
};

TEST_F(HardLinksTest, NamesInDifferentEntriesBecomeOneFileAgain) {
  copyEntryByEntry();
  const TreeManifest before = TreeManifest::of(source);
  ASSERT_NE(diff(before, TreeManifest::of(copy)), "");
  rejoin();
  EXPECT_EQ(diff(before, TreeManifest::of(copy)), "") << "folder times among it";
  EXPECT_EQ(Platform::fileInfo(copy + "/oben")->links, 3u);
}

TEST_F(HardLinksTest, WhatIsOneFileAlreadyIsLeftAlone) {
  mustRun({"cp", "-a", source + "/.", copy});
  const TreeManifest before = TreeManifest::of(copy);
  rejoin();
  EXPECT_EQ(diff(before, TreeManifest::of(copy)), "");
}

TEST_F(HardLinksTest, MissingAndForeignItemsOfTheCopyArePassedOver) {
  copyEntryByEntry();
  ASSERT_EQ(::unlink((copy + "/a/eins").c_str()), 0);
  rejoin();
  EXPECT_FALSE(exists(copy + "/a/eins"));

  writeFile(copy + "/a/eins", "gemeinsam");
  ASSERT_EQ(::unlink((copy + "/oben").c_str()), 0);
  makeFolder(copy + "/oben");
  rejoin();
  EXPECT_TRUE(isFolder(copy + "/oben"));
  EXPECT_EQ(Platform::fileInfo(copy + "/b/zwei")->inode, Platform::fileInfo(copy + "/a/eins")->inode);
}

TEST_F(HardLinksTest, NothingSharedChangesNothing) {
  TempFolder plain;
  writeFile(plain / "x/a", "1");
  writeFile(plain / "y/a", "1");
  const TreeManifest before = TreeManifest::of(plain.path());
  HardLinks::rejoin(plain.path(), namesIn(plain.path()), plain.path(), context);
  EXPECT_EQ(diff(before, TreeManifest::of(plain.path())), "");
}

TEST_F(HardLinksTest, ANameOfFullLengthIsNoObstacle) {
  const std::string name(255, 'n');
  link("a/eins", "b/" + name);
  copyEntryByEntry();
  rejoin();
  EXPECT_EQ(Platform::fileInfo(copy + "/b/" + name)->inode, Platform::fileInfo(copy + "/a/eins")->inode);
  EXPECT_EQ(diff(TreeManifest::of(source), TreeManifest::of(copy)), "");
}

TEST_F(HardLinksTest, AFileThatMayNotBeReplacedStaysACopyOfItsOwn) {
  copyEntryByEntry();
  if (!setImmutableFlag(copy + "/a/eins", true)) GTEST_SKIP() << "this file system has no immutable flag";
  const auto folderBefore = Platform::fileInfo(copy + "/a");
  rejoin();
  EXPECT_EQ(namesIn(copy + "/a"), namesIn(source + "/a")) << "no temporary name stays";
  EXPECT_EQ(Platform::fileInfo(copy + "/a/eins")->links, 1u);
  EXPECT_EQ(Platform::fileInfo(copy + "/oben")->links, 2u) << "the others are joined all the same";
  EXPECT_EQ(Platform::fileInfo(copy + "/a")->modifiedNanoseconds, folderBefore->modifiedNanoseconds);
  EXPECT_NE(log().find("] Harte Verweise nicht angelegt, eigene Kopien bleiben: 1, zuerst " + copy +
                       "/a/eins (Operation not permitted)\n"),
            std::string::npos)
      << log();
}

TEST_F(HardLinksTest, AFolderThatMayNotBeWrittenToKeepsCopiesOfItsOwn) {
  copyEntryByEntry();
  mustRun({"chown", "-R", std::to_string(::geteuid() == 0 ? ordinaryUser : ::geteuid()), copy});
  ASSERT_EQ(::chmod((copy + "/b").c_str(), 0555), 0);
  EXPECT_TRUE(holdsForOrdinaryUser([&] {
    rejoin();
    return Platform::fileInfo(copy + "/b/zwei")->links == 1 && Platform::fileInfo(copy + "/oben")->links == 2;
  }));
}

TEST_F(HardLinksTest, OnlyTheEntriesNamedAreLookedAt) {
  copyEntryByEntry();
  HardLinks::rejoin(source, {"a", "b"}, copy, context);
  EXPECT_EQ(Platform::fileInfo(copy + "/oben")->links, 1u);
  EXPECT_EQ(Platform::fileInfo(copy + "/b/zwei")->links, 2u);
}

TEST_F(HardLinksTest, CancellingEndsIt) {
  copyEntryByEntry();
  context.cancel();
  EXPECT_THROW(rejoin(), FernwahrungError);
  EXPECT_EQ(Platform::fileInfo(copy + "/oben")->links, 1u);
}

}  // namespace
}  // namespace fernwahrung
