#include "FernwahrungApp/Model/Confirmations.h"
#include "ModelFixture.h"
#include "support/Files.h"

#include "Foundation/OperationLock.h"
#include "Foundation/Paths.h"
#include "Foundation/Shell.h"
#include "Records/RegistryStore.h"
#include "Storage/DirectoryState.h"

#include <QSignalSpy>
#include <atomic>
#include <cerrno>
#include <sys/stat.h>
#include <thread>

namespace fernwahrung {
namespace {

class Operations : public ModelFixture {
 protected:
  /// An operation that waits until the gate opens, or until it is cancelled.
  void operationWaits() {
    gate.close();
    core.operation = [this](OperationContext& context) {
      started = true;
      gate.pass();
      context.checkCancelled();
    };
  }
  bool untilStarted() {
    return pumpUntil([this] { return started.load(); });
  }

  FakeCore::Gate gate;
  std::atomic<bool> started = false;
  RelocationPlan plan{.name = "Bilder",
                      .sourcePath = "/Users/anna/Bilder",
                      .storageDirectory = "/Volumes/Extern",
                      .guardedAppPaths = {}};
  Relocation images = FakeCore::relocation("Bilder");
};

TEST_F(Operations, AnOperationIsBusyUntilItsEndAndThenSaysSo) {
  AppModel& model = start();
  operationWaits();
  model.relocate(plan);
  EXPECT_EQ(model.busyTitle(), "Fernwahren");
  EXPECT_EQ(model.progressMessage(), "Starte …");
  EXPECT_EQ(model.progressFraction(), std::nullopt);
  EXPECT_TRUE(model.cancellable());
  EXPECT_EQ(model.lastOperationEnd(), std::nullopt);
  gate.open();
  ASSERT_TRUE(untilIdle());
  EXPECT_EQ(
      model.infoMessage(),
      "Ferngewahrt. "
      "Das Original bleibt umbenannt erhalten, bis du es in den Papierkorb legst – teste vorher die App.");
  EXPECT_EQ(model.errorMessage(), std::nullopt);
  EXPECT_NE(model.lastOperationEnd(), std::nullopt);
  ASSERT_NE(model.selectedRelocation(), nullptr);
  EXPECT_EQ(model.selectedRelocation()->name, "Bilder");
}

TEST_F(Operations, ANewRelocationIsSelectedThoughAnotherWas) {
  core.world.relocations = {FakeCore::relocation("Musik")};
  AppModel& model = start();
  EXPECT_EQ(model.selectedRelocation()->name, "Musik");
  model.relocate(plan);
  ASSERT_TRUE(untilIdle());
  EXPECT_EQ(model.selectedRelocation()->name, "Bilder");
}

TEST_F(Operations, ASecondCommandIsDroppedWithoutAMessage) {
  AppModel& model = start();
  operationWaits();
  model.mount(images);
  ASSERT_TRUE(untilStarted());
  model.unmount(images);
  EXPECT_EQ(model.busyTitle(), "Einhängen");
  gate.open();
  ASSERT_TRUE(untilIdle());
  EXPECT_EQ(count("unmount Bilder"), 0U);
  EXPECT_EQ(model.errorMessage(), std::nullopt);
  EXPECT_EQ(model.infoMessage(), std::nullopt);
}

TEST_F(Operations, NoRefreshRunsMeanwhileAndOneFollows) {
  AppModel& model = start();
  operationWaits();
  model.mount(images);
  ASSERT_TRUE(untilStarted());
  model.refresh();
  pumpOnce();
  EXPECT_EQ(count("readWorld"), 1U);
  gate.open();
  ASSERT_TRUE(untilIdle());
  EXPECT_EQ(count("readWorld"), 2U);
}

TEST_F(Operations, WhatARefreshReadBeforeTheEndIsReadAgain) {
  AppModel& model = start();
  core.reading.close();
  model.refresh();
  model.mount(images);
  ASSERT_TRUE(pumpUntil([&] { return !model.busyTitle(); }));
  core.reading.open();
  ASSERT_TRUE(pumpUntil([this] { return count("readWorld") == 3; }));
  settle();
  EXPECT_EQ(count("readWorld"), 3U);
}

TEST_F(Operations, WhatARefreshSawInTheMidstOfAnOperationIsNotPublished) {
  AppModel& model = start();
  core.reading.close();
  model.refresh();
  operationWaits();
  model.restore(images);
  ASSERT_TRUE(untilStarted());
  {
    auto guard = core.lock();
    core.world.unfinished = {Journal(OperationKind::restore, images)};
  }
  core.reading.open();
  Background::waitForDone(Background::Lane::reads);
  pumpOnce();
  EXPECT_TRUE(model.unfinished().empty());
  {
    auto guard = core.lock();
    core.world.unfinished.clear();
  }
  gate.open();
  ASSERT_TRUE(untilIdle());
  EXPECT_EQ(count("readWorld"), 3U);
}

TEST_F(Operations, WhatARefreshSawBeforeAnOperationIsNotPublishedAfterIt) {
  std::atomic<int> reads = 0;
  CoreCalls calls = core.calls();
  calls.readWorld = [&](const CapacityThresholds&) {
    World world;
    world.usage[images.id] = std::to_string(++reads);
    core.reading.pass();
    return world;
  };
  AppModel& model = owned.emplace(calls, questions, std::chrono::hours(1));
  std::vector<std::string> seen;
  QObject::connect(&model, &AppModel::usageChanged, &model,
                   [&] { seen.push_back(model.usage().at(images.id)); });
  ASSERT_TRUE(pumpUntil([&] { return model.loaded(); }));
  core.reading.close();
  model.refresh();
  ASSERT_TRUE(pumpUntil([&] { return reads == 2; }));
  model.unmount(images);
  ASSERT_TRUE(pumpUntil([&] { return !model.busyTitle(); }));
  core.reading.open();
  ASSERT_TRUE(pumpUntil([&] { return !seen.empty() && seen.back() == "3"; }));
  EXPECT_EQ(seen, (std::vector<std::string>{"1", "3"}));
}

TEST_F(Operations, ProgressIsPublished) {
  AppModel& model = start();
  gate.close();
  core.operation = [this](OperationContext& context) {
    context.report("Kopiere …", 0.25);
    gate.pass();
    context.report("Prüfe …");
  };
  QSignalSpy messages(&model, &AppModel::progressMessageChanged);
  model.restore(images);
  ASSERT_TRUE(pumpUntil([&] { return model.progressMessage() == "Kopiere …"; }));
  EXPECT_EQ(model.progressFraction(), 0.25);
  gate.open();
  ASSERT_TRUE(untilIdle());
  EXPECT_GE(messages.count(), 2);
  EXPECT_EQ(model.infoMessage(),
            "Die Daten liegen wieder auf dem Mac. "
            "Die externe Kopie ist noch vorhanden – du kannst sie später in den Papierkorb legen.");
}

TEST_F(Operations, CancellingSaysSoUntilTheEndAndEndsInAMessage) {
  AppModel& model = start();
  gate.close();
  core.operation = [this](OperationContext& context) {
    started = true;
    gate.pass();
    context.report("spät");
    context.checkCancelled();
  };
  model.relocate(plan);
  ASSERT_TRUE(untilStarted());
  model.cancel();
  EXPECT_EQ(model.progressMessage(), "Breche ab und stelle den Ausgangszustand wieder her …");
  gate.open();
  ASSERT_TRUE(untilIdle());
  EXPECT_EQ(model.progressMessage(), "Breche ab und stelle den Ausgangszustand wieder her …");
  EXPECT_EQ(model.errorMessage(), std::string(FernwahrungError::cancelled().what()));
  EXPECT_EQ(model.infoMessage(), std::nullopt);
}

TEST_F(Operations, AfterACancellationNobodyTellsHowFarItIs) {
  AppModel& model = start();
  gate.close();
  core.operation = [this](OperationContext& context) {
    context.progress("Kopiere …", 0.4);
    gate.pass();
    context.progress("Kopiere …", 0.5);
  };
  model.restore(images);
  ASSERT_TRUE(pumpUntil([&] { return model.progressFraction() == 0.4; }));
  model.cancel();
  EXPECT_EQ(model.progressFraction(), std::nullopt);
  gate.open();
  ASSERT_TRUE(untilIdle());
  EXPECT_EQ(model.progressFraction(), std::nullopt);
}

TEST_F(Operations, WhatCannotBeCancelledIsNot) {
  AppModel& model = start();
  operationWaits();
  model.mount(images);
  ASSERT_TRUE(untilStarted());
  model.cancel();
  EXPECT_EQ(model.progressMessage(), "Starte …");
  gate.open();
  ASSERT_TRUE(untilIdle());
  EXPECT_EQ(model.errorMessage(), std::nullopt);
}

TEST_F(Operations, CancellingWithNothingRunningDoesNothing) {
  AppModel& model = start();
  model.cancel();
  EXPECT_EQ(model.progressMessage(), "");
}

TEST_F(Operations, TheProblemsOfMountAllAreOneMessage) {
  CoreCalls calls = core.calls();
  calls.mountAll = [] { return std::vector<std::string>{"Bilder: fehlt", "Musik: voll"}; };
  owned.emplace(calls, questions, std::chrono::hours(1));
  owned->mountAll();
  EXPECT_EQ(owned->busyTitle(), "Alle einhängen");
  EXPECT_FALSE(owned->cancellable());
  ASSERT_TRUE(untilIdle());
  EXPECT_EQ(owned->errorMessage(), "Bilder: fehlt\nMusik: voll");
}

TEST_F(Operations, ARollbackSaysSo) {
  AppModel& model = start();
  model.rollback(Journal(OperationKind::relocate, images));
  EXPECT_EQ(model.busyTitle(), "Zurückrollen");
  ASSERT_TRUE(untilIdle());
  EXPECT_EQ(model.infoMessage(), "Der unterbrochene Vorgang wurde zurückgerollt.");
  EXPECT_EQ(count("rollback Bilder"), 1U);
}

TEST_F(Operations, MountAndUnmountSayNothingOnSuccess) {
  AppModel& model = start();
  model.mount(images);
  ASSERT_TRUE(untilIdle());
  model.unmount(images);
  ASSERT_TRUE(untilIdle());
  EXPECT_EQ(model.infoMessage(), std::nullopt);
  EXPECT_EQ(model.errorMessage(), std::nullopt);
}

TEST_F(Operations, MessagesStayUntilTheyAreDismissed) {
  AppModel& model = start();
  core.operation = [](OperationContext&) { throw FernwahrungError::message("Ging nicht."); };
  model.unmount(images);
  ASSERT_TRUE(untilIdle());
  core.operation = [](OperationContext&) {};
  model.unmount(images);
  ASSERT_TRUE(untilIdle());
  EXPECT_EQ(model.errorMessage(), "Ging nicht.");
  model.dismissError();
  EXPECT_EQ(model.errorMessage(), std::nullopt);
}

TEST_F(Operations, AnErrorTakesThePlaceOfOneOnShow) {
  AppModel& model = start();
  for (const char* text : {"Zuerst dies.", "Dann das."}) {
    core.operation = [text](OperationContext&) { throw FernwahrungError::message(text); };
    model.unmount(images);
    ASSERT_TRUE(untilIdle());
    EXPECT_EQ(model.errorMessage(), text);
  }
}

TEST_F(Operations, EveryErrorIsShownInItsOwnWords) {
  AppModel& model = start();
  auto shown = [&](auto error) {
    core.operation = [error](OperationContext&) { throw error; };
    model.dismissError();
    model.mount(images);
    EXPECT_TRUE(untilIdle());
    EXPECT_EQ(model.errorMessage(), std::string(error.what()));
  };
  shown(FernwahrungError::message("Ging nicht."));
  shown(FernwahrungError::verificationFailed({"a: fehlt", "b: anders"}));
  shown(FernwahrungError::cancelled());
  shown(LockBusyError());
  shown(StorageMissingError("/Volumes/Extern/Bilder.sparsebundle"));
  shown(MountPointNotEmptyError("/Users/anna/Bilder", DirectoryContents()));
  shown(ShellError("hdiutil attach", 1, "Kaputt.\n"));
  shown(SystemError("Der Ordner kann nicht gelesen werden", "/Users/anna", EIO));
}

TEST_F(Operations, EachCommandHasItsTitleAndItsWords) {
  AppModel& model = start();
  struct Row {
    std::function<void()> command;
    std::string title;
    bool cancellable;
    std::optional<std::string> success;
  };
  const std::vector<Row> table = {
      {[&] { model.relocate(plan); }, "Fernwahren", true,
       "Ferngewahrt. "
       "Das Original bleibt umbenannt erhalten, bis du es in den Papierkorb legst – teste vorher die App."},
      {[&] { model.restore(images); }, "Zurückholen", true,
       "Die Daten liegen wieder auf dem Mac. "
       "Die externe Kopie ist noch vorhanden – du kannst sie später in den Papierkorb legen."},
      {[&] { model.mount(images); }, "Einhängen", false, std::nullopt},
      {[&] { model.unmount(images); }, "Aushängen", false, std::nullopt},
      {[&] { model.mountAll(); }, "Alle einhängen", false, std::nullopt},
      {[&] { model.rollback(Journal(OperationKind::relocate, images)); }, "Zurückrollen", false,
       "Der unterbrochene Vorgang wurde zurückgerollt."}};
  for (const Row& row : table) {
    operationWaits();
    model.dismissInfo();
    row.command();
    EXPECT_EQ(model.busyTitle(), row.title);
    EXPECT_EQ(model.cancellable(), row.cancellable) << row.title;
    EXPECT_EQ(model.progressMessage(), "Starte …");
    gate.open();
    ASSERT_TRUE(untilIdle());
    EXPECT_EQ(model.infoMessage(), row.success) << row.title;
    EXPECT_EQ(model.errorMessage(), std::nullopt) << row.title;
  }
}

TEST_F(Operations, TheEndIsToldWhenAllItBringsIsThere) {
  AppModel& model = start();
  core.operation = [](OperationContext&) { throw FernwahrungError::message("Ging nicht."); };
  std::optional<std::string> error;
  QObject::connect(&model, &AppModel::operationEnded, &model, [&] {
    EXPECT_EQ(model.busyTitle(), std::nullopt);
    error = model.errorMessage();
  });
  model.restore(images);
  ASSERT_TRUE(untilIdle());
  EXPECT_EQ(error, "Ging nicht.");
}

/// As far as it can be told without drives: the user who presses the button waits for none of them.
TEST(RealCoreCalls, MountingAllWaitsForNoDrive) {
  TempHome home;
  Registry registry;
  registry.relocations = {FakeCore::relocation("Bilder")};
  RegistryStore::save(registry);
  double slept = 0;
  Date time = Clock::now();
  const Clock::Override clock([&] { return time; },
                              [&](double seconds) {
                                slept += seconds;
                                time += std::chrono::milliseconds(static_cast<std::int64_t>(seconds * 1000));
                              });
  EXPECT_EQ(CoreCalls().mountAll().size(), 1U);
  EXPECT_EQ(slept, 0);
}

TEST_F(Operations, AModelThatGoesWhileAnOperationReportsIsMissedByNobody) {
  start();
  gate.close();
  core.operation = [this](OperationContext& context) {
    started = true;
    gate.pass();
    for (int i = 0; i < 100; ++i) context.progress("Schritt", i / 100.0);
  };
  owned->restore(images);
  ASSERT_TRUE(untilStarted());
  owned.reset();
  gate.open();
  settle();
  EXPECT_EQ(count("restore Bilder"), 1U);
}

// --- Access denied
// -----------------------------------------------------------------------------------------------------

class DeniedAccess : public Operations {
 protected:
  /// A mount that macOS forbids to look at the folder. The folder of the test has all permission bits.
  void mountDenied(const std::string& answer) {
    AppModel& model = start();
    core.operation = [this](OperationContext&) { throw AccessDeniedError(folder.path(), false); };
    questions.expect("Zugriff verweigert", answer);
    model.mount(images);
    ASSERT_TRUE(untilIdle());
    EXPECT_EQ(model.errorMessage(), std::nullopt);
    ASSERT_EQ(questions.asked().size(), 1U);
    EXPECT_EQ(questions.asked().front().text, AccessDeniedError(folder.path(), false).what());
    EXPECT_EQ(
        questions.asked().front().buttons,
        (std::vector<std::string>{"Festplattenvollzugriff öffnen", "Hilfsprogramm im Finder zeigen", "OK"}));
  }
  TempFolder folder;
};

TEST_F(DeniedAccess, OpensTheSettings) {
  mountDenied("Festplattenvollzugriff öffnen");
  EXPECT_EQ(count("open x-apple.systempreferences:com.apple.preference.security?Privacy_AllFiles"), 1U);
}

TEST_F(DeniedAccess, OpensNothingOnAnOkAndLeavesTheModelUsableMeanwhile) {
  AppModel& model = start();
  core.operation = [this](OperationContext&) { throw AccessDeniedError(folder.path(), false); };
  bool ended = false;
  QObject::connect(&model, &AppModel::operationEnded, &model, [&] { ended = true; });
  questions.expect("Zugriff verweigert", "OK", [&] {
    pumpOnce();
    EXPECT_EQ(model.busyTitle(), std::nullopt);
    EXPECT_FALSE(ended);
  });
  model.mount(images);
  ASSERT_TRUE(untilIdle());
  EXPECT_TRUE(ended);
  EXPECT_EQ(model.errorMessage(), std::nullopt);
  for (const std::string& note : core.noted()) {
    EXPECT_FALSE(note.starts_with("open ") || note.starts_with("reveal ")) << note;
  }
}

TEST_F(DeniedAccess, ShowsTheNearestFolderThereIs) {
  Paths::ensure(Paths::supportDirectory());
  mountDenied("Hilfsprogramm im Finder zeigen");
  EXPECT_EQ(count("open " + Paths::supportDirectory()), 1U);
}

TEST_F(DeniedAccess, ShowsTheFolderOfAHelperThatIsNotThere) {
  Paths::ensure(Paths::supportDirectory() + "/bin");
  mountDenied("Hilfsprogramm im Finder zeigen");
  EXPECT_EQ(count("open " + Paths::supportDirectory() + "/bin"), 1U);
}

TEST_F(DeniedAccess, ShowsTheHelper) {
  Paths::ensure(Paths::supportDirectory() + "/bin");
  writeFile(Paths::supportDirectory() + "/bin/fernwahrung", "x");
  mountDenied("Hilfsprogramm im Finder zeigen");
  EXPECT_EQ(count("reveal " + Paths::supportDirectory() + "/bin/fernwahrung"), 1U);
}

TEST_F(DeniedAccess, IsAPlainErrorForAnyOtherCommand) {
  AppModel& model = start();
  core.operation = [this](OperationContext&) { throw AccessDeniedError(folder.path(), false); };
  model.unmount(images);
  ASSERT_TRUE(untilIdle());
  EXPECT_EQ(model.errorMessage(), std::string(AccessDeniedError(folder.path(), false).what()));
}

TEST_F(DeniedAccess, ByPermissionBitsIsAPlainError) {
  AppModel& model = start();
  ASSERT_EQ(chmod(folder.path().c_str(), 0000), 0);
  core.operation = [this](OperationContext&) { throw AccessDeniedError(folder.path(), false); };
  model.mount(images);
  ASSERT_TRUE(untilIdle());
  EXPECT_NE(model.errorMessage(), std::nullopt);
  EXPECT_TRUE(questions.asked().empty());
  EXPECT_EQ(chmod(folder.path().c_str(), 0755), 0);
}

// --- Questions before an operation
// -------------------------------------------------------------------------------------

class Confirming : public Operations {
 protected:
  std::string textOfOnlyQuestion() { return questions.asked().at(0).text; }
};

TEST_F(Confirming, UnmountingNamesTheAppsToQuit) {
  AppModel& model = start();
  images.guardedAppPaths = {"/Applications/Foto.app", "/Applications/Film Pro.app"};
  questions.expect("Aushängen: Bilder?", "Aushängen");
  Confirmations::unmountFromMenu(model, images);
  ASSERT_TRUE(untilIdle());
  EXPECT_EQ(textOfOnlyQuestion(),
            "Die Daten sind danach nicht mehr erreichbar, bis du wieder einhängst. "
            "Bitte vorher beenden: Foto.app, Film Pro.app.");
  EXPECT_EQ(count("unmount Bilder"), 1U);
}

TEST_F(Confirming, UnmountingWithoutAppsNamesNone) {
  AppModel& model = start();
  questions.expect("Aushängen: Bilder?", "Abbrechen");
  Confirmations::unmountFromMenu(model, images);
  settle();
  EXPECT_EQ(textOfOnlyQuestion(), "Die Daten sind danach nicht mehr erreichbar, bis du wieder einhängst.");
  EXPECT_EQ(model.busyTitle(), std::nullopt);
  EXPECT_EQ(count("unmount Bilder"), 0U);
}

TEST_F(Confirming, BringingBackSaysWhatHappens) {
  AppModel& model = start();
  questions.expect("Zurück auf den Mac holen: Bilder?", "Zurück auf den Mac holen");
  Confirmations::restore(model, images);
  ASSERT_TRUE(untilIdle());
  EXPECT_EQ(
      textOfOnlyQuestion(),
      "Die aktuellen Daten werden zurück auf den Mac kopiert, Datei für Datei geprüft und erst dann ausgetauscht. "
      "Die externe Kopie bleibt erhalten. "
      "Auf dem Mac muss genug Platz frei sein. "
      "Die zugehörige App muss beendet sein.");
  EXPECT_EQ(count("restore Bilder"), 1U);
}

TEST_F(Confirming, RollingBackSaysWhatHappens) {
  AppModel& model = start();
  questions.expect("Unterbrochenen Vorgang zurückrollen?", "Zurückrollen");
  Confirmations::rollback(model, Journal(OperationKind::relocate, images));
  ASSERT_TRUE(untilIdle());
  EXPECT_EQ(
      textOfOnlyQuestion(),
      "Die erledigten Schritte werden in umgekehrter Reihenfolge rückgängig gemacht, bis der Zustand vor dem Vorgang wiederhergestellt ist. "
      "Es wird nichts endgültig gelöscht. "
      "Die betroffene App muss beendet sein.");
  EXPECT_EQ(count("rollback Bilder"), 1U);
}

TEST_F(Confirming, ANoChangesNothing) {
  AppModel& model = start();
  questions.expect("Zurück auf den Mac holen: Bilder?", "Abbrechen");
  questions.expect("Unterbrochenen Vorgang zurückrollen?", "Abbrechen");
  questions.expect("Aushängen: Bilder?", "Abbrechen");
  Confirmations::restore(model, images);
  Confirmations::rollback(model, Journal(OperationKind::relocate, images));
  Confirmations::unmount(model, images);
  settle();
  EXPECT_EQ(core.noted(), std::vector<std::string>{"readWorld"});
}

// --- Small things
// ------------------------------------------------------------------------------------------------------

TEST_F(Operations, TheDataBehindALinkIsMeasuredOnceAtATime) {
  AppModel& model = start();
  Relocation link = FakeCore::relocation("Projekte", RelocationKind::symlink);
  model.measureData(link);
  model.measureData(link);
  model.measureData(images);
  ASSERT_TRUE(pumpUntil([&] { return !model.dataSizes().empty(); }));
  EXPECT_EQ(model.dataSizes().at(link.id), 1'230'000'000);
  EXPECT_EQ(count("dataSize " + link.storagePath), 1U);
  EXPECT_EQ(count("dataSize " + images.storagePath), 0U);
}

class Measuring : public Operations {
 protected:
  /// Once more, and waits for the outcome.
  void measure() {
    owned->measureData(link);
    settle();
  }
  std::size_t walks() { return count("dataSize " + link.storagePath); }

  Relocation link = FakeCore::relocation("Projekte", RelocationKind::symlink);
  std::atomic<int> minutes = 0;
  const Date begin = Clock::now();
  Clock::Override clock{[this] { return begin + std::chrono::minutes(minutes); }, [](double) {}};
};

TEST_F(Measuring, ASizeIsMeasuredAgainWhenItHasGrownOld) {
  AppModel& model = start();
  measure();
  core.measure = [](const OperationContext&) { return std::int64_t{2}; };
  minutes = 9;
  measure();
  EXPECT_EQ(walks(), 1U);
  minutes = 10;
  measure();
  EXPECT_EQ(walks(), 2U);
  EXPECT_EQ(model.dataSizes().at(link.id), 2);
}

TEST_F(Measuring, AFailedAttemptIsNotRepeatedAtOnce) {
  AppModel& model = start();
  measure();
  core.measure = [](const OperationContext&) -> std::int64_t {
    throw SystemError("Der Ordner kann nicht gelesen werden", "/x", EACCES);
  };
  minutes = 10;
  measure();
  measure();
  EXPECT_EQ(walks(), 2U);
  EXPECT_TRUE(model.dataSizes().empty());
}

TEST_F(Measuring, TheModelsEndEndsIt) {
  start();
  std::atomic<bool> cancelled = false;
  core.measure = [&](const OperationContext& context) {
    for (int i = 0; i < 5000 && !context.isCancelled(); ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    cancelled = context.isCancelled();
    return std::int64_t{1};
  };
  owned->measureData(link);
  ASSERT_TRUE(pumpUntil([this] { return walks() == 1; }));
  owned.reset();
  settle();
  EXPECT_TRUE(cancelled);
}

TEST_F(Operations, PresetsOpenTheSheetWithThem) {
  AppModel& model = start();
  model.newRelocation("/Users/anna/Bilder", {"/Applications/Foto.app"});
  ASSERT_TRUE(model.sheet());
  EXPECT_EQ(model.sheet()->kind, Sheet::Kind::newRelocation);
  EXPECT_EQ(model.pendingNewRelocationSource(), "/Users/anna/Bilder");
  EXPECT_EQ(model.pendingNewRelocationApps(), std::vector<std::string>{"/Applications/Foto.app"});
  model.setSheet(std::nullopt);
  EXPECT_FALSE(model.sheet());
}

TEST(SheetId, DiffersByKindAndRelocation) {
  Relocation one = FakeCore::relocation("Bilder");
  Relocation other = FakeCore::relocation("Bilder");
  auto id = [](Sheet::Kind kind, std::optional<Relocation> relocation) {
    return Sheet{kind, relocation}.id();
  };
  EXPECT_EQ(id(Sheet::Kind::resize, one), id(Sheet::Kind::resize, one));
  EXPECT_NE(id(Sheet::Kind::resize, one), id(Sheet::Kind::resize, other));
  EXPECT_NE(id(Sheet::Kind::resize, one), id(Sheet::Kind::move, one));
  EXPECT_NE(id(Sheet::Kind::settings, {}), id(Sheet::Kind::status, {}));
}

}  // namespace
}  // namespace fernwahrung
