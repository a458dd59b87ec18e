#include "support/Files.h"
#include "support/OrdinaryUser.h"
#include "support/Program.h"
#include "support/ScopedEnvironment.h"
#include "support/TempFolder.h"

#include "Foundation/BlockingCalls.h"
#include "Foundation/Errors.h"
#include "Foundation/Host.h"
#include "Foundation/Paths.h"
#include "Storage/DirectoryState.h"
#include "Storage/FileOps.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace fernwahrung {
namespace {

// A volume that is mounted on every Linux machine.
constexpr const char* someMountPoint = "/proc";

std::string messageOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const FernwahrungError& error) {
    EXPECT_EQ(error.kind(), FernwahrungError::Case::message);
    return error.what();
  }
  return "nothing was thrown";
}

class HookedReaddirError {
 public:
  explicit HookedReaddirError(int code) { FileOps::readdirErrorForTesting = code; }
  ~HookedReaddirError() { FileOps::readdirErrorForTesting.reset(); }
};

class HomeDirectory {
 public:
  explicit HomeDirectory(std::string directory) { Host::setHomeDirectoryForTesting(std::move(directory)); }
  ~HomeDirectory() { Host::setHomeDirectoryForTesting({}); }
};

bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

std::string logText() {
  return exists(Paths::logFile()) ? readFile(Paths::logFile()) : std::string();
}

class FileOpsTest : public testing::Test {
 protected:
  TempHome home_;
  TempFolder folder_;
};

TEST_F(FileOpsTest, ALinkToAFolderIsALinkAndNoFolder) {
  makeFolder(folder_ / "real");
  ASSERT_EQ(::symlink((folder_ / "real").c_str(), (folder_ / "link").c_str()), 0);
  EXPECT_TRUE(FileOps::exists(folder_ / "link"));
  EXPECT_FALSE(FileOps::isDirectory(folder_ / "link"));
  EXPECT_TRUE(FileOps::isSymlink(folder_ / "link"));
  EXPECT_TRUE(FileOps::isDirectory(folder_ / "real"));
  EXPECT_FALSE(FileOps::isSymlink(folder_ / "real"));
}

TEST_F(FileOpsTest, ADanglingLinkExists) {
  ASSERT_EQ(::symlink("nowhere/at all", (folder_ / "link").c_str()), 0);
  EXPECT_TRUE(FileOps::exists(folder_ / "link"));
  EXPECT_TRUE(FileOps::isSymlink(folder_ / "link"));
  EXPECT_FALSE(FileOps::isDirectory(folder_ / "link"));
  EXPECT_FALSE(FileOps::isMountPoint(folder_ / "link"));
  EXPECT_EQ(FileOps::symlinkDestination(folder_ / "link"), "nowhere/at all");
}

TEST_F(FileOpsTest, NothingIsSaidOfAMissingPath) {
  const std::string missing = folder_ / "missing";
  EXPECT_FALSE(FileOps::exists(missing));
  EXPECT_FALSE(FileOps::isDirectory(missing));
  EXPECT_FALSE(FileOps::isSymlink(missing));
  EXPECT_FALSE(FileOps::isLocked(missing));
  EXPECT_FALSE(FileOps::isMountPoint(missing));
  EXPECT_FALSE(FileOps::removeEmptyDirectory(missing));
  EXPECT_EQ(FileOps::fileSystemType(missing), std::nullopt);
  EXPECT_EQ(FileOps::freeBytes(missing), std::nullopt);
  EXPECT_EQ(FileOps::usedBytesOnVolume(missing), std::nullopt);
  EXPECT_EQ(FileOps::symlinkDestination(missing), std::nullopt);
}

TEST_F(FileOpsTest, AFileHasNoLinkText) {
  writeFile(folder_ / "file", "x");
  EXPECT_EQ(FileOps::symlinkDestination(folder_ / "file"), std::nullopt);
}

TEST_F(FileOpsTest, TheVolumeTellsItsTypeAndSpace) {
  EXPECT_EQ(FileOps::fileSystemType(someMountPoint), "proc");
}

/// Of its own, so that nobody else writes to it.
class SpaceTest : public FileOpsTest {
 protected:
  void SetUp() override {
    makeFolder(volume_);
    if (runProgram({"mount", "-t", "tmpfs", "-o", "size=64m", "none", volume_}).status != 0)
      GTEST_SKIP() << "this user may not mount";
  }

  const std::string volume_ = folder_ / "volume";
};

