#include "support/Files.h"
#include "support/Mounts.h"
#include "support/TempFolder.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fernwahrung {
namespace {

TEST(TempFolder, IsEmptyAndGoesWithTheObject) {
  std::string path;
  {
    const TempFolder folder;
    path = folder.path();
    EXPECT_TRUE(namesIn(path).empty());
    writeFile(folder / "a/b/c", "x");
    EXPECT_EQ(readFile(folder / "a/b/c"), "x");
  }
  EXPECT_FALSE(exists(path));
}

TEST(TempFolder, RemovesFoldersWithoutPermissionsAndDanglingLinks) {
  std::string path;
  {
    const TempFolder folder;
    path = folder.path();
    writeFile(folder / "closed/inside/file", "x", 0000);
    ASSERT_EQ(::symlink("/nowhere", (folder / "closed/link").c_str()), 0);
    ASSERT_EQ(::chmod((folder / "closed/inside").c_str(), 0000), 0);
    ASSERT_EQ(::chmod((folder / "closed").c_str(), 0000), 0);
  }
  EXPECT_FALSE(exists(path));
}

TEST(TempFolder, RemovesImmutableFilesAndFolders) {
  std::string path;
  {
    const TempFolder folder;
    path = folder.path();
    writeFile(folder / "locked/file", "x");
    if (!setImmutableFlag(folder / "locked/file", true)) GTEST_SKIP() << "no immutable flag here";
    ASSERT_TRUE(setImmutableFlag(folder / "locked", true));
    ASSERT_NE(::unlink((folder / "locked/file").c_str()), 0);
  }
  EXPECT_FALSE(exists(path));
}

TEST(TempFolder, LetsGoOfAMountInsideAndLeavesItsSourceAlone) {
  const TempFolder outside;
  writeFile(outside / "kept", "x");
  std::string path;
  {
    const TempFolder folder;
    path = folder.path();
    makeFolder(folder / "mount here");
    if (::mount(outside.path().c_str(), (folder / "mount here").c_str(), nullptr, MS_BIND, nullptr) != 0) {
      GTEST_SKIP() << "mounting needs root";
    }
    ASSERT_TRUE(Mounts::isMountPoint(folder / "mount here"));
  }
  EXPECT_FALSE(exists(path));
  EXPECT_EQ(readFile(outside / "kept"), "x");
}

TEST(TempFolder, DoesNotFollowALinkOutOfItself) {
  const TempFolder outside;
  writeFile(outside / "kept", "x");
  {
    const TempFolder folder;
    ASSERT_EQ(::symlink(outside.path().c_str(), (folder / "link").c_str()), 0);
  }
  EXPECT_EQ(readFile(outside / "kept"), "x");
}

TEST(TempHome, RedirectsThePrivateFilesAndPutsTheOldValueBack) {
  const ScopedEnvironment before("FERNWAHRUNG_HOME", "/before");
  {
    const TempHome home;
    EXPECT_EQ(std::getenv("FERNWAHRUNG_HOME"), home.path());
    {
      const TempHome inner;
      EXPECT_EQ(std::getenv("FERNWAHRUNG_HOME"), inner.path());
    }
    EXPECT_EQ(std::getenv("FERNWAHRUNG_HOME"), home.path());
  }
  EXPECT_STREQ(std::getenv("FERNWAHRUNG_HOME"), "/before");
}

TEST(ScopedEnvironment, RemovesAVariableThatWasNotThere) {
  ::unsetenv("FERNWAHRUNG_TEST_VARIABLE");
  { const ScopedEnvironment variable("FERNWAHRUNG_TEST_VARIABLE", "x"); }
  EXPECT_EQ(std::getenv("FERNWAHRUNG_TEST_VARIABLE"), nullptr);
}

}  // namespace
}  // namespace fernwahrung
