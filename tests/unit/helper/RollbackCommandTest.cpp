#include "HelperRun.h"
#include "support/Files.h"
#include "support/ToolDouble.h"

#include "Foundation/OperationLock.h"

#include <filesystem>

namespace fernwahrung {
namespace {

class RollbackCommandTest : public HelperTest {
 protected:
  /// An offloading that ended right after the original had been renamed.
  std::string interrupted(const std::string& id, const std::string& name, const std::string& startedAt) {
    const std::string source = folder_ / name;
    writeFile(source + ".ORIGINAL-1/a", name);
    Journal journal = makeJournal(id, makeRelocation(id, name, source), startedAt);
    journal.paths["backup"] = source + ".ORIGINAL-1";
    journal.completedSteps = {"originalRenamed"};
    journal.save();
    return source;
  }
  /// The same with something in the new mount point, which stops the way back.
  std::string stuck(const std::string& id, const std::string& name, const std::string& startedAt) {
    const std::string source = interrupted(id, name, startedAt);
    writeFile(source + "/fremd", "x");
    Journal journal = Journal::unfinished().back();
    for (const Journal& open : Journal::unfinished())
      if (open.id == uuid(id)) journal = open;
    journal.relocation.kind = RelocationKind::image;
    journal.save();
    return source;
  }

  TempFolder folder_;
};

TEST_F(RollbackCommandTest, NoneIsNoError) {
  const HelperResult result = runHelper({"rollback"});
  EXPECT_EQ(result.code, ExitCode::done);
  EXPECT_EQ(result.out, "Es gibt keinen unterbrochenen Vorgang.\n");
  EXPECT_EQ(runHelper({"rollback", "--all", "--json"}).json(),
            Json::parse(R"({"rolledBack": [], "failed": []})"));
}

TEST_F(RollbackCommandTest, TheOnlyOneNeedsNoName) {
  const std::string source = interrupted(firstId, "Mail", "2026-11-15T10:09:15Z");
  const HelperResult result = runHelper({"rollback"});
  EXPECT_EQ(result.code, ExitCode::done) << result.err;
  EXPECT_EQ(result.out, "Fernwahren „Mail“: Der unterbrochene Vorgang wurde zurückgerollt.\n");
  EXPECT_EQ(readFile(source + "/a"), "Mail");
  EXPECT_EQ(Journal::unfinished().size(), 0U);
  EXPECT_EQ(Journal::finishedJournals(10).at(0).result(), "zurückgerollt");
  EXPECT_NE(readFile(home_ / "fernwahrung.log").find("· Rolle zurück: Fernwahren „Mail“ …"),
            std::string::npos);
}

TEST_F(RollbackCommandTest, TheMessageOfASingleOneIsTheOperationsOwnSentence) {
  const std::string bad = stuck(thirdId, "Fotos", "2026-11-16T10:09:15Z");
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"rollback"}, {"rollback", thirdId}}) {
    const HelperResult result = runHelper(arguments);
    EXPECT_EQ(result.code, ExitCode::failed);
    EXPECT_EQ(result.err, "Der neue Einhängepunkt ist nicht leer: " + bad + "\n");
  }
}

TEST_F(RollbackCommandTest, OnATerminalTheProgressLineGoesBeforeTheMessage) {
  const std::string bad = stuck(thirdId, "Fotos", "2026-11-16T10:09:15Z");
  const HelperResult result = runHelper({"rollback"}, {.errorIsTerminal = true});
  EXPECT_NE(result.err.find("Rolle zurück: Fernwahren „Fotos“ …"), std::string::npos);
  EXPECT_TRUE(result.err.ends_with("\r\x1b[KDer neue Einhängepunkt ist nicht leer: " + bad + "\n"))
      << result.err;
}