TEST_F(SpaceTest, WhatIsWrittenIsUsedAndNoLongerFree) {
  const auto used = FileOps::usedBytesOnVolume(volume_);
  const auto free = FileOps::freeBytes(volume_);
  ASSERT_TRUE(used && free);
  constexpr std::int64_t written = 4 << 20;
  writeFile(volume_ + "/file", std::string(written, 'x'));
  EXPECT_EQ(*FileOps::usedBytesOnVolume(volume_) - *used, written);
  EXPECT_EQ(*free - *FileOps::freeBytes(volume_), written);
  struct statvfs facts {};
  ASSERT_EQ(::statvfs(volume_.c_str(), &facts), 0);
  EXPECT_EQ(*FileOps::freeBytes(volume_), static_cast<std::int64_t>(facts.f_bavail * facts.f_frsize));
}

TEST_F(FileOpsTest, AMountPointIsTheFolderOnWhichTheVolumeLies) {
  EXPECT_TRUE(FileOps::isMountPoint(someMountPoint));
  EXPECT_TRUE(FileOps::isMountPoint("/"));
  EXPECT_TRUE(FileOps::isMountPoint(std::string(someMountPoint) + "/"));
  EXPECT_FALSE(FileOps::isMountPoint(std::string(someMountPoint) + "/self"));
  EXPECT_FALSE(FileOps::isMountPoint(std::string(someMountPoint) + "/sys"));
  EXPECT_FALSE(FileOps::isMountPoint(folder_.path()));
}

TEST_F(FileOpsTest, ALinkToAMountPointIsNone) {
  ASSERT_EQ(::symlink(someMountPoint, (folder_ / "link").c_str()), 0);
  EXPECT_FALSE(FileOps::isMountPoint(folder_ / "link"));
}

TEST_F(FileOpsTest, NormalizeDropsTheDataVolume) {
  writeFile(folder_ / "file", "x");
  EXPECT_EQ(FileOps::normalize(folder_ / "file"), folder_ / "file");
  EXPECT_EQ(FileOps::normalize("/System/Volumes/Data" + (folder_ / "file")), folder_ / "file");
  EXPECT_EQ(FileOps::normalize("/System/Volumes/Data/Users/a"), FileOps::normalize("/Users/a"));
  EXPECT_EQ(FileOps::normalize("/System/Volumes/Data"), "/System/Volumes/Data");
  EXPECT_EQ(FileOps::normalize("/System/Volumes/Data/"), "/System/Volumes/Data");
  EXPECT_EQ(FileOps::normalize("/System/Volumes/Database/a"), "/System/Volumes/Database/a");
  EXPECT_EQ(FileOps::normalize("/a/System/Volumes/Data/b"), "/a/System/Volumes/Data/b");
}

TEST_F(FileOpsTest, NormalizeStandardizesWhatDoesNotExistAndResolvesItNot) {
  EXPECT_EQ(FileOps::normalize("/missing//a/./b/../c/"), "/missing/a/c");
  EXPECT_EQ(FileOps::normalize("/missing/../.."), "/");
  EXPECT_EQ(FileOps::normalize("/.."), "/");
  EXPECT_EQ(FileOps::normalize(""), "");
  EXPECT_EQ(FileOps::normalize("missing/../relative"), "missing/../relative");
  makeFolder(folder_ / "real");
  ASSERT_EQ(::symlink("real", (folder_ / "link").c_str()), 0);
  EXPECT_EQ(FileOps::normalize(folder_ / "link/missing"), folder_ / "link/missing");
}

TEST_F(FileOpsTest, NormalizeResolvesLinks) {
  makeFolder(folder_ / "real/sub");
  ASSERT_EQ(::symlink("real", (folder_ / "link").c_str()), 0);
  EXPECT_EQ(FileOps::normalize(folder_ / "link/sub/"), folder_ / "real/sub");
}

TEST_F(FileOpsTest, TheParentOfALinkIsThatOfItsTarget) {
  makeFolder(folder_ / "a/real");
  ASSERT_EQ(::symlink("a/real", (folder_ / "link").c_str()), 0);
  EXPECT_EQ(FileOps::normalize(folder_ / "link/.."), folder_ / "a");
  EXPECT_EQ(FileOps::normalize(folder_ / "link/../missing"), folder_ / "a/missing");
}

