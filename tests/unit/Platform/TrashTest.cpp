#include "support/Files.h"
#include "support/ScopedEnvironment.h"
#include "support/ScratchDrive.h"
#include "support/TempFolder.h"

#include "Foundation/Clock.h"
#include "Foundation/Dates.h"
#include "Foundation/Errors.h"
#include "Foundation/Host.h"
#include "Platform/FileChanges.h"
#include "Platform/FileInfo.h"
#include "Platform/Trash.h"

#include <cerrno>
#include <cstring>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fernwahrung {
namespace {

using Platform::moveToTrash;

int errorOf(const std::string& path) {
  try {
    moveToTrash(path);
    return 0;
  } catch (const SystemError& error) {
    return error.code();
  }
}

struct LinuxTrash : testing::Test {
  TempHome home;
  const ScopedEnvironment data{"XDG_DATA_HOME", home / "data"};
  const ScopedEnvironment zone{"TZ", "UTC"};
  const std::string files = home / "data/Trash/files";
  const std::string infos = home / "data/Trash/info";
};

TEST_F(LinuxTrash, WritesTheRecordOfTheItem) {
  const auto now = *Dates::parseIso8601("2026-11-15T10:09:15Z");
  const Clock::Override clock([&] { return now; }, [](double) {});
  writeFile(home / "Ä b/100%.txt", "bytes");
  EXPECT_EQ(moveToTrash(home / "Ä b/100%.txt"), files + "/100%.txt");
  EXPECT_EQ(readFile(files + "/100%.txt"), "bytes");
  EXPECT_EQ(
      readFile(infos + "/100%.txt.trashinfo"),
      "[Trash Info]\nPath=" + home.path() + "/%C3%84%20b/100%25.txt\nDeletionDate=2026-11-15T10:09:15\n");
}

TEST_F(LinuxTrash, IsForItsUserAlone) {
  writeFile(home / "item", "");
  moveToTrash(home / "item");
  for (const char* name : {"data/Trash", "data/Trash/files", "data/Trash/info"}) {
    EXPECT_EQ(Platform::fileInfo(home / name)->permissions, 0700u) << name;
  }
}

TEST_F(LinuxTrash, NumbersNamesBeforeTheirExtension) {
  for (int i = 0; i < 3; ++i) {
    writeFile(home / "a.txt", std::to_string(i));
    moveToTrash(home / "a.txt");
  }
  EXPECT_EQ(namesIn(files), (std::vector<std::string>{"a 2.txt", "a 3.txt", "a.txt"}));
  EXPECT_EQ(namesIn(infos),
            (std::vector<std::string>{"a 2.txt.trashinfo", "a 3.txt.trashinfo", "a.txt.trashinfo"}));
  EXPECT_EQ(readFile(files + "/a 3.txt"), "2");
}

TEST_F(LinuxTrash, NeverReplacesAnItemWithoutARecord) {
  writeFile(files + "/a", "orphan");
  writeFile(home / "a", "new");
  EXPECT_EQ(moveToTrash(home / "a"), files + "/a 2");
  EXPECT_EQ(readFile(files + "/a"), "orphan");
  EXPECT_EQ(namesIn(infos), std::vector<std::string>{"a 2.trashinfo"});
}

TEST_F(LinuxTrash, ShortensNamesThatLeaveNoRoomForTheRecord) {
  std::string longName;
  while (longName.size() + 2 <= 248) longName += "ä";
  longName += ".tar";
  for (int i = 0; i < 2; ++i) {
    writeFile(home / longName, std::to_string(i));
    const auto place = moveToTrash(home / longName);
    ASSERT_TRUE(place);
    EXPECT_EQ(readFile(*place), std::to_string(i));
    EXPECT_EQ(place->substr(place->size() - 4), ".tar");
  }
  const std::string withoutDot(255, 'x');
  writeFile(home / withoutDot, "x");
  EXPECT_TRUE(moveToTrash(home / withoutDot));
  const std::string onlyExtension = "x." + std::string(253, 'y');
  writeFile(home / onlyExtension, "y");
  EXPECT_TRUE(moveToTrash(home / onlyExtension));
}

TEST_F(LinuxTrash, WithoutTheVariableLiesInTheHome) {
  const ScopedEnvironment none("XDG_DATA_HOME", std::nullopt);
  Host::setHomeDirectoryForTesting(home.path());
  writeFile(home / "item", "bytes");
  const auto place = moveToTrash(home / "item");
  const ScopedEnvironment relative("XDG_DATA_HOME", "relative/data");
  writeFile(home / "second", "bytes");
  const auto second = moveToTrash(home / "second");
  Host::setHomeDirectoryForTesting("");
  EXPECT_EQ(place, home / ".local/share/Trash/files/item");
  EXPECT_EQ(second, home / ".local/share/Trash/files/second");
}

TEST_F(LinuxTrash, RecordsTheRealFolderOfAnItemBehindALink) {
  writeFile(home / "real/item", "");
  ASSERT_FALSE(Platform::makeSymlink("real", home / "link"));
  moveToTrash(home / "link/item");
  EXPECT_NE(readFile(infos + "/item.trashinfo").find("Path=" + home.path() + "/real/item\n"),
            std::string::npos);
}

TEST_F(LinuxTrash, SlashesAtTheEndChangeNothing) {
  writeFile(home / "tree/file", "");
  EXPECT_EQ(moveToTrash(home / "tree//"), files + "/tree");
}

TEST_F(LinuxTrash, AnItemThatCanNotBeMovedStaysAndLeavesNoRecord) {
  makeFolder(home / "fixed");
  writeFile(home / "fixed/item", "bytes");
  ASSERT_FALSE(Platform::setImmutable(home / "fixed", true));
  EXPECT_EQ(errorOf(home / "fixed/item"), EPERM);
  ASSERT_FALSE(Platform::setImmutable(home / "fixed", false));
  EXPECT_EQ(readFile(home / "fixed/item"), "bytes");
  EXPECT_EQ(namesIn(files), std::vector<std::string>{});
  EXPECT_EQ(namesIn(infos), std::vector<std::string>{});
}

struct LinuxDriveTrash : LinuxTrash {
  void SetUp() override {
    if (auto reason = ScratchDrive::unavailable()) GTEST_SKIP() << *reason;
    drive = std::make_unique<ScratchDrive>(ScratchDrive::Options{.bytes = 256LL << 20});
    own = "/.Trash-" + std::to_string(::getuid());
  }
  std::string at(const std::string& name) const { return *drive / name; }