TEST_F(RollbackCommandTest, ASignalBetweenTwoStillTellsWhatWasRolledBack) {
  // the copy of the later one is asked for, and the question interrupts the program
  ToolDouble hdiutil("/usr/bin/hdiutil", {.status = 1, .script = "kill -TERM $PPID; sleep 0.5"});
  for (const bool json : {false, true}) {
    const std::string early = interrupted(firstId, "Mail", "2026-11-15T10:09:15Z");
    const std::string late = interrupted(thirdId, "Fotos", "2026-11-16T10:09:15Z");
    Journal journal = Journal::unfinished().back();
    journal.relocation.kind = RelocationKind::image;
    journal.paths["image"] = folder_ / "Fotos.sparsebundle";
    makeFolder(journal.paths["image"]);
    journal.save();

    const HelperResult result = runHelper(json ? std::vector<std::string>{"rollback", "--all", "--json"}
                                               : std::vector<std::string>{"rollback", "--all"});
    EXPECT_EQ(result.code, ExitCode::cancelled);
    EXPECT_EQ(result.err, "Vorgang abgebrochen.\n");
    if (json) {
      EXPECT_EQ(result.json()["rolledBack"].size(), 1U);
      EXPECT_EQ(result.json()["rolledBack"][0]["id"], thirdId);
    } else {
      EXPECT_EQ(result.out, "Fernwahren „Fotos“: Der unterbrochene Vorgang wurde zurückgerollt.\n");
    }
    EXPECT_EQ(readFile(late + "/a"), "Fotos");
    EXPECT_FALSE(exists(early));
    ASSERT_EQ(Journal::unfinished().size(), 1U);
    EXPECT_EQ(Journal::unfinished()[0].id, uuid(firstId));
    for (const std::string& path : {early + ".ORIGINAL-1", late, home_ / "journal"}) removeEverything(path);
  }
}

TEST_F(RollbackCommandTest, SeveralWantAChoice) {
  interrupted(firstId, "Mail", "2026-11-15T10:09:15Z");
  interrupted(thirdId, "Fotos", "2026-11-16T10:09:15Z");
  const HelperResult result = runHelper({"rollback"});
  EXPECT_EQ(result.code, ExitCode::usage);
  EXPECT_NE(result.err.find(firstId), std::string::npos);
  EXPECT_NE(result.err.find(thirdId), std::string::npos);
  EXPECT_EQ(Journal::unfinished().size(), 2U);
}

TEST_F(RollbackCommandTest, ByTheBeginningOfItsIdentifier) {
  const std::string source = interrupted(firstId, "Mail", "2026-11-15T10:09:15Z");
  interrupted(thirdId, "Fotos", "2026-11-16T10:09:15Z");
  EXPECT_EQ(runHelper({"rollback", "6875"}).code, ExitCode::done);
  EXPECT_TRUE(exists(source));
  ASSERT_EQ(Journal::unfinished().size(), 1U);
  EXPECT_EQ(Journal::unfinished()[0].id, uuid(thirdId));
}

TEST_F(RollbackCommandTest, AFinishedOneIsRefused) {
  Journal journal = makeJournal(firstId, makeRelocation(firstId, "Mail", "/a"), "2026-11-15T10:09:15Z");
  journal.save();
  journal.close();
  const HelperResult result = runHelper({"rollback", firstId});
  EXPECT_EQ(result.code, ExitCode::usage);
  EXPECT_NE(result.err.find("ist abgeschlossen; zurückrollen lassen sich nur unterbrochene."),
            std::string::npos);
}

TEST_F(RollbackCommandTest, AnUnknownOneIsRefused) {
  EXPECT_EQ(runHelper({"rollback", "ABCD"}).code, ExitCode::usage);
}

TEST_F(RollbackCommandTest, OneAndAllIsTooMuch) {
  EXPECT_EQ(runHelper({"rollback", "--all", firstId}).code, ExitCode::usage);
}

TEST_F(RollbackCommandTest, TheNewestIsUndoneFirst) {
  interrupted(firstId, "Mail", "2026-11-15T10:09:15Z");
  interrupted(thirdId, "Fotos", "2026-11-17T10:09:15Z");
  interrupted(secondId, "Texte", "2026-11-16T10:09:15Z");
  const HelperResult result = runHelper({"rollback", "--all", "--json"});
  EXPECT_EQ(result.code, ExitCode::done);
  const Json::Value rolledBack = result.json()["rolledBack"];
  ASSERT_EQ(rolledBack.size(), 3U);
  EXPECT_EQ(rolledBack[0]["id"], thirdId);
  EXPECT_EQ(rolledBack[1]["id"], secondId);
  EXPECT_EQ(rolledBack[2]["id"], firstId);
  EXPECT_EQ(rolledBack[0]["result"], "zurückgerollt");
}

