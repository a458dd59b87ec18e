#include "support/Files.h"
#include "support/OrdinaryUser.h"
#include "support/ScopedEnvironment.h"
#include "support/TempFolder.h"
#include "support/ToolDouble.h"

#include "Foundation/Errors.h"
#include "Foundation/Host.h"
#include "Foundation/Paths.h"
#include "Platform/FileChanges.h"
#include "Storage/FileOps.h"

#include <cerrno>
#include <functional>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fernwahrung {
namespace {

/// Copies as ditto does: into the destination itself, with all metadata.
const ToolDouble::Answer copying = {.script = R"(cp -aT "$1" "$2" || exit 1)"};

std::string errorOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const std::exception& error) {
    return error.what();
  }
  return "nothing was thrown";
}

class MoveToTrashTest : public testing::Test {
 protected:
  std::vector<std::string> trashed() const {
    return exists(trash_) ? namesIn(trash_) : std::vector<std::string>();
  }

  TempHome home_;
  TempFolder folder_;
  const std::string trash_ = home_ / "Papierkorb";
};

TEST_F(MoveToTrashTest, TheOwnTrashTakesTheItemUnderAFreshName) {
  writeFile(folder_ / "item/file", "1");
  const auto place = FileOps::moveToTrash(folder_ / "item");
  ASSERT_TRUE(place);
  ASSERT_EQ(trashed().size(), 1u);
  EXPECT_EQ(*place, trash_ + "/" + trashed()[0]);
  EXPECT_TRUE(trashed()[0].ends_with("-item"));
  EXPECT_EQ(trashed()[0].size(), 36 + std::string("-item").size());
  EXPECT_EQ(readFile(*place + "/file"), "1");
  EXPECT_FALSE(exists(folder_ / "item"));
  EXPECT_FALSE(exists(Paths::logFile()));
}

TEST_F(MoveToTrashTest, TheSameNameTwiceIsKeptTwice) {
  for (int round = 0; round < 2; ++round) {
    writeFile(folder_ / "item", "x");
    FileOps::moveToTrash(folder_ / "item");
  }
  EXPECT_EQ(trashed().size(), 2u);
}

TEST_F(MoveToTrashTest, ALinkGoesItselfAndNotItsTarget) {
  writeFile(folder_ / "target/file", "1");
  ASSERT_EQ(::symlink("target", (folder_ / "link").c_str()), 0);
  const auto place = FileOps::moveToTrash(folder_ / "link");
  EXPECT_EQ(FileOps::symlinkDestination(*place), "target");
  EXPECT_TRUE(exists(folder_ / "target/file"));
}

TEST_F(MoveToTrashTest, AMissingItemIsAnError) {
  EXPECT_THROW(FileOps::moveToTrash(folder_ / "missing"), SystemError);
  EXPECT_TRUE(trashed().empty());
}

// To move a folder into another one is to write to it.
TEST_F(MoveToTrashTest, AFolderWhoseModeKeepsItsOwnerOutGoesAndKeepsItsMode) {
  for (const mode_t mode : {0500, 0555}) {
    const std::string item = folder_ / ("item " + std::to_string(mode));
    writeFile(item + "/file", "1");
    for (const std::string& path : {home_.path(), folder_.path(), item}) giveToOrdinaryUser(path);
    ASSERT_EQ(::chmod(item.c_str(), mode), 0);
    EXPECT_TRUE(holdsForOrdinaryUser([&] {
      const auto place = FileOps::moveToTrash(item);
      struct stat status {};
      return place && ::lstat(place->c_str(), &status) == 0 && (status.st_mode & 07777) == mode &&
             readFile(*place + "/file") == "1";
    })) << std::oct
        << mode;
  }
}