  std::unique_ptr<ScratchDrive> drive;
  std::string own;
};

TEST_F(LinuxDriveTrash, LiesAtTheTopOfTheDrive) {
  writeFile(at("folder/a b"), "bytes");
  EXPECT_EQ(moveToTrash(at("folder/a b")), drive->path() + own + "/files/a b");
  EXPECT_NE(readFile(drive->path() + own + "/info/a b.trashinfo").find("\nPath=folder/a%20b\n"),
            std::string::npos);
  EXPECT_EQ(Platform::fileInfo(drive->path() + own)->permissions, 0700u);
  EXPECT_FALSE(exists(home / "data"));
}

TEST_F(LinuxDriveTrash, IsTheOnlyOneOfAUserWithoutAHomeFolder) {
  const ScopedEnvironment none("XDG_DATA_HOME", std::nullopt);
  Host::setHomeDirectoryForTesting("no/home");
  writeFile(at("item"), "bytes");
  const auto place = moveToTrash(at("item"));
  Host::setHomeDirectoryForTesting("");
  EXPECT_EQ(place, drive->path() + own + "/files/item");
}

TEST_F(LinuxDriveTrash, UsesTheCommonFolderOnlyWhenItIsSticky) {
  makeFolder(at(".Trash"));
  writeFile(at("first"), "");
  EXPECT_EQ(moveToTrash(at("first")), drive->path() + own + "/files/first");
  ASSERT_EQ(::chmod(at(".Trash").c_str(), 01777), 0);
  writeFile(at("second"), "");
  EXPECT_EQ(moveToTrash(at("second")), at(".Trash/" + std::to_string(::getuid()) + "/files/second"));
}

TEST_F(LinuxDriveTrash, NeverGoesThroughALink) {
  makeFolder(at("elsewhere"));
  ASSERT_EQ(::chmod(at("elsewhere").c_str(), 01777), 0);
  ASSERT_FALSE(Platform::makeSymlink("elsewhere", at(".Trash")));
  writeFile(at("first"), "");
  EXPECT_EQ(moveToTrash(at("first")), drive->path() + own + "/files/first");
  EXPECT_EQ(namesIn(at("elsewhere")), std::vector<std::string>{});

  removeEverything(drive->path() + own);
  ASSERT_FALSE(Platform::makeSymlink("elsewhere", drive->path() + own));
  writeFile(at("second"), "bytes");
  EXPECT_EQ(errorOf(at("second")), EPERM);
  EXPECT_EQ(readFile(at("second")), "bytes");
  EXPECT_EQ(namesIn(at("elsewhere")), std::vector<std::string>{});
}

TEST_F(LinuxDriveTrash, AnotherUsersFolderIsNotUsed) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs a second user";
  makeFolder(drive->path() + own);
  ASSERT_EQ(::chown((drive->path() + own).c_str(), 1234, 1234), 0);
  writeFile(at("item"), "bytes");
  EXPECT_EQ(errorOf(at("item")), EPERM);
  EXPECT_EQ(readFile(at("item")), "bytes");
}

TEST_F(LinuxDriveTrash, AReadOnlyDriveKeepsItsItem) {
  writeFile(at("item"), "bytes");
  ASSERT_EQ(::mount(nullptr, drive->path().c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
  EXPECT_EQ(errorOf(at("item")), EROFS);
  ASSERT_EQ(::mount(nullptr, drive->path().c_str(), nullptr, MS_REMOUNT, nullptr), 0);
  EXPECT_EQ(readFile(at("item")), "bytes");
}

TEST_F(LinuxDriveTrash, AMountPointStaysMounted) {
  const auto error = errorOf(drive->path());
  EXPECT_TRUE(error == EBUSY || error == EXDEV) << std::strerror(error);
  EXPECT_TRUE(Mounts::isMountPoint(drive->path()));
}

TEST_F(LinuxDriveTrash, AnItemBehindABindMountStaysOnItsMount) {
  makeFolder(at("real"));
  writeFile(at("real/item"), "bytes");
  makeFolder(home / "bound");
  ASSERT_EQ(::mount(at("real").c_str(), (home / "bound").c_str(), nullptr, MS_BIND, nullptr), 0);
  EXPECT_EQ(moveToTrash(home / "bound/item"), home / "bound" + own + "/files/item");
}

TEST_F(LinuxTrash, AMountOfTheSameFileSystemHasATrashOfItsOwn) {
  if (::geteuid() != 0) GTEST_SKIP() << "mounting needs root";
  writeFile(home / "real/item", "bytes");
  makeFolder(home / "bound");
  ASSERT_EQ(::mount((home / "real").c_str(), (home / "bound").c_str(), nullptr, MS_BIND, nullptr), 0);
  const std::string own = "bound/.Trash-" + std::to_string(::getuid());
  EXPECT_EQ(moveToTrash(home / "bound/item"), home / (own + "/files/item"));
}

}  // namespace
}  // namespace fernwahrung
