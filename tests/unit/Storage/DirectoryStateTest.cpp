#include "support/Files.h"
#include "support/OrdinaryUser.h"
#include "support/TempFolder.h"

#include "Foundation/ByteFormat.h"
#include "Foundation/Errors.h"
#include "Storage/DirectoryState.h"

#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fernwahrung {
namespace {

class HookedReaddirError {
 public:
  explicit HookedReaddirError(int code) { FileOps::readdirErrorForTesting = code; }
  ~HookedReaddirError() { FileOps::readdirErrorForTesting.reset(); }
};

void setModified(const std::string& path, time_t seconds) {
  const timespec times[2] = {{seconds, 0}, {seconds, 900'000'000}};
  ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW), 0);
}

class DirectoryStateTest : public testing::Test {
 protected:
  TempHome home_;
  TempFolder folder_;
};

TEST_F(DirectoryStateTest, AFolderHoldingOnlyNoiseIsNotEmpty) {
  writeFile(folder_ / "noise/.DS_Store", "");
  EXPECT_EQ(FileOps::directoryState(folder_ / "noise"), DirectoryState::notEmpty());
  EXPECT_EQ(FileOps::onlyMacOSNoise(folder_ / "noise"), (std::vector<std::string>{".DS_Store"}));
}

TEST_F(DirectoryStateTest, AnEmptyFolderHasNoNoise) {
  EXPECT_EQ(FileOps::directoryState(folder_.path()), DirectoryState::empty());
  EXPECT_EQ(FileOps::onlyMacOSNoise(folder_.path()), std::nullopt);
}

TEST_F(DirectoryStateTest, NoiseBesideDataIsNotOnlyNoise) {
  writeFile(folder_ / ".DS_Store", "");
  writeFile(folder_ / "data", "");
  EXPECT_EQ(FileOps::onlyMacOSNoise(folder_.path()), std::nullopt);
  EXPECT_EQ(FileOps::onlyMacOSNoise(folder_ / "missing"), std::nullopt);
}

TEST_F(DirectoryStateTest, AMissingFolderIsUnreadableAndNotEmpty) {
  EXPECT_EQ(FileOps::directoryState(folder_ / "missing"),
            DirectoryState::unreadable("No such file or directory"));
  writeFile(folder_ / "file", "");
  EXPECT_EQ(FileOps::directoryState(folder_ / "file"), DirectoryState::unreadable("Not a directory"));
}

TEST_F(DirectoryStateTest, TheHookStandsForAReadErrorOfTheFolder) {
  writeFile(folder_ / "data", "");
  const auto stateWith = [&](int code) {
    const HookedReaddirError hook(code);
    return FileOps::directoryState(folder_.path());
  };
  EXPECT_EQ(stateWith(13), DirectoryState::accessDenied());
  EXPECT_EQ(stateWith(1), DirectoryState::accessDenied());
  EXPECT_EQ(stateWith(5), DirectoryState::unreadable(errnoText(5)));
  EXPECT_EQ(stateWith(0), DirectoryState::empty());
  EXPECT_EQ(FileOps::directoryState(folder_.path()), DirectoryState::notEmpty());
}

TEST_F(DirectoryStateTest, TheHookDoesNotHideAMissingFolder) {
  const HookedReaddirError hook(13);
  EXPECT_EQ(FileOps::directoryState(folder_ / "missing"),
            DirectoryState::unreadable("No such file or directory"));
}

TEST_F(DirectoryStateTest, TheWalkStopsAtItsCap) {
  for (int number = 0; number < 10; ++number) writeFile(folder_ / ("file" + std::to_string(number)), "12");
  const auto contents = FileOps::describeContents(folder_.path(), 3, 4);
  EXPECT_EQ(contents.files, 3);
  EXPECT_TRUE(contents.truncated);
  EXPECT_EQ(contents.entries, 10);
  EXPECT_EQ(contents.bytes, 6);
  EXPECT_EQ(contents.sample, (std::vector<std::string>{"file0", "file1", "file2", "file3"}));
}

TEST_F(DirectoryStateTest, ExactlyTheCapIsNoCut) {
  writeFile(folder_ / "a", "");
  writeFile(folder_ / "b", "");
  EXPECT_FALSE(FileOps::describeContents(folder_.path(), 2, 8).truncated);
  EXPECT_TRUE(FileOps::describeContents(folder_.path(), 1, 8).truncated);
}