TEST_F(FileOpsTest, NormalizeExpandsTheTilde) {
  const HomeDirectory home("/missing home/me");
  EXPECT_EQ(FileOps::normalize("~"), "/missing home/me");
  EXPECT_EQ(FileOps::normalize("~/Library/"), "/missing home/me/Library");
  EXPECT_EQ(FileOps::normalize("/a/~"), "/a/~");
  EXPECT_EQ(FileOps::normalize("~nobody of this name/a"), "~nobody of this name/a");
  EXPECT_EQ(FileOps::normalize("~nobody of this name"), "~nobody of this name");
  const passwd* root = ::getpwuid(0);
  ASSERT_NE(root, nullptr);
  const std::string rootHome = FileOps::normalize(root->pw_dir);
  EXPECT_EQ(FileOps::normalize("~" + std::string(root->pw_name)), rootHome);
  EXPECT_EQ(FileOps::normalize("~" + std::string(root->pw_name) + "/missing/"), rootHome + "/missing");
}

TEST_F(FileOpsTest, RemovesAnEmptyFolderAndNothingElse) {
  makeFolder(folder_ / "empty");
  writeFile(folder_ / "full/.DS_Store", "");
  writeFile(folder_ / "file", "x");
  makeFolder(folder_ / "target");
  ASSERT_EQ(::symlink("target", (folder_ / "link").c_str()), 0);
  EXPECT_TRUE(FileOps::removeEmptyDirectory(folder_ / "empty"));
  EXPECT_FALSE(FileOps::removeEmptyDirectory(folder_ / "full"));
  EXPECT_FALSE(FileOps::removeEmptyDirectory(folder_ / "file"));
  EXPECT_FALSE(FileOps::removeEmptyDirectory(folder_ / "link"));
  EXPECT_FALSE(FileOps::removeEmptyDirectory(someMountPoint));
  EXPECT_EQ(namesIn(folder_.path()), (std::vector<std::string>{"file", "full", "link", "target"}));
}

TEST_F(FileOpsTest, CreatesAFolderWithItsOwnModeOrThatOfAnother) {
  const mode_t oldMask = ::umask(0);
  FileOps::createDirectory(folder_ / "plain", std::nullopt);
  makeFolder(folder_ / "strict");
  ASSERT_EQ(::chmod((folder_ / "strict").c_str(), 01710), 0);
  FileOps::createDirectory(folder_ / "like", folder_ / "strict");
  FileOps::createDirectory(folder_ / "like nothing", folder_ / "missing");
  FileOps::createDirectory(folder_ / "like it and more", folder_ / "strict", S_IWOTH);
  ::umask(oldMask);
  const auto modeOf = [&](const std::string& name) {
    struct stat status;
    EXPECT_EQ(::lstat((folder_ / name).c_str(), &status), 0);
    return status.st_mode & 07777;
  };
  EXPECT_EQ(modeOf("plain"), 0755u);
  EXPECT_EQ(modeOf("like"), 01710u);
  EXPECT_EQ(modeOf("like nothing"), 0755u);
  EXPECT_EQ(modeOf("like it and more"), 01712u);
}

TEST_F(FileOpsTest, AnExistingFolderOrAMissingParentIsAnError) {
  makeFolder(folder_ / "there");
  EXPECT_EQ(messageOf([&] { FileOps::createDirectory(folder_ / "there", std::nullopt); }),
            "Ordner konnte nicht angelegt werden: " + (folder_ / "there") + " (File exists)");
  EXPECT_EQ(messageOf([&] { FileOps::createDirectory(folder_ / "a/b", std::nullopt); }),
            "Ordner konnte nicht angelegt werden: " + (folder_ / "a/b") + " (No such file or directory)");
  EXPECT_FALSE(exists(folder_ / "a"));
}

TEST_F(FileOpsTest, AFolderWithNoiseIsNotEmpty) {
  makeFolder(folder_ / "empty");
  writeFile(folder_ / "noise/.DS_Store", "");
  EXPECT_TRUE(FileOps::isDirectoryEmpty(folder_ / "empty"));
  EXPECT_FALSE(FileOps::isDirectoryEmpty(folder_ / "noise"));
  EXPECT_THROW(FileOps::isDirectoryEmpty(folder_ / "missing"), SystemError);
}

TEST_F(FileOpsTest, TheHookFailsIsDirectoryEmptyBeforeTheDiskIsLookedAt) {
  const auto codeOf = [&](int hooked) {
    const HookedReaddirError hook(hooked);
    try {
      FileOps::isDirectoryEmpty(folder_ / "missing");
    } catch (const SystemError& error) {
      return error.code();
    }
    return 0;
  };
  EXPECT_EQ(codeOf(EACCES), EACCES);
  EXPECT_EQ(codeOf(EPERM), EPERM);
  EXPECT_EQ(codeOf(99999), EIO);
  EXPECT_EQ(codeOf(-1), EIO);
  EXPECT_EQ(codeOf(0), EIO);
}

