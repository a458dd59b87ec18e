#include "Scene.h"
#include "support/Files.h"
#include "support/InjectFault.h"
#include "support/Program.h"
#include "support/ToolDouble.h"

#include "Engine/Preflight.h"
#include "Engine/Relocate.h"
#include "Foundation/Errors.h"
#include "Foundation/OperationLock.h"
#include "Foundation/PathString.h"
#include "Storage/DiskImage.h"
#include "Storage/FileOps.h"
#include "Storage/Verifier.h"

#include <gmock/gmock.h>
#include <unistd.h>

namespace fernwahrung {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

class RelocateTest : public Scene {};

TEST_F(RelocateTest, ImageTakesTheFoldersPlaceWithNothingLost) {
  makeSource();
  Relocation relocation = relocate(RelocationKind::image);

  EXPECT_TRUE(FileOps::isMountPoint(source));
  EXPECT_EQ(diff(before, TreeManifest::of(source), {.holes = true}), "") << "read through the old path";
  ASSERT_TRUE(relocation.originalBackupPath);
  EXPECT_EQ(diff(before, TreeManifest::of(*relocation.originalBackupPath), {.holes = true}), "")
      << "the kept original";
  EXPECT_THAT(besideSource(), ElementsAre(PathString::lastComponent(*relocation.originalBackupPath)));
  EXPECT_THAT(*relocation.originalBackupPath,
              testing::MatchesRegex(".*/Große Bibliothek\\.ORIGINAL-[0-9]{8}-[0-9]{6}"));

  ASSERT_THAT(RegistryStore::load().relocations, SizeIs(1));
  EXPECT_EQ(RegistryStore::load().relocations[0].originalBackupPath, relocation.originalBackupPath);
  EXPECT_TRUE(exists(relocation.sidecarPath()));
  EXPECT_THAT(Journal::unfinished(), IsEmpty());
  ASSERT_THAT(Journal::finishedJournals(10), SizeIs(1));
  EXPECT_EQ(Journal::finishedJournals(10)[0].result(), "erfolgreich");
  EXPECT_THAT(Journal::finishedJournals(10)[0].completedSteps,
              ElementsAre("imageCreated", "tempMounted", "copied", "verified", "tempUnmounted",
                          "originalRenamed", "mountPointCreated", "mounted", "postChecked", "registered"));
  EXPECT_THAT(mountsBelow(home->path()), IsEmpty()) << "the temporary mount";
  EXPECT_THAT(namesIn(*home / "mnt"), IsEmpty());
  EXPECT_THAT(log(),
              HasSubstr("=== Fernwahren gestartet: " + source + " → " + relocation.storagePath + " [image]"));
  EXPECT_THAT(log(), HasSubstr("=== Fernwahren erfolgreich"));

  DiskImage::detach(source);
  EXPECT_TRUE(FileOps::isLocked(source));
  EXPECT_NE(::mkdir((source + "/verirrt").c_str(), 0755), 0) << "the empty mount point refuses writing";
}

TEST_F(RelocateTest, SymlinkTakesTheFoldersPlaceWithNothingLost) {
  makeSource();
  Relocation relocation = relocate(RelocationKind::symlink);

  EXPECT_EQ(FileOps::symlinkDestination(source), relocation.storagePath);
  EXPECT_EQ(diff(before, TreeManifest::of(relocation.storagePath), {.holes = true}), "");
  EXPECT_EQ(diff(before, TreeManifest::of(*relocation.originalBackupPath)), "");
  ASSERT_THAT(RegistryStore::load().relocations, SizeIs(1));
  EXPECT_TRUE(exists(relocation.storagePath + ".fernwahrung.json"));
  EXPECT_THAT(Journal::finishedJournals(10)[0].completedSteps,
              ElementsAre("targetCreated", "copied", "verified", "originalRenamed", "symlinkCreated",
                          "postChecked", "registered"));
  EXPECT_THAT(Journal::finishedJournals(10)[0].paths,
              ElementsAre(testing::Pair("backup", *relocation.originalBackupPath),
                          testing::Pair("target", relocation.storagePath)));
}

TEST_F(RelocateTest, EmptyFolderIsOffloaded) {
  makeFolder(source);
  before = TreeManifest::of(source);
  relocate(RelocationKind::image);
  EXPECT_EQ(sourceDifference(), "");
}

TEST_F(RelocateTest, OnlyASpotlightImageRunsMdutil) {
  makeSource({.depth = 2, .manyFiles = 1, .bigFile = false});
  ToolDouble mdutil("/usr/bin/mdutil", {.err = "nope", .status = 1});
  relocate(RelocationKind::image);
  EXPECT_THAT(mdutil.calls(), IsEmpty());

  std::string second = *mac / "Zweite";
  writeFile(second + "/a", "b");
  RelocationPlan indexed = plan(RelocationKind::image);
  indexed.name = "Zweite";
  indexed.sourcePath = second;
  indexed.spotlight = true;
  Relocator::relocate(indexed, context);
  EXPECT_THAT(mdutil.calls(), ElementsAre(ElementsAre("-i", "on", second))) << "its failure is ignored";
}

TEST_F(RelocateTest, ProgressIsReportedInOrderAndLogged) {
  makeSource();
  std::vector<std::string> texts;
  OperationContext listening(onProgress([&](const std::string& text) { texts.push_back(text); }));
  Relocator::relocate(plan(RelocationKind::image), listening);
  EXPECT_EQ(texts.front(), "Prüfe Voraussetzungen …");
  EXPECT_EQ(texts.back(), "Kontrolliere Ergebnis …");
  EXPECT_THAT(texts, testing::IsSupersetOf({"Lege virtuelle Festplatte an …", "Kopieren abgeschlossen",
                                            "Hänge vorübergehend aus …", "Letzte Kontrolle vor dem Tausch …",
                                            "Tausche Original gegen virtuelle Festplatte …"}));
  for (const std::string& text : texts) EXPECT_THAT(log(), HasSubstr("· " + text));
}

TEST_F(RelocateTest, BlockersAreJoinedAndNoJournalExists) {
  makeSource({.depth = 2, .manyFiles = 1, .bigFile = false});
  RelocationPlan bad = plan(RelocationKind::image);
  bad.imageSizeBytes = 1;
  EXPECT_THAT(errorOf([&] { Relocator::relocate(bad, context); }),
              HasSubstr("Die virtuelle Festplatte ist zu klein."));
  EXPECT_THROW(Relocator::relocate(bad, context), BlockedError);
  EXPECT_FALSE(exists(*home / "journal"));
  expectAsBefore();
}

TEST_F(RelocateTest, SecondOperationFailsAtOnce) {
  makeSource({.depth = 2, .manyFiles = 1, .bigFile = false});
  OperationLock held;
  EXPECT_EQ(errorOf([&] { relocate(RelocationKind::symlink); }),
            "Es läuft bereits ein anderer Vorgang (App oder Kommandozeile). Bitte warten.");
  EXPECT_FALSE(exists(*home / "journal"));
}

TEST_F(RelocateTest, FirstSaveOfTheJournalFailsBeforeAnythingIsDone) {
  makeSource({.depth = 2, .manyFiles = 1, .bigFile = false});
  writeFile(*home / "journal", "kein Ordner");
  for (RelocationKind kind : allRelocationKinds) {
    EXPECT_NE(errorOf([&] { relocate(kind); }), "");
    expectAsBefore();
    EXPECT_THAT(namesIn(drive->path()), IsEmpty());
    EXPECT_THAT(log(), Not(HasSubstr("=== Fernwahren gestartet")));
  }
}

TEST_F(RelocateTest, ItemThatComesToTheTargetAfterTheCheckStaysWhereItIs) {
  makeSource({.depth = 2, .manyFiles = 1, .bigFile = false});
  for (RelocationKind kind : allRelocationKinds) {
    const std::string storage = plan(kind).storagePath();
    // the last question of the check comes after its look at the target
    ToolDouble lsof("/usr/sbin/lsof",
                    {.script = "mkdir -p '" + storage + "'; echo fremd > '" + storage + "/fremd'"});
    EXPECT_EQ(
        errorOf([&] { relocate(kind); }),
        "Am Ziel gibt es bereits „" + PathString::lastComponent(storage) + "“. Bitte anderen Namen wählen.");
    EXPECT_EQ(readFile(storage + "/fremd"), "fremd\n");
    EXPECT_FALSE(exists(*home / "Papierkorb"));
    expectAsBefore();
  }
}

TEST_F(RelocateTest, ImageThatComesToTheTargetAtTheLastMomentStaysWhereItIs) {
  makeSource({.depth = 2, .manyFiles = 1, .bigFile = false});
  const std::string storage = plan(RelocationKind::image).storagePath();
  OperationContext placing(onProgress([&](const std::string& text) {
    if (text == "Lege virtuelle Festplatte an …") writeFile(storage, "fremd");
  }));
  EXPECT_NE(errorOf([&] { Relocator::relocate(plan(RelocationKind::image), placing); }), "");
  EXPECT_EQ(readFile(storage), "fremd");
  EXPECT_FALSE(exists(*home / "Papierkorb"));
  expectAsBefore();
}

TEST_F(RelocateTest, ApplicationThatWritesAfterTheFinalGateIsNoticedAsWell) {
  for (RelocationKind kind : allRelocationKinds) {
    makeSource({.depth = 3, .manyFiles = 2});
    OperationContext writing(onProgress([&](const std::string& text) {
      if (text.starts_with("Tausche Original gegen")) writeFile(source + "/viele neu", "im letzten Moment");
    }));
    EXPECT_EQ(errorOf([&] { Relocator::relocate(plan(kind), writing); }),
              "Die Daten wurden während des Kopierens verändert (läuft die App doch?). "
              "Vorgang wird sicher zurückgerollt.");
    EXPECT_EQ(readFile(source + "/viele neu"), "im letzten Moment");
    ::unlink((source + "/viele neu").c_str());
    EXPECT_EQ(diff(before, TreeManifest::of(source), {.folderTimes = false}), "");
    EXPECT_THAT(RegistryStore::load().relocations, IsEmpty());
    removeEverything(source);
  }
}

TEST_F(RelocateTest, ApplicationThatWritesWhileTheCopyToolRunsIsFoundByTheComparison) {
  for (RelocationKind kind : allRelocationKinds) {
    makeSource({.depth = 3, .manyFiles = 2});
    // behind the tool's back, in a file that it has copied already
    ToolDouble ditto("/usr/bin/ditto",
                     {.script = "cp -a \"$1/.\" \"$2\"; echo neu > '" + source + "/zuletzt'"});
    EXPECT_THAT(errorOf([&] { relocate(kind); }),
                HasSubstr("Prüfung fehlgeschlagen – die Kopie ist NICHT identisch:\nFehlt in der Kopie: "));
    EXPECT_EQ(readFile(source + "/zuletzt"), "neu\n");
    ::unlink((source + "/zuletzt").c_str());
    EXPECT_EQ(diff(before, TreeManifest::of(source), {.folderTimes = false}), "");
    EXPECT_THAT(RegistryStore::load().relocations, IsEmpty());
    removeEverything(source);
  }
}

TEST_F(RelocateTest, ImageThatLostAFileBeforeItWasMountedIsNotAccepted) {
  makeSource({.depth = 3, .manyFiles = 2});
  writeFile(source + "/verschwindet", "12345");
  before = TreeManifest::of(source);
  const Verifier::Fingerprint whole = Verifier::fingerprint(source, false);
  OperationContext damaging(onProgress([&](const std::string& text) {
    if (text != "Tausche Original gegen virtuelle Festplatte …") return;
    TempFolder look;
    DiskImage::attach(plan(RelocationKind::image).storagePath(), look.path(),
                      {.browsable = false, .readOnly = false});
    ::unlink((look / "verschwindet").c_str());
    DiskImage::detach(look.path());
  }));
  EXPECT_EQ(errorOf([&] { Relocator::relocate(plan(RelocationKind::image), damaging); }),
            "Nach dem Einhängen stimmt der Inhalt nicht (Dateien " + std::to_string(whole.files - 1) + "/" +
                std::to_string(whole.files) + ", Bytes " + std::to_string(whole.bytes - 5) + "/" +
                std::to_string(whole.bytes) + ").");
  expectAsBefore();
}

TEST_F(RelocateTest, TargetThatLostAFileIsNotAcceptedANewFolderIsOverlooked) {
  makeSource({.depth = 3, .manyFiles = 2});
  const std::string target = plan(RelocationKind::symlink).storagePath();
  writeFile(source + "/verschwindet", "12345");
  before = TreeManifest::of(source);
  auto whenSwapping = [&](const std::function<void()>& action) {
    OperationContext changing(onProgress([&](const std::string& text) {
      if (text == "Tausche Original gegen Symlink …") action();
    }));
    return errorOf([&] { Relocator::relocate(plan(RelocationKind::symlink), changing); });
  };
  EXPECT_EQ(whenSwapping([&] { ::unlink((target + "/verschwindet").c_str()); }),
            "Der Symlink oder der Inhalt am Ziel stimmt nicht.");
  expectAsBefore();
  EXPECT_EQ(whenSwapping([&] { makeFolder(target + "/neu"); }), "");
}

TEST_F(RelocateTest, ApplicationThatWritesAfterTheComparisonIsStoppedAtTheFinalGate) {
  for (RelocationKind kind : allRelocationKinds) {
    makeSource();
    ToolDouble ditto("/usr/bin/ditto", {.thenReal = true});
    bool written = false;
    OperationContext writing(onProgress([&](const std::string& text) {
      if (!written && text.starts_with("Prüfung abgeschlossen")) {
        writeFile(source + "/viele neu", "geschrieben, nachdem die Kopie geprüft war");
        written = true;
      }
    }));
    std::string error = errorOf([&] { Relocator::relocate(plan(kind), writing); });
    EXPECT_EQ(error,
              "Die Daten wurden während des Kopierens verändert (läuft die App doch?). "
              "Vorgang wird sicher zurückgerollt.");
    ASSERT_TRUE(written);
    EXPECT_EQ(readFile(source + "/viele neu"), "geschrieben, nachdem die Kopie geprüft war");
    ::unlink((source + "/viele neu").c_str());
    EXPECT_EQ(diff(before, TreeManifest::of(source), {.folderTimes = false}), "");
    EXPECT_THAT(RegistryStore::load().relocations, IsEmpty());
    EXPECT_THAT(inTrash(PathString::lastComponent(plan(kind).storagePath())), SizeIs(1));
    removeEverything(source);
  }
}

TEST_F(RelocateTest, DifferenceFoundByTheComparisonIsTheError) {
  makeSource();
  // the copy tool claims success and leaves out a file
  ToolDouble ditto("/usr/bin/ditto", {.thenReal = true});
  ditto.answerCall(1, {});
  std::string error = errorOf([&] { relocate(RelocationKind::symlink); });
  EXPECT_THAT(error,
              HasSubstr("Prüfung fehlgeschlagen – die Kopie ist NICHT identisch:\nFehlt in der Kopie: "));
  expectAsBefore();
}

TEST_F(RelocateTest, GuardedAppThatStartsBeforeTheFinalGateStopsIt) {
  makeSource({.depth = 2, .manyFiles = 1, .bigFile = false});
  ToolDouble pgrep("/usr/bin/pgrep", {.status = 1});
  pgrep.answerCall(2, {.out = "4711\n"});
  RelocationPlan guarded = plan(RelocationKind::image);
  guarded.guardedAppPaths = {"/Applications/Beispiel.app"};
  EXPECT_EQ(errorOf([&] { Relocator::relocate(guarded, context); }), "Bitte zuerst beenden: Beispiel.app");
  EXPECT_THAT(pgrep.calls(), SizeIs(2));
  expectAsBefore();
}

TEST_F(RelocateTest, CancellingInTheMiddleLeavesEverythingAsItWas) {
  for (RelocationKind kind : allRelocationKinds) {
    for (const char* moment : {"Kopiere ", "Kopieren abgeschlossen"}) {
      removeEverything(source);
      makeSource();
      OperationContext* current = nullptr;
      OperationContext cancelling(onProgress([&](const std::string& text) {
        if (text.starts_with(moment)) current->cancel();
      }));
      current = &cancelling;
      EXPECT_EQ(errorOf([&] { Relocator::relocate(plan(kind), cancelling); }), "Vorgang abgebrochen.");
      expectAsBefore();
    }
  }
}

TEST_F(RelocateTest, DamagedRegistryStopsAtRegisteringAndRollsBack) {
  makeSource({.depth = 2, .manyFiles = 1, .bigFile = false});
  writeFile(*home / "registry.json", "{\"relocations\":");
  for (RelocationKind kind : allRelocationKinds) {
    EXPECT_EQ(errorOf([&] { relocate(kind); }),
              "Die Liste der Fernwahrungen ist beschädigt: " + (*home / "registry.json"));
    EXPECT_EQ(readFile(*home / "registry.json"), "{\"relocations\":") << "left for the user to look at";
    EXPECT_EQ(sourceDifference(), "");
    EXPECT_THAT(Journal::unfinished(), IsEmpty());
  }
}

TEST_F(RelocateTest, FailedRollbackIsToldWithBothSentencesAndTheJournalStaysOpen) {
  makeSource({.depth = 2, .manyFiles = 1, .bigFile = false});
  // hdiutil detaches nothing, neither for the operation nor for its undoing
  RelocationPlan image = plan(RelocationKind::image);
  std::string error;
  {
    ToolDouble hdiutil("/usr/bin/hdiutil", {.thenReal = true});
    hdiutil.answer({.thenReal = true, .script = "case \"$1\" in detach) echo busy >&2; exit 16;; esac"});
    error = errorOf([&] { Relocator::relocate(image, context); });
  }
  EXPECT_THAT(error,
              HasSubstr("Zusätzlich konnte der Ausgangszustand nicht automatisch wiederhergestellt werden:\n"
                        "Aushängen nicht möglich"));
  EXPECT_THAT(error, HasSubstr("Bitte nicht von Hand eingreifen."));
  EXPECT_EQ(sourceDifference(), "");
  ASSERT_THAT(Journal::unfinished(), SizeIs(1));
}

TEST_F(RelocateTest, UnknownFreeSpaceIsNoReasonAgainstIt) {
  if (auto reason = InjectFault::unavailable()) GTEST_SKIP() << *reason;
  makeSource({.depth = 3, .manyFiles = 2, .bigFile = false});
  ScratchDrive small({.bytes = 512LL << 20});
  const std::vector<std::string> command{FERNWAHRUNG_HELPER, "check",      "--source", source,
                                         "--storage",        small.path(), "--kind",   "symlink"};
  ProgramResult known = runProgram(command);
  EXPECT_EQ(known.status, 4);
  EXPECT_THAT(known.out, HasSubstr("Zu wenig Platz am Ziel: "));

  // the first question is for the drive's format
  ProgramResult unknown =
      InjectFault::run(command, {.calls = "fstatfs", .error = "EIO", .when = "2+", .paths = {small.path()}});
  EXPECT_EQ(unknown.status, 0);
  EXPECT_THAT(unknown.out, HasSubstr("Der Ordner kann ferngewahrt werden."));
}

TEST_F(RelocateTest, OneLsofPerQuestionHoweverManyFilesAreOpen) {
  makeSource({.depth = 2, .manyFiles = 1, .bigFile = false});
  ToolDouble lsof("/usr/sbin/lsof", {.thenReal = true});
  relocate(RelocationKind::symlink);
  EXPECT_THAT(lsof.calls(), ElementsAre(ElementsAre("-w", "-n", "-P", "-F", "pcan"),
                                        ElementsAre("-w", "-n", "-P", "-F", "pcan")))
      << "the preflight and the final gate";
}

}  // namespace
}  // namespace fernwahrung