TEST_F(RollbackCommandTest, OneThatFailsDoesNotStopTheOthers) {
  const std::string good = interrupted(firstId, "Mail", "2026-11-15T10:09:15Z");
  const std::string bad = stuck(thirdId, "Fotos", "2026-11-16T10:09:15Z");
  const HelperResult result = runHelper({"rollback", "--all"});
  EXPECT_EQ(result.code, ExitCode::failed);
  EXPECT_EQ(
      result.err,
      "Fernwahren „Fotos“ (F00D0001-4D6F-1226-9C60-0050E4C00067): Der neue Einhängepunkt ist nicht leer: " +
          bad + "\n");
  EXPECT_EQ(result.out, "Fernwahren „Mail“: Der unterbrochene Vorgang wurde zurückgerollt.\n");
  EXPECT_EQ(readFile(good + "/a"), "Mail");
  EXPECT_EQ(readFile(bad + ".ORIGINAL-1/a"), "Fotos");
  EXPECT_EQ(readFile(bad + "/fremd"), "x");
  ASSERT_EQ(Journal::unfinished().size(), 1U);
}

TEST_F(RollbackCommandTest, AnEarlierOneOfTheSameFolderWaitsForTheLater) {
  interrupted(firstId, "Fotos", "2026-11-15T10:09:15Z");
  stuck(thirdId, "Fotos", "2026-11-16T10:09:15Z");
  const HelperResult result = runHelper({"rollback", "--all", "--json"});
  EXPECT_EQ(result.code, ExitCode::failed);
  const Json::Value failed = result.json()["failed"];
  ASSERT_EQ(failed.size(), 2U);
  EXPECT_EQ(failed[1]["id"], firstId);
  EXPECT_EQ(failed[1]["message"],
            "Nicht begonnen: Ein späterer Vorgang an diesem Ordner konnte nicht zurückgerollt werden.");
  EXPECT_EQ(Journal::unfinished().size(), 2U);
}

TEST_F(RollbackCommandTest, AnEarlierOneWaitsAlsoWhenTheLaterOneHadALinkInTheFoldersPlace) {
  // the later one puts the original back in the place of its link, and then the Trash refuses the copy
  const std::string source = interrupted(firstId, "Fotos", "2026-11-15T10:09:15Z");
  interrupted(thirdId, "Fotos", "2026-11-16T10:09:15Z");
  Journal later = Journal::unfinished().back();
  later.relocation.storagePath = folder_ / "Kopie";
  later.paths["target"] = later.relocation.storagePath;
  later.save();
  makeFolder(folder_ / "Kopie");
  std::filesystem::create_symlink(folder_ / "Kopie", source);
  writeFile(home_ / "Papierkorb", "kein Ordner");

  const HelperResult result = runHelper({"rollback", "--all", "--json"});
  EXPECT_EQ(result.code, ExitCode::failed);
  const Json::Value failed = result.json()["failed"];
  ASSERT_EQ(failed.size(), 2U) << result.out;
  EXPECT_EQ(failed[1]["id"], firstId);
  EXPECT_EQ(failed[1]["message"],
            "Nicht begonnen: Ein späterer Vorgang an diesem Ordner konnte nicht zurückgerollt werden.");
}

TEST_F(RollbackCommandTest, ABusyLockComesBeforeEverything) {
  interrupted(firstId, "Mail", "2026-11-15T10:09:15Z");
  const OperationLock lock;
  for (const std::vector<std::string>& arguments : {std::vector<std::string>{"rollback"},
                                                    {"rollback", firstId},
                                                    {"rollback", "--all"},
                                                    {"rollback", "nix0"}})
    EXPECT_EQ(runHelper(arguments).code, ExitCode::lockBusy);
  EXPECT_EQ(Journal::unfinished().size(), 1U);
}

}  // namespace
}  // namespace fernwahrung