TEST_F(FileOpsTest, RenameExclusiveMovesAndLogs) {
  writeFile(folder_ / "a", "1");
  FileOps::renameExclusive(folder_ / "a", folder_ / "b");
  EXPECT_EQ(readFile(folder_ / "b"), "1");
  EXPECT_FALSE(exists(folder_ / "a"));
  EXPECT_NE(logText().find("umbenannt: " + (folder_ / "a") + " → " + (folder_ / "b") + "\n"),
            std::string::npos);
}

TEST_F(FileOpsTest, RenameExclusiveReplacesNothing) {
  writeFile(folder_ / "a", "1");
  writeFile(folder_ / "b", "2");
  makeFolder(folder_ / "empty");
  makeFolder(folder_ / "folder");
  EXPECT_EQ(messageOf([&] { FileOps::renameExclusive(folder_ / "a", folder_ / "b"); }),
            "Umbenennen fehlgeschlagen: " + (folder_ / "a") + " → " + (folder_ / "b") + " (File exists)");
  EXPECT_THROW(FileOps::renameExclusive(folder_ / "folder", folder_ / "empty"), FernwahrungError);
  EXPECT_EQ(readFile(folder_ / "a"), "1");
  EXPECT_EQ(readFile(folder_ / "b"), "2");
  EXPECT_TRUE(isFolder(folder_ / "folder"));
  EXPECT_EQ(logText(), "");
}

TEST_F(FileOpsTest, AMountPointIsNeitherLockedNorUnlocked) {
  const std::string expected =
      "Sperre kann nicht gesetzt werden, solange die virtuelle Festplatte eingehängt ist: " +
      std::string(someMountPoint);
  EXPECT_EQ(messageOf([] { FileOps::setLocked(someMountPoint, true); }), expected);
  EXPECT_EQ(messageOf([] { FileOps::setLocked(someMountPoint, false); }), expected);
}

TEST_F(FileOpsTest, AMissingFolderIsNotLocked) {
  EXPECT_EQ(messageOf([&] { FileOps::setLocked(folder_ / "missing", true); }),
            "Nicht gefunden: " + (folder_ / "missing"));
}

TEST_F(FileOpsTest, LockingTwiceAndUnlockingTwiceSucceeds) {
  makeFolder(folder_ / "mount point");
  const std::string path = folder_ / "mount point";
  if (!setImmutableFlag(path, false)) GTEST_SKIP() << "this file system has no immutable flag";
  FileOps::setLocked(path, true);
  FileOps::setLocked(path, true);
  EXPECT_TRUE(FileOps::isLocked(path));
  EXPECT_NE(::rmdir(path.c_str()), 0);
  FileOps::setLocked(path, false);
  FileOps::setLocked(path, false);
  EXPECT_FALSE(FileOps::isLocked(path));
  const std::string log = logText();
  EXPECT_NE(log.find("] gesperrt: " + path + "\n"), std::string::npos);
  EXPECT_NE(log.find("] entsperrt: " + path + "\n"), std::string::npos);
}

TEST_F(FileOpsTest, ALockThatIsRefusedIsToldWithTheReason) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can make a folder that is another's";
  makeFolder(folder_ / "foreign");
  EXPECT_TRUE(holdsForOrdinaryUser([&] {
    return messageOf([&] { FileOps::setLocked(folder_ / "foreign", true); }) ==
           "Sperre konnte nicht geändert werden: " + (folder_ / "foreign") + " (Operation not permitted)";
  }));
}

TEST_F(FileOpsTest, AFailedCloneSaysWhatTheDriveMustBe) {
  EXPECT_EQ(messageOf([&] { FileOps::clone(folder_ / "missing", folder_ / "copy"); }),
            "Sicherheits-Klon konnte nicht angelegt werden (No such file or directory). "
            "Das Ziellaufwerk muss APFS sein.");
  EXPECT_EQ(logText(), "");
}