TEST_F(MoveToTrashTest, AFolderThatCanNotBeMovedKeepsItsMode) {
  makeFolder(folder_ / "closed");
  makeFolder(folder_ / "closed/item");
  for (const std::string& path : {home_.path(), folder_ / "closed", folder_ / "closed/item"})
    giveToOrdinaryUser(path);
  ASSERT_EQ(::chmod((folder_ / "closed/item").c_str(), 0500), 0);
  ASSERT_EQ(::chmod((folder_ / "closed").c_str(), 0500), 0);
  EXPECT_TRUE(holdsForOrdinaryUser([&] {
    try {
      FileOps::moveToTrash(folder_ / "closed/item");
    } catch (const SystemError& error) {
      return error.code() == EACCES;
    }
    return false;
  }));
  struct stat status {};
  ASSERT_EQ(::lstat((folder_ / "closed/item").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0500u);
}

TEST_F(MoveToTrashTest, ALockedFolderStaysWhereItIs) {
  makeFolder(folder_ / "item");
  for (const std::string& path : {home_.path(), folder_.path(), folder_ / "item"}) giveToOrdinaryUser(path);
  EXPECT_TRUE(holdsForOrdinaryUser([&] {
    FileOps::setLocked(folder_ / "item", true);
    try {
      FileOps::moveToTrash(folder_ / "item");
    } catch (const SystemError&) {
      return FileOps::isLocked(folder_ / "item");
    }
    return false;
  }));
}

/// As users have it, without the variable that redirects the private files.
class SystemTrashTest : public MoveToTrashTest {
 protected:
  SystemTrashTest() { Host::setHomeDirectoryForTesting(home_.path()); }
  ~SystemTrashTest() override { Host::setHomeDirectoryForTesting({}); }

  const ScopedEnvironment noRedirect_{"FERNWAHRUNG_HOME", std::nullopt};
};

TEST_F(SystemTrashTest, TakesTheItemAndTheLogTellsWhereItIs) {
  writeFile(folder_ / "item/file", "1");
  const auto place = FileOps::moveToTrash(folder_ / "item");
  ASSERT_TRUE(place);
  EXPECT_EQ(readFile(*place + "/file"), "1");
  EXPECT_FALSE(exists(folder_ / "item"));
  EXPECT_TRUE(trashed().empty());
  const std::string log = readFile(Paths::logFile());
  EXPECT_TRUE(Paths::logFile().starts_with(home_ / "Library/Logs/")) << Paths::logFile();
  EXPECT_TRUE(log.ends_with("] in den Papierkorb: " + (folder_ / "item") + " → " + *place + "\n")) << log;
}

TEST_F(SystemTrashTest, TakesAFolderWhoseModeKeepsItsOwnerOut) {
  writeFile(folder_ / "item/file", "1");
  for (const std::string& path : {home_.path(), folder_.path(), folder_ / "item"}) giveToOrdinaryUser(path);
  ASSERT_EQ(::chmod((folder_ / "item").c_str(), 0500), 0);
  EXPECT_TRUE(holdsForOrdinaryUser([&] {
    const auto place = FileOps::moveToTrash(folder_ / "item");
    struct stat status {};
    return place && ::lstat(place->c_str(), &status) == 0 && (status.st_mode & 07777) == 0500;
  }));
}

TEST_F(SystemTrashTest, AFailureIsPassedOnAndNotLogged) {
  EXPECT_THROW(FileOps::moveToTrash(folder_ / "missing"), SystemError);
  EXPECT_FALSE(exists(Paths::logFile()));
}

/// The item lies on another volume than the Trash.
class MoveToTrashAcrossVolumesTest : public MoveToTrashTest {
 protected:
  void SetUp() override {
    struct stat here, there;
    ASSERT_EQ(::stat(other_.path().c_str(), &here), 0);
    ASSERT_EQ(::stat(home_.path().c_str(), &there), 0);
    if (here.st_dev == there.st_dev) GTEST_SKIP() << "/dev/shm and the temporary folder are one volume";
  }

  TempFolder other_{"/dev/shm"};
};

TEST_F(MoveToTrashAcrossVolumesTest, AFolderIsCopiedProvedAndThenRemoved) {
  const ToolDouble ditto("/usr/bin/ditto", copying);
  writeFile(other_ / "item/sub/file", "12345", 0640);
  writeFile(other_ / "outside/file", "stays");
  ASSERT_EQ(::symlink((other_ / "outside").c_str(), (other_ / "item/link").c_str()), 0);
  makeFolder(other_ / "item/closed");
  ASSERT_EQ(::chmod((other_ / "item/closed").c_str(), 0400), 0);

  const auto place = FileOps::moveToTrash(other_ / "item");
  ASSERT_TRUE(place);
  EXPECT_EQ(trashed().size(), 1u);
  EXPECT_EQ(readFile(*place + "/sub/file"), "12345");
  struct stat status;
  ASSERT_EQ(::stat((*place + "/sub/file").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0640u);
  EXPECT_EQ(FileOps::symlinkDestination(*place + "/link"), other_ / "outside");
  EXPECT_FALSE(exists(other_ / "item"));
  EXPECT_EQ(readFile(other_ / "outside/file"), "stays");
  EXPECT_FALSE(exists(Paths::logFile()));
}

TEST_F(MoveToTrashAcrossVolumesTest, AFileAndALinkGoTheSameWay) {
  const ToolDouble ditto("/usr/bin/ditto", copying);
  writeFile(other_ / "file", "12345");
  ASSERT_EQ(::symlink("gone", (other_ / "link").c_str()), 0);
  EXPECT_EQ(readFile(*FileOps::moveToTrash(other_ / "file")), "12345");
  EXPECT_EQ(FileOps::symlinkDestination(*FileOps::moveToTrash(other_ / "link")), "gone");
  EXPECT_TRUE(namesIn(other_.path()).empty());
  EXPECT_EQ(ditto.calls().size(), 1u);
}

TEST_F(MoveToTrashAcrossVolumesTest, AFailedCopyLeavesTheItemAndNoRemains) {
  const ToolDouble ditto("/usr/bin/ditto", {.err = "full", .status = 1, .script = R"(cp -aT "$1" "$2")"});
  writeFile(other_ / "item/file", "1");
  EXPECT_EQ(errorOf([&] { FileOps::moveToTrash(other_ / "item"); }),
            "Kopieren fehlgeschlagen (Code 1):\nfull");
  EXPECT_EQ(readFile(other_ / "item/file"), "1");
  EXPECT_TRUE(trashed().empty());
}

// ditto may end content with less than everything.
TEST_F(MoveToTrashAcrossVolumesTest, ACopyThatIsNotWholeIsNotTrusted) {
  const ToolDouble ditto("/usr/bin/ditto", {.script = R"(cp -aT "$1" "$2"; rm "$2/b")"});
  writeFile(other_ / "item/a", "1");
  writeFile(other_ / "item/b", "1");
  const std::string error = errorOf([&] { FileOps::moveToTrash(other_ / "item"); });
  EXPECT_TRUE(
      error.starts_with("Prüfung fehlgeschlagen – die Kopie ist NICHT identisch:\nFehlt in der Kopie: "))
      << error;
  EXPECT_EQ(namesIn(other_ / "item"), (std::vector<std::string>{"a", "b"}));
  EXPECT_TRUE(trashed().empty());
}

TEST_F(MoveToTrashAcrossVolumesTest, ADifferentFileIsNotTrusted) {
  const ToolDouble ditto("/usr/bin/ditto", {.script = R"(printf 12346 >"$2")"});
  writeFile(other_ / "file", "12345");
  EXPECT_THROW(FileOps::moveToTrash(other_ / "file"), FernwahrungError);
  EXPECT_EQ(readFile(other_ / "file"), "12345");
  EXPECT_TRUE(trashed().empty());
}

TEST_F(MoveToTrashAcrossVolumesTest, AnItemThatChangesMeanwhileStays) {
  const ToolDouble ditto("/usr/bin/ditto", {.script = R"(printf 54321 >"$1/file"; cp -aT "$1" "$2")"});
  writeFile(other_ / "item/file", "1");
  const std::string error = errorOf([&] { FileOps::moveToTrash(other_ / "item"); });
  EXPECT_EQ(error, "Das Objekt hat sich beim Kopieren in den Papierkorb geändert und bleibt, wo es ist: " +
                       (other_ / "item"));
  EXPECT_EQ(readFile(other_ / "item/file"), "54321");
  EXPECT_TRUE(trashed().empty());
}

TEST_F(MoveToTrashAcrossVolumesTest, APipeCanNotBeCopiedAndStays) {
  const ToolDouble ditto("/usr/bin/ditto", copying);
  ASSERT_EQ(::mkfifo((other_ / "pipe").c_str(), 0600), 0);
  EXPECT_THROW(FileOps::moveToTrash(other_ / "pipe"), SystemError);
  EXPECT_TRUE(exists(other_ / "pipe"));
}

TEST_F(MoveToTrashAcrossVolumesTest, WhatIsMountedInsideIsNeverTouched) {
  const ToolDouble ditto("/usr/bin/ditto", copying);
  makeFolder(other_ / "item/mount");
  if (::mount("none", (other_ / "item/mount").c_str(), "tmpfs", 0, nullptr) != 0) {
    GTEST_SKIP() << "this user may not mount";
  }
  writeFile(other_ / "item/mount/file", "1");
  EXPECT_EQ(errorOf([&] { FileOps::moveToTrash(other_ / "item"); }),
            "Das Objekt kann nicht in den Papierkorb gelegt werden, solange darin etwas eingehängt ist: " +
                (other_ / "item/mount"));
  EXPECT_THROW(FileOps::moveToTrash(other_ / "item/mount"), std::exception);
  EXPECT_EQ(readFile(other_ / "item/mount/file"), "1");
  EXPECT_TRUE(ditto.calls().empty());
}

/// Does something when a change of that name is made.
class Interference : public Platform::ChangeObserver {
 public:
  explicit Interference(std::function<void(const std::string&)> onRenamed)
      : onRenamed_(std::move(onRenamed)) {
    Platform::observeChanges(this);
  }
  ~Interference() override { Platform::observeChanges(nullptr); }
  void madeDirectory(const std::string&) override {}
  void removedDirectory(const std::string& path) override { changes.push_back("rmdir " + path); }
  void unlinked(const std::string& path) override { changes.push_back("unlink " + path); }
  void madeLink(const std::string&, const std::string&) override {}
  void madeSymlink(const std::string&, const std::string&) override {}
  void renamed(const std::string&, const std::string& to) override {
    changes.push_back("rename " + to);
    onRenamed_(to);
  }
  void created(const std::string&) override {}
  void wrote(const std::string&, std::string_view) override {}
  void flushed(const std::string&) override {}
  void flushedDirectory(const std::string& path) override { changes.push_back("flush " + path); }

  std::vector<std::string> changes;

 private:
  std::function<void(const std::string&)> onRenamed_;
};

struct Moved {
  std::string error;
  std::string place;
};

/// Moves the item; when its copy has just got its name in the Trash, something happens.
Moved moveWhile(const std::string& item, const std::function<void()>& happens) {
  Moved moved;
  const Interference late([&](const std::string& place) {
    moved.place = place;
    happens();
  });
  moved.error = errorOf([&] { FileOps::moveToTrash(item); });
  return moved;
}

TEST_F(MoveToTrashAcrossVolumesTest, TheItemIsRemovedOnlyAfterTheCopyHasItsNameOnDisk) {
  const ToolDouble ditto("/usr/bin/ditto", copying);
  makeFolder(trash_);
  writeFile(other_ / "item/file", "1");
  std::string place;
  std::vector<std::string> changes;
  {
    Interference changesMade([](const std::string&) {});
    place = *FileOps::moveToTrash(other_ / "item");
    changes = changesMade.changes;
  }
  ASSERT_EQ(changes.size(), 5u);
  EXPECT_TRUE(changes[0].starts_with("flush " + trash_ + "/."));
  EXPECT_EQ(changes[1], "rename " + place);
  EXPECT_EQ(changes[2], "flush " + trash_);
  EXPECT_EQ(changes[3], "unlink " + (other_ / "item/file"));
  EXPECT_EQ(changes[4], "rmdir " + (other_ / "item"));
}

TEST_F(MoveToTrashAcrossVolumesTest, WhatArrivesDuringTheRemovalStays) {
  const ToolDouble ditto("/usr/bin/ditto", copying);
  writeFile(other_ / "item/old", "1");
  const auto [error, place] = moveWhile(other_ / "item", [&] { writeFile(other_ / "item/new", "2"); });
  EXPECT_EQ(readFile(other_ / "item/new"), "2");
  EXPECT_EQ(readFile(place + "/old"), "1");
  EXPECT_NE(error.find("Die vollständige, geprüfte Kopie liegt im Papierkorb: " + place), std::string::npos)
      << error;
}

TEST_F(MoveToTrashAcrossVolumesTest, WhatIsWrittenDuringTheRemovalStays) {
  const ToolDouble ditto("/usr/bin/ditto", copying);
  writeFile(other_ / "item/file", "1");
  const auto [error, place] = moveWhile(other_ / "item", [&] { writeFile(other_ / "item/file", "2"); });
  EXPECT_NE(error.find("Das Objekt hat sich geändert: " + (other_ / "item/file")), std::string::npos)
      << error;
  EXPECT_EQ(readFile(other_ / "item/file"), "2");
  EXPECT_EQ(readFile(place + "/file"), "1");
}

TEST_F(MoveToTrashAcrossVolumesTest, ALinkThatIsTurnedDuringTheRemovalStays) {
  const ToolDouble ditto("/usr/bin/ditto", copying);
  makeFolder(other_ / "item");
  ASSERT_EQ(::symlink("old", (other_ / "item/link").c_str()), 0);
  {
    const Interference late([&](const std::string&) {
      ASSERT_EQ(::unlink((other_ / "item/link").c_str()), 0);
      ASSERT_EQ(::symlink("new", (other_ / "item/link").c_str()), 0);
    });
    EXPECT_THROW(FileOps::moveToTrash(other_ / "item"), FernwahrungError);
  }
  EXPECT_EQ(FileOps::symlinkDestination(other_ / "item/link"), "new");
}

TEST_F(MoveToTrashAcrossVolumesTest, AFolderReplacedByALinkIsNotFollowed) {
  const ToolDouble ditto("/usr/bin/ditto", copying);
  writeFile(other_ / "item/sub/file", "1");
  writeFile(other_ / "outside/file", "stays");
  std::string error;
  {
    const Interference late([&](const std::string&) {
      ASSERT_EQ(::rename((other_ / "item/sub").c_str(), (other_ / "elsewhere").c_str()), 0);
      ASSERT_EQ(::symlink((other_ / "outside").c_str(), (other_ / "item/sub").c_str()), 0);
    });
    error = errorOf([&] { FileOps::moveToTrash(other_ / "item"); });
  }
  EXPECT_EQ(readFile(other_ / "outside/file"), "stays");
  EXPECT_NE(error.find("Papierkorb: " + trash_), std::string::npos) << error;
}

TEST_F(MoveToTrashAcrossVolumesTest, AFailedRemovalSaysThatTheCopyIsWhole) {
  const ToolDouble ditto("/usr/bin/ditto", copying);
  writeFile(folder_ / "unused", "");
  writeFile(other_ / "item/kept/file", "1");
  if (!setImmutableFlag(other_ / "item/kept", true)) GTEST_SKIP() << "this file system has no immutable flag";
  const std::string error = errorOf([&] { FileOps::moveToTrash(other_ / "item"); });
  ASSERT_EQ(trashed().size(), 1u);
  EXPECT_EQ(readFile(trash_ + "/" + trashed()[0] + "/kept/file"), "1");
  EXPECT_TRUE(error.starts_with("Das Original konnte nicht vollständig entfernt werden: ")) << error;
  EXPECT_TRUE(error.ends_with("Papierkorb: " + trash_ + "/" + trashed()[0])) << error;
}

}  // namespace
}  // namespace fernwahrung
