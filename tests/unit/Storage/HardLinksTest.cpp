#include "support/Files.h"
#include "support/Program.h"
#include "support/TempFolder.h"
#include "support/TreeManifest.h"

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

  TempFolder folder;
  std::string source = folder / "quelle";
  std::string copy = folder / "kopie";
};

TEST_F(HardLinksTest, NamesInDifferentEntriesBecomeOneFileAgain) {
  copyEntryByEntry();
  const TreeManifest before = TreeManifest::of(source);
  ASSERT_NE(diff(before, TreeManifest::of(copy)), "");
  HardLinks::rejoin(source, copy);
  EXPECT_EQ(diff(before, TreeManifest::of(copy)), "") << "folder times among it";
  EXPECT_EQ(Platform::fileInfo(copy + "/oben")->links, 3u);
}

TEST_F(HardLinksTest, WhatIsOneFileAlreadyIsLeftAlone) {
  mustRun({"cp", "-a", source + "/.", copy});
  const TreeManifest before = TreeManifest::of(copy);
  HardLinks::rejoin(source, copy);
  EXPECT_EQ(diff(before, TreeManifest::of(copy)), "");
}

TEST_F(HardLinksTest, MissingAndForeignItemsOfTheCopyArePassedOver) {
  copyEntryByEntry();
  ASSERT_EQ(::unlink((copy + "/a/eins").c_str()), 0);
  HardLinks::rejoin(source, copy);
  EXPECT_FALSE(exists(copy + "/a/eins"));

  writeFile(copy + "/a/eins", "gemeinsam");
  ASSERT_EQ(::unlink((copy + "/oben").c_str()), 0);
  makeFolder(copy + "/oben");
  HardLinks::rejoin(source, copy);
  EXPECT_TRUE(isFolder(copy + "/oben"));
  EXPECT_EQ(Platform::fileInfo(copy + "/b/zwei")->inode, Platform::fileInfo(copy + "/a/eins")->inode);
}

TEST_F(HardLinksTest, NothingSharedChangesNothing) {
  TempFolder plain;
  writeFile(plain / "x/a", "1");
  writeFile(plain / "y/a", "1");
  const TreeManifest before = TreeManifest::of(plain.path());
  HardLinks::rejoin(plain.path(), plain.path());
  EXPECT_EQ(diff(before, TreeManifest::of(plain.path())), "");
}

}  // namespace
}  // namespace fernwahrung