TEST_F(FileOpsTest, TreeSizeCountsByKind) {
  writeFile(folder_ / "tree/a", std::string(5000, 'x'));
  writeFile(folder_ / "tree/sub/b", "12345");
  writeFile(folder_ / "tree/sub/.DS_Store", "1");
  ASSERT_EQ(::symlink("sub", (folder_ / "tree/link").c_str()), 0);
  ASSERT_EQ(::symlink("gone", (folder_ / "tree/dangling").c_str()), 0);
  ASSERT_EQ(::mkfifo((folder_ / "tree/pipe").c_str(), 0600), 0);
  ASSERT_EQ(::link((folder_ / "tree/a").c_str(), (folder_ / "tree/hard link").c_str()), 0);
  const TreeSize size = FileOps::treeSize(folder_ / "tree", false, nullptr);
  EXPECT_EQ(size.files, 5);
  EXPECT_EQ(size.directories, 1);
  EXPECT_EQ(size.symlinks, 2);
  EXPECT_EQ(size.bytes, 10006);
  EXPECT_EQ(size.entries(), 8);
  struct stat status;
  ASSERT_EQ(::stat((folder_ / "tree/a").c_str(), &status), 0);
  EXPECT_GE(size.allocatedBytes, status.st_blocks * 512 * 2);
}

TEST_F(FileOpsTest, ASparseFileIsSmallerThanItLooks) {
  writeFile(folder_ / "tree/sparse", "");
  ASSERT_EQ(::truncate((folder_ / "tree/sparse").c_str(), 50'000'000), 0);
  const TreeSize size = FileOps::treeSize(folder_ / "tree", false, nullptr);
  EXPECT_EQ(size.bytes, 50'000'000);
  EXPECT_LT(size.allocatedBytes, 1'000'000);
}

TEST_F(FileOpsTest, OnlyAtTheRootOfAVolumeAreTheSystemsEntriesLeftOut) {
  for (const std::string place : {"tree/", "tree/sub/"}) {
    writeFile(folder_ / (place + ".Spotlight-V100/store"), "1");
    writeFile(folder_ / (place + ".fseventsd-bad-1"), "1");
    writeFile(folder_ / (place + ".fseventsd-badx"), "1");
  }
  const TreeSize asVolume = FileOps::treeSize(folder_ / "tree", true, nullptr);
  EXPECT_EQ(asVolume.files, 4);
  EXPECT_EQ(asVolume.directories, 2);
  const TreeSize asFolder = FileOps::treeSize(folder_ / "tree", false, nullptr);
  EXPECT_EQ(asFolder.files, 6);
  EXPECT_EQ(asFolder.directories, 3);
}

TEST_F(FileOpsTest, ACancelledMeasurementEnds) {
  OperationContext context;
  context.cancel();
  try {
    FileOps::treeSize(folder_.path(), false, &context);
    FAIL() << "not cancelled";
  } catch (const FernwahrungError& error) {
    EXPECT_EQ(error.kind(), FernwahrungError::Case::cancelled);
  }
}

TEST_F(FileOpsTest, AMeasurementLooksForTheWishToCancelOncePerFolder) {
  for (const std::string name : {"a", "b", "c"}) makeFolder(folder_ / ("tree/" + name));
  OperationContext context;
  int folders = 0;
  const BlockingCalls::Watch watch([&](const char* call) {
    if (std::string(call) == "open folder" && ++folders == 2) context.cancel();
  });
  EXPECT_THROW(FileOps::treeSize(folder_ / "tree", false, &context), FernwahrungError);
  EXPECT_EQ(folders, 2);
}

TEST_F(FileOpsTest, AMissingTreeHasNoSize) {
  EXPECT_THROW(FileOps::treeSize(folder_ / "missing", false, nullptr), SystemError);
  writeFile(folder_ / "file", "x");
  EXPECT_THROW(FileOps::treeSize(folder_ / "file", false, nullptr), SystemError);
}

// Root may read everything, so an ordinary user looks.
TEST_F(FileOpsTest, OneUnreadableSubfolderFailsTheWholeMeasurement) {
  writeFile(folder_ / "tree/a", "1");
  makeFolder(folder_ / "tree/closed");
  ASSERT_EQ(::chmod((folder_ / "tree/closed").c_str(), 0), 0);
  ASSERT_EQ(::chmod(folder_.path().c_str(), 0755), 0);
  EXPECT_TRUE(holdsForOrdinaryUser([&] {
    try {
      FileOps::treeSize(folder_ / "tree", false, nullptr);
    } catch (const SystemError& error) {
      return error.code() == EACCES && contains(error.what(), folder_ / "tree/closed");
    }
    return false;
  }));
}

TEST_F(FileOpsTest, ADeepTreeNeedsNoDeepStack) {
  std::string path = folder_ / "tree";
  makeFolder(path);
  for (int depth = 0; depth < 600; ++depth) {
    path += "/d";
    ASSERT_EQ(::mkdir(path.c_str(), 0755), 0);
  }
  EXPECT_EQ(FileOps::treeSize(folder_ / "tree", false, nullptr).directories, 600);
}

}  // namespace
}  // namespace fernwahrung