TEST_F(DirectoryStateTest, CountsAtAllDepthsAndNamesTheTop) {
  writeFile(folder_ / "tree/b/c/deep", "123");
  writeFile(folder_ / "tree/a", "4567");
  const auto contents = FileOps::describeContents(folder_ / "tree", 200000, 8);
  EXPECT_EQ(contents.entries, 2);
  EXPECT_EQ(contents.files, 2);
  EXPECT_EQ(contents.directories, 2);
  EXPECT_EQ(contents.bytes, 7);
  EXPECT_EQ(contents.sample, (std::vector<std::string>{"a", "b"}));
  EXPECT_FALSE(contents.truncated);
}

TEST_F(DirectoryStateTest, ALinkIsAFileWithoutBytesAndNotFollowed) {
  writeFile(folder_ / "outside/data", "12345");
  makeFolder(folder_ / "tree");
  ASSERT_EQ(::symlink("../outside", (folder_ / "tree/link").c_str()), 0);
  const auto contents = FileOps::describeContents(folder_ / "tree", 100, 8);
  EXPECT_EQ(contents.files, 1);
  EXPECT_EQ(contents.bytes, 0);
  EXPECT_EQ(contents.directories, 0);
}

TEST_F(DirectoryStateTest, TheNewestChangeIsThatOfAnyEntryInWholeSeconds) {
  writeFile(folder_ / "tree/sub/file", "");
  ASSERT_EQ(::symlink("x", (folder_ / "tree/link").c_str()), 0);
  setModified(folder_ / "tree/sub/file", 1'600'000'000);
  setModified(folder_ / "tree/link", 1'700'000'000);
  setModified(folder_ / "tree/sub", 1'650'000'000);
  const auto contents = FileOps::describeContents(folder_ / "tree", 100, 8);
  EXPECT_EQ(contents.newestChange, Dates::fromUnixSeconds(1'700'000'000));
}

TEST_F(DirectoryStateTest, TheCapHoldsAtAllDepths) {
  for (const std::string name : {"a/1", "a/2", "a/3"}) writeFile(folder_ / ("tree/" + name), "x");
  const auto contents = FileOps::describeContents(folder_ / "tree", 3, 8);
  EXPECT_EQ(contents.directories, 1);
  EXPECT_EQ(contents.files, 2);
  EXPECT_EQ(contents.bytes, 2);
  EXPECT_EQ(contents.entries, 1);
  EXPECT_TRUE(contents.truncated);
}

TEST_F(DirectoryStateTest, ASubfolderThatCanNotBeListedIsPassedOver) {
  writeFile(folder_ / "tree/a/1", "x");
  makeFolder(folder_ / "tree/closed");
  writeFile(folder_ / "tree/z/2", "x");
  ASSERT_EQ(::chmod((folder_ / "tree/closed").c_str(), 0), 0);
  EXPECT_TRUE(holdsForOrdinaryUser([&] {
    const auto contents = FileOps::describeContents(folder_ / "tree", 100, 8);
    return contents.directories == 3 && contents.files == 2 && !contents.truncated;
  }));
}

TEST_F(DirectoryStateTest, ANameOfWhichNothingCanBeToldCountsTowardsTheCapOnly) {
  for (const std::string name : {"a", "b", "c"}) writeFile(folder_ / ("tree/" + name), "x");
  ASSERT_EQ(::chmod((folder_ / "tree").c_str(), ::geteuid() == 0 ? 0744 : 0400), 0)
      << "to be listed, not searched";
  EXPECT_TRUE(holdsForOrdinaryUser([&] {
    const auto all = FileOps::describeContents(folder_ / "tree", 3, 8);
    const auto capped = FileOps::describeContents(folder_ / "tree", 2, 8);
    return all == DirectoryContents{.entries = 3, .sample = {"a", "b", "c"}} &&
           capped == DirectoryContents{.entries = 3, .sample = {"a", "b", "c"}, .truncated = true};
  }));
}

TEST_F(DirectoryStateTest, NothingIsSaidOfAFolderThatCanNotBeListed) {
  EXPECT_EQ(FileOps::describeContents(folder_ / "missing", 100, 8), DirectoryContents());
}

TEST(DirectoryContentsTest, WithoutSampleAndDateTheSummaryIsOneLine) {
  const DirectoryContents contents{.entries = 2, .files = 12, .directories = 3, .bytes = 1'234'000};
  EXPECT_EQ(contents.summaryText(), "Inhalt: 12 Dateien in 3 Unterordnern, " + ByteFormat::string(1'234'000));
}

TEST(DirectoryContentsTest, TheSummaryHasUpToThreeLines) {
  const Date date = Dates::fromUnixSeconds(1'700'000'000);
  const DirectoryContents contents{.entries = 2,
                                   .files = 1,
                                   .directories = 0,
                                   .bytes = 0,
                                   .newestChange = date,
                                   .sample = {"a", "b c"},
                                   .truncated = true};
  EXPECT_EQ(contents.summaryText(), "Inhalt: 1 Dateien in 0 Unterordnern, " + ByteFormat::string(0) +
                                        " (Zählung gekürzt)\nNeueste Änderung: " + Dates::german(date) +
                                        "\nEnthält u. a.: a, b c");
}

TEST(MountErrorsTest, ANonEmptyMountPointIsExplained) {
  const MountPointNotEmptyError error("/p/q",
                                      {.entries = 9, .files = 7, .directories = 1, .bytes = 2'000'000});
  EXPECT_STREQ(
      error.what(),
      ("Der Ordner ist nicht leer – eine App hat ohne virtuelle Festplatte geschrieben (7 Dateien, " +
       ByteFormat::string(2'000'000) +
       "). "
       "Nicht eingehängt, damit nichts verdeckt wird. "
       "In der App fragt „Einhängen“, wie es weitergehen soll (beiseite legen oder einmischen).\n"
       "/p/q")
          .c_str());
  EXPECT_EQ(error, MountPointNotEmptyError("/p/q", error.contents()));
  EXPECT_FALSE(error == MountPointNotEmptyError("/p/r", error.contents()));
}

TEST(MountErrorsTest, AMissingDriveIsNamed) {
  EXPECT_STREQ(StorageMissingError("/Volumes/X/a.sparsebundle").what(),
               "Externes Laufwerk fehlt (/Volumes/X/a.sparsebundle). App NICHT starten!");
}

TEST(MountErrorsTest, AFolderThatTheSystemProtectsIsExplainedSo) {
  const AccessDeniedError error("/missing/folder", false);
  EXPECT_FALSE(error.isUnixPermission());
  EXPECT_STREQ(
      error.what(),
      "macOS verweigert Fernwahrung den Zugriff auf diesen Ordner:\n/missing/folder\n\n"
      "Er gehört einer anderen App und ist durch den Datenschutz von macOS geschützt. "
      "Bitte unter Systemeinstellungen → Datenschutz & Sicherheit → Festplattenvollzugriff „Fernwahrung“ einschalten (und, falls aufgeführt, das Hilfsprogramm „fernwahrung“), dann die App neu starten.\n\n"
      "Es wurde nichts eingehängt und nichts verändert. "
      "Ob im Ordner Daten liegen, kann ohne diese Freigabe nicht geprüft werden.");
}

TEST_F(DirectoryStateTest, AFolderWhoseOwnModeForbidsReadingIsExplainedSo) {
  makeFolder(folder_ / "closed");
  for (const mode_t mode : {0000, 0300, 0277, 0400}) {
    ASSERT_EQ(::chmod((folder_ / "closed").c_str(), mode), 0);
    EXPECT_TRUE(AccessDeniedError(folder_ / "closed", true).isUnixPermission()) << std::oct << mode;
  }
  EXPECT_STREQ(
      AccessDeniedError(folder_ / "closed", true).what(),
      ("Die Zugriffsrechte dieses Ordners erlauben Fernwahrung das Lesen nicht:\n" + (folder_ / "closed") +
       "\n\n"
       "Bitte die Rechte im Finder (Informationen) oder mit chmod korrigieren, dann erneut versuchen.\n\n"
       "Die virtuelle Festplatte wurde dafür kurz ausgehängt und bleibt ausgehängt, bis der Zugriff möglich ist. "
       "Es wurde nichts verändert oder gelöscht. "
       "Ob im Ordner Daten liegen, kann ohne Lesezugriff nicht geprüft werden.")
          .c_str());
  ASSERT_EQ(::chmod((folder_ / "closed").c_str(), 0500), 0);
  EXPECT_FALSE(AccessDeniedError(folder_ / "closed", true).isUnixPermission());
}

TEST_F(DirectoryStateTest, AFolderOfAnotherOwnerIsNotOursToCorrect) {
  if (::getuid() != 0) GTEST_SKIP() << "only root can give a folder away";
  makeFolder(folder_ / "foreign");
  ASSERT_EQ(::chmod((folder_ / "foreign").c_str(), 0), 0);
  ASSERT_EQ(::chown((folder_ / "foreign").c_str(), 12345, 12345), 0);
  EXPECT_FALSE(AccessDeniedError(folder_ / "foreign", false).isUnixPermission());
}

}  // namespace
}  // namespace fernwahrung
