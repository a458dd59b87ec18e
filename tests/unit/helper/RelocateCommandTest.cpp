#include "Drive.h"
#include "HelperRun.h"
#include "support/Files.h"
#include "support/ScratchDrive.h"
#include "support/ToolDouble.h"

#include "Foundation/OperationLock.h"
#include "Storage/FileOps.h"

#include <unistd.h>

namespace fernwahrung {
namespace {

class RelocateCommandTest : public HelperTest {
 protected:
  void SetUp() override {
    if (drive_.unavailable()) GTEST_SKIP() << *drive_.unavailable();
    writeFile(source_ + "/a", "12345");
    makeFolder(storage_);
  }
  HelperResult relocate(std::vector<std::string> more, const HelperInput& input = {}) {
    more.insert(more.begin(), {"relocate", "--source", source_, "--storage", storage_, "--kind", "symlink"});
    return runHelper(more, input);
  }
  bool isRelocated() const { return FileOps::isSymlink(source_); }

  TempFolder folder_;
  Drive drive_;
  std::string source_ = folder_ / "quelle";
  std::string storage_ = drive_.path() + "/ziel";
  ToolDouble ditto_{"/usr/bin/ditto", {.script = "cp -a \"$1/.\" \"$2\""}};
  const HelperInput terminal_{.text = "j\n", .inputIsTerminal = true, .errorIsTerminal = true};
};

TEST_F(RelocateCommandTest, WithoutATerminalItDoesNotAsk) {
  const HelperResult result = relocate({});
  EXPECT_EQ(result.code, ExitCode::done) << result.err;
  EXPECT_TRUE(isRelocated());
  EXPECT_EQ(result.err, "");
  EXPECT_NE(
      result.out.find(
          "Ferngewahrt. "
          "Das Original bleibt umbenannt erhalten, bis du es in den Papierkorb legst – teste vorher die App.\n"),
      std::string::npos);
}

TEST_F(RelocateCommandTest, TheDocumentIsTheRecordOfTheRelocation) {
  const HelperResult result = relocate({"--json", "--verbose"});
  ASSERT_EQ(result.code, ExitCode::done) << result.err;
  EXPECT_EQ(result.json(), toJson(RegistryStore::load().relocations.at(0)));
  EXPECT_EQ(result.json()["name"], "quelle");
  EXPECT_NE(result.err.find("Prüfe Voraussetzungen …\n"), std::string::npos);
}

TEST_F(RelocateCommandTest, OnATerminalItAsksAfterShowingTheCheck) {
  const HelperResult result = relocate({"--json"}, terminal_);
  EXPECT_EQ(result.code, ExitCode::done) << result.err;
  EXPECT_TRUE(isRelocated());
  const auto check = result.err.find("Der Ordner kann ferngewahrt werden.");
  const auto question = result.err.find("Jetzt fernwahren? [j/N]");
  ASSERT_NE(check, std::string::npos);
  ASSERT_NE(question, std::string::npos);
  EXPECT_LT(check, question);
  EXPECT_EQ(result.json()["name"], "quelle");
}

TEST_F(RelocateCommandTest, EveryAnswerButYesCancels) {
  for (const std::string answer : {"n\n", "\n", "", "nein\n", "jein\n", "yes please\n"}) {
    const HelperResult result =
        relocate({}, {.text = answer, .inputIsTerminal = true, .errorIsTerminal = true});
    EXPECT_EQ(result.code, ExitCode::cancelled);
    EXPECT_TRUE(result.err.ends_with("Vorgang abgebrochen.\n"));
    EXPECT_EQ(result.out, "");
    EXPECT_FALSE(isRelocated());
  }
  EXPECT_EQ(ditto_.calls().size(), 0U);
}

TEST_F(RelocateCommandTest, YesIsSaidInSeveralWays) {
  int round = 0;
  for (const std::string answer : {"j\n", "J\n", "ja\n", " Ja \r\n"}) {
    const std::string number = std::to_string(++round);
    const HelperResult result = relocate({"--name", "Name " + number},
                                         {.text = answer, .inputIsTerminal = true, .errorIsTerminal = true});
    EXPECT_EQ(result.code, ExitCode::done) << answer << result.err;
    EXPECT_TRUE(isRelocated());
    // The kept original goes: the next round may fall into the same second, and then wants the same name for
    // its own.
    removeEverything(RegistryStore::load().relocations.at(0).originalBackupPath.value());
    saveRegistry({});
    removeEverything(source_);
    writeFile(source_ + "/a", "12345");
  }
}

TEST_F(RelocateCommandTest, YesOnTheCommandLineAsksNothing) {
  const HelperResult result = relocate({"--yes"}, {.inputIsTerminal = true, .errorIsTerminal = true});
  EXPECT_EQ(result.code, ExitCode::done);
  EXPECT_EQ(result.err.find("Jetzt fernwahren?"), std::string::npos);
}

TEST_F(RelocateCommandTest, BlockersEndItBeforeAnythingBegins) {
  removeEverything(storage_);
  const HelperResult blocked = relocate({"--json"}, terminal_);
  EXPECT_EQ(blocked.code, ExitCode::blocked);
  EXPECT_EQ(blocked.out, "");
  EXPECT_EQ(blocked.err, "Zielordner existiert nicht: " + storage_ + "\n");
  EXPECT_EQ(Journal::finishedJournals(10).size(), 0U);
}

TEST_F(RelocateCommandTest, BlockersThatOnlyTheLastCheckFindsHaveTheSameStatus) {
  // something opens a file of the folder between the two checks
  ToolDouble lsof("/usr/sbin/lsof");
  lsof.answerCall(2, {.out = "p" + std::to_string(::getpid()) + "\ncunit\nar\nn" + source_ + "/a\n"});
  const HelperResult blocked = relocate({});
  EXPECT_EQ(blocked.code, ExitCode::blocked);
  EXPECT_NE(blocked.err, "");
  EXPECT_EQ(lsof.calls().size(), 2U);
  EXPECT_FALSE(exists(home_ / "journal"));
  EXPECT_FALSE(isRelocated());
}

TEST_F(RelocateCommandTest, TheBlockersOfAPlanLeaveEverythingAsItWas) {
  makeFolder(source_ + "/innen");
  for (const std::vector<std::string>& plan :
       {std::vector<std::string>{"--storage", source_ + "/innen"}, {"--name", std::string(200, 'n')}}) {
    std::vector<std::string> arguments = {"relocate", "--source", source_, "--kind", "symlink"};
    if (plan[0] != "--storage") arguments.insert(arguments.end(), {"--storage", storage_});
    arguments.insert(arguments.end(), plan.begin(), plan.end());
    const HelperResult blocked = runHelper(arguments);
    EXPECT_EQ(blocked.code, ExitCode::blocked) << blocked.err;
    EXPECT_EQ(namesIn(source_), (std::vector<std::string>{"a", "innen"}));
    EXPECT_EQ(namesIn(source_ + "/innen").size(), 0U);
    EXPECT_EQ(namesIn(storage_).size(), 0U);
    EXPECT_FALSE(exists(home_ / "journal"));
  }
}

TEST_F(RelocateCommandTest, AFolderDoesNotGoWhereItIsAlready) {
  const HelperResult blocked =
      runHelper({"relocate", "--source", source_, "--kind", "symlink", "--storage", folder_.path()});
  EXPECT_EQ(blocked.code, ExitCode::blocked);
  EXPECT_NE(blocked.err.find("Am Ziel gibt es bereits „quelle“. Bitte anderen Namen wählen.\n"),
            std::string::npos)
      << blocked.err;
  EXPECT_EQ(readFile(source_ + "/a"), "12345");
  EXPECT_FALSE(exists(home_ / "journal"));
}

TEST_F(RelocateCommandTest, ADriveOfAForeignFormatIsRefused) {
  const auto format = ScratchDrive::FileSystem::ext2;
  if (auto reason = ScratchDrive::unavailable(format)) GTEST_SKIP() << *reason;
  const ScratchDrive foreign({.fileSystem = format});
  const HelperResult blocked =
      runHelper({"relocate", "--source", source_, "--kind", "symlink", "--storage", foreign.path()});
  EXPECT_EQ(blocked.code, ExitCode::blocked);
  EXPECT_EQ(blocked.err, "Das Ziellaufwerk hat das Format „ext2“. Nötig ist APFS (oder Mac OS Extended).\n");
  EXPECT_FALSE(exists(foreign.path() + "/quelle"));
  EXPECT_FALSE(isRelocated());
  EXPECT_FALSE(exists(home_ / "journal"));
}

TEST_F(RelocateCommandTest, ALineBreakInTheNameIsNoObstacle) {
  source_ = folder_ / "a\nb";
  writeFile(source_ + "/datei", "12345");
  const HelperResult result = relocate({});
  EXPECT_EQ(result.code, ExitCode::done) << result.err;
  EXPECT_TRUE(isRelocated());
  EXPECT_EQ(readFile(source_ + "/datei"), "12345");
  EXPECT_EQ(readFile(storage_ + "/a_b/datei"), "12345");
}

TEST_F(RelocateCommandTest, ADamagedListWithAGoodBackupIsNoObstacle) {
  saveRegistry({});
  saveRegistry({makeRelocation(firstId, "Mail", folder_ / "mail")});
  saveRegistry({makeRelocation(firstId, "Mail", folder_ / "mail")});
  writeFile(home_ / "registry.json", "{");
  const HelperResult result = relocate({});
  EXPECT_EQ(result.code, ExitCode::done) << result.err;
  ASSERT_EQ(RegistryStore::load().relocations.size(), 2U);
  EXPECT_EQ(RegistryStore::load().relocations[0].name, "Mail");
}

TEST_F(RelocateCommandTest, ABusyLockHasItsStatus) {
  const OperationLock lock;
  const HelperResult result = relocate({});
  EXPECT_EQ(result.code, ExitCode::lockBusy);
  EXPECT_EQ(result.err, "Es läuft bereits ein anderer Vorgang (App oder Kommandozeile). Bitte warten.\n");
  EXPECT_FALSE(isRelocated());
}

TEST_F(RelocateCommandTest, AFailureIsTheOperationsOwnSentence) {
  ditto_.answer({.err = "ditto: kaputt", .status = 1});
  const HelperResult result = relocate({"--json"});
  EXPECT_EQ(result.code, ExitCode::failed);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "Kopieren fehlgeschlagen (Code 1):\nditto: kaputt\n");
  EXPECT_EQ(readFile(source_ + "/a"), "12345");
}

TEST_F(RelocateCommandTest, WarningsReachAScriptToo) {
  // An image on a drive that is not APFS, or a symlink below the folder of a sandboxed app.
  source_ = folder_ / "Library/Containers/app";
  writeFile(source_ + "/a", "12345");
  const HelperResult result = relocate({});
  EXPECT_EQ(result.code, ExitCode::done);
  EXPECT_EQ(result.err,
            "Hinweis: Das ist der Ordner einer Sandbox-App. "
            "Ein Symlink funktioniert dort meist NICHT – besser „Virtuelle Festplatte“ wählen.\n");
}

TEST_F(RelocateCommandTest, AndBackAgain) {
  ASSERT_EQ(relocate({}).code, ExitCode::done);
  const HelperResult result = runHelper({"restore", "quelle", "--json"});
  ASSERT_EQ(result.code, ExitCode::done) << result.err;
  EXPECT_EQ(result.json()["state"], "restored");
  EXPECT_EQ(readFile(source_ + "/a"), "12345");
  EXPECT_FALSE(isRelocated());

  const HelperResult again = runHelper({"restore", "quelle"});
  EXPECT_EQ(again.code, ExitCode::failed);
  EXPECT_EQ(again.err, "Diese Fernwahrung ist nicht aktiv.\n");
}

TEST_F(RelocateCommandTest, RestoreSaysWhereTheDataLies) {
  ASSERT_EQ(relocate({}).code, ExitCode::done);
  const HelperResult result = runHelper({"restore", "quelle"});
  EXPECT_NE(result.out.find(
                "Die Daten liegen wieder auf dem Mac. "
                "Die externe Kopie ist noch vorhanden – du kannst sie später in den Papierkorb legen.\n"),
            std::string::npos);
}

}  // namespace
}  // namespace fernwahrung
