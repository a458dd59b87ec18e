#include "ModelFixture.h"
#include "support/Files.h"

#include "Foundation/ByteFormat.h"
#include "Foundation/Paths.h"
#include "Foundation/PropertyList.h"
#include "Records/AtomicWrite.h"
#include "Records/RegistryStore.h"

#include <QSignalSpy>
#include <atomic>
#include <filesystem>
#include <pwd.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace fernwahrung {
namespace {

using Health = RelocationStatus::Health;

class Refresh : public ModelFixture {
 protected:
  ImageCapacity capacity(CapacityLevel level) {
    ImageCapacity capacity;
    capacity.level = level;
    if (level != CapacityLevel::ok) capacity.messages = {"Erstens.", "Zweitens."};
    return capacity;
  }
  VolumeCapacity drive(CapacityLevel level) {
    return {"Extern", "/Volumes/Extern", 1000, 12'300'000'000, false, level};
  }
  std::vector<std::string> notices() {
    settle();
    std::vector<std::string> notices;
    for (const std::string& note : core.noted()) {
      if (note.starts_with("notify ")) notices.push_back(note.substr(7));
    }
    return notices;
  }
  void setDrive(CapacityLevel level) {
    auto guard = core.lock();
    core.world.volumes = {drive(level)};
  }
};

TEST_F(Refresh, AnEmptyRegistryLoadsWithNothingSelected) {
  AppModel& model = start();
  EXPECT_TRUE(model.loaded());
  EXPECT_TRUE(model.relocations().empty());
  EXPECT_EQ(model.selection(), std::nullopt);
  EXPECT_EQ(model.selectedRelocation(), nullptr);
  EXPECT_EQ(model.overallHealth(), Health::ok);
}

TEST_F(Refresh, TheModelIsNotLoadedBeforeTheFirstRefreshHasEnded) {
  core.reading.close();
  AppModel& model = create();
  pumpOnce();
  EXPECT_FALSE(model.loaded());
  core.reading.open();
  EXPECT_TRUE(pumpUntil([&] { return model.loaded(); }));
}

TEST_F(Refresh, TheFirstSelectsTheFirstRelocationAndLaterOnesLeaveTheSelection) {
  core.world.relocations = {FakeCore::relocation("Bilder"), FakeCore::relocation("Musik")};
  AppModel& model = start();
  ASSERT_NE(model.selectedRelocation(), nullptr);
  EXPECT_EQ(model.selectedRelocation()->name, "Bilder");
  {
    auto guard = core.lock();
    std::swap(core.world.relocations[0], core.world.relocations[1]);
  }
  refresh();
  EXPECT_EQ(model.relocations().front().name, "Musik");
  EXPECT_EQ(model.selectedRelocation()->name, "Bilder");
}

TEST_F(Refresh, ASelectionWhoseRelocationHasGoneStays) {
  core.world.relocations = {FakeCore::relocation("Bilder")};
  AppModel& model = start();
  auto selected = model.selection();
  {
    auto guard = core.lock();
    core.world.relocations = {FakeCore::relocation("Musik")};
  }
  refresh();
  EXPECT_EQ(model.selection(), selected);
  EXPECT_EQ(model.selectedRelocation(), nullptr);
}

TEST_F(Refresh, OnlyOneIsUnderWayAtATime) {
  AppModel& model = start();
  core.reading.close();
  model.refresh();
  model.refresh();
  model.refresh();
  core.reading.open();
  settle();
  EXPECT_EQ(count("readWorld"), 2U);
}

TEST_F(Refresh, WhatHasNotChangedIsNotAnnounced) {
  core.world.relocations = {FakeCore::relocation("Bilder")};
  core.world.volumes = {drive(CapacityLevel::ok)};
  AppModel& model = start();
  QSignalSpy relocations(&model, &AppModel::relocationsChanged);
  QSignalSpy volumes(&model, &AppModel::volumesChanged);
  QSignalSpy statuses(&model, &AppModel::statusesChanged);
  refresh();
  EXPECT_EQ(relocations.count() + volumes.count() + statuses.count(), 0);
  setDrive(CapacityLevel::warning);
  refresh();
  EXPECT_EQ(volumes.count(), 1);
  EXPECT_EQ(relocations.count(), 0);
}

TEST_F(Refresh, TheTimerRepeatsIt) {
  owned.emplace(core.calls(), questions, std::chrono::milliseconds(1));
  EXPECT_TRUE(pumpUntil([this] { return count("readWorld") >= 4; }));
}

TEST_F(Refresh, AFailedLoadShowsAnEmptyListAndSaysWhy) {
  core.world.loadError = "Die Liste der Fernwahrungen kann nicht gelesen werden: kaputt";
  AppModel& model = start();
  EXPECT_EQ(model.errorMessage(), core.world.loadError);
  EXPECT_TRUE(model.loaded());
  model.dismissError();
  EXPECT_EQ(model.errorMessage(), std::nullopt);
  refresh();
  EXPECT_EQ(model.errorMessage(), core.world.loadError);
}

TEST_F(Refresh, AFailedLoadDoesNotReplaceAnErrorOnShow) {
  core.operation = [](OperationContext&) { throw FernwahrungError::message("Zuerst dies."); };
  AppModel& model = start();
  {
    auto guard = core.lock();
    core.world.loadError = "Die Liste der Fernwahrungen kann nicht gelesen werden: kaputt";
  }
  model.unmount(FakeCore::relocation("Bilder"));
  ASSERT_TRUE(untilIdle());
  EXPECT_EQ(model.errorMessage(), "Zuerst dies.");
}

TEST_F(Refresh, RepeatsEveryFifteenSecondsUnlessToldOtherwise) {
  owned.emplace(core.calls(), questions);
  auto* timer = owned->findChild<QTimer*>();
  ASSERT_NE(timer, nullptr);
  EXPECT_TRUE(timer->isActive());
  EXPECT_FALSE(timer->isSingleShot());
  EXPECT_EQ(timer->intervalAsDuration(), std::chrono::seconds(15));
}

TEST_F(Refresh, JudgesByTheThresholdsOfTheSettings) {
  core.settings.thresholds.externalWarnFreeGB = 77;
  start();
  auto guard = core.lock();
  EXPECT_EQ(core.judgedBy, core.settings.thresholds);
}

TEST_F(Refresh, PublishesInItsOrder) {
  Relocation images = FakeCore::relocation("Bilder");
  core.world.relocations = {images};
  core.world.loadError = "Die Liste der Fernwahrungen kann nicht gelesen werden: kaputt";
  core.world.statuses[images.id].summary = "Eingehängt";
  core.world.usage[images.id] = "belegt 1 GB";
  core.world.imageCapacity[images.id] = capacity(CapacityLevel::ok);
  core.world.volumes = {drive(CapacityLevel::ok)};
  core.world.missingPaths = {"/weg"};
  core.world.unfinished = {Journal(OperationKind::relocate, images)};
  core.reading.close();
  AppModel& model = create();
  std::vector<std::string> order;
  auto note = [&](void (AppModel::*changed)(), const char* name) {
    QObject::connect(&model, changed, &model, [&order, name] { order.push_back(name); });
  };
  note(&AppModel::loadedChanged, "loaded");
  note(&AppModel::selectionChanged, "selection");
  note(&AppModel::unfinishedChanged, "unfinished");
  note(&AppModel::missingPathsChanged, "missingPaths");
  note(&AppModel::volumesChanged, "volumes");
  note(&AppModel::imageCapacityChanged, "imageCapacity");
  note(&AppModel::usageChanged, "usage");
  note(&AppModel::statusesChanged, "statuses");
  note(&AppModel::relocationsChanged, "relocations");
  note(&AppModel::errorMessageChanged, "errorMessage");
  core.reading.open();
  ASSERT_TRUE(pumpUntil([&] { return model.loaded(); }));
  EXPECT_EQ(order,
            (std::vector<std::string>{"errorMessage", "relocations", "statuses", "usage", "imageCapacity",
                                      "volumes", "missingPaths", "unfinished", "selection", "loaded"}));
}

// --- While a question stands
// -------------------------------------------------------------------------------------------

TEST_F(Refresh, WaitsForTheAnswerToAQuestionAndRunsOnce) {
  AppModel& model = start();
  QSignalSpy asking(&model, &AppModel::askingChanged);
  questions.expect("Wirklich?", "Ja", [&] {
    EXPECT_TRUE(model.asking());
    model.refresh();
    model.refresh();
    settle();
    EXPECT_EQ(count("readWorld"), 1U);
  });
  model.questions().confirm("Wirklich?", "", "Ja");
  EXPECT_FALSE(model.asking());
  EXPECT_EQ(asking.count(), 2);
  settle();
  EXPECT_EQ(count("readWorld"), 2U);
}

TEST_F(Refresh, WaitsForTheLastOfSeveralQuestions) {
  AppModel& model = start();
  questions.expect("Ordner?", "", [&] {
    questions.expect("Programm?", "", [&] { model.refresh(); });
    model.questions().chooseApplication("Programm?", "/");
    settle();
    EXPECT_TRUE(model.asking());
    EXPECT_EQ(count("readWorld"), 1U);
  });
  model.questions().chooseFolder("Ordner?", "/");
  settle();
  EXPECT_EQ(count("readWorld"), 2U);
}

TEST_F(Refresh, AQuestionAloneBringsNone) {
  AppModel& model = start();
  questions.expect("Wirklich?", "Ja");
  model.questions().confirm("Wirklich?", "", "Ja");
  settle();
  EXPECT_EQ(count("readWorld"), 1U);
}

// --- Capacity notices
// --------------------------------------------------------------------------------------------------

TEST_F(Refresh, AVolumeThatBecomesShortIsToldOnce) {
  setDrive(CapacityLevel::warning);
  start();
  refresh();
  EXPECT_EQ(notices(), std::vector<std::string>{"Speicher wird knapp | Extern: nur noch " +
                                                ByteFormat::string(12'300'000'000) + " frei."});
}

TEST_F(Refresh, ALevelThatFellAndRisesAgainIsToldAgain) {
  setDrive(CapacityLevel::warning);
  start();
  for (CapacityLevel level : {CapacityLevel::ok, CapacityLevel::warning}) {
    setDrive(level);
    refresh();
  }
  EXPECT_EQ(notices().size(), 2U);
}

TEST_F(Refresh, EachRiseIsTold) {
  setDrive(CapacityLevel::warning);
  start();
  for (CapacityLevel level : {CapacityLevel::critical, CapacityLevel::warning, CapacityLevel::critical}) {
    setDrive(level);
    refresh();
  }
  auto told = notices();
  ASSERT_EQ(told.size(), 3U);
  EXPECT_TRUE(told[0].starts_with("Speicher wird knapp | "));
  EXPECT_TRUE(told[1].starts_with("Speicher kritisch | "));
  EXPECT_TRUE(told[2].starts_with("Speicher kritisch | "));
}

TEST_F(Refresh, AFullImageIsToldWithItsMessages) {
  Relocation images = FakeCore::relocation("Bilder");
  core.world.relocations = {images};
  core.world.imageCapacity[images.id] = capacity(CapacityLevel::critical);
  start();
  EXPECT_EQ(notices(), std::vector<std::string>{"Speicher kritisch | Bilder: Erstens. Zweitens."});
}

TEST_F(Refresh, ANoticeLeavesTheMainThread) {
  setDrive(CapacityLevel::warning);
  CoreCalls calls = core.calls();
  std::atomic<int> sent = 0;
  std::atomic<int> sentHere = 0;
  calls.notify = [&, here = std::this_thread::get_id()](const std::string&, const std::string&) {
    if (std::this_thread::get_id() == here) ++sentHere;
    ++sent;
  };
  owned.emplace(calls, questions, std::chrono::hours(1));
  ASSERT_TRUE(pumpUntil([&] { return sent == 1; }));
  EXPECT_EQ(sentHere, 0);
}

// --- Overall health
// ----------------------------------------------------------------------------------------------------

class OverallHealth : public Refresh {
 protected:
  Health of(Health status, CapacityLevel image, CapacityLevel volume, bool unfinished,
            RelocationState state = RelocationState::active) {
    Relocation relocation = FakeCore::relocation("Bilder");
    relocation.state = state;
    core.world.relocations = {relocation, FakeCore::relocation("ohne Status")};
    core.world.statuses[relocation.id].health = status;
    core.world.imageCapacity[relocation.id] = capacity(image);
    core.world.volumes = {drive(volume)};
    if (unfinished) core.world.unfinished = {Journal(OperationKind::relocate, relocation)};
    return start().overallHealth();
  }
};

TEST_F(OverallHealth, IsOkWhenAllIs) {
  EXPECT_EQ(of(Health::ok, CapacityLevel::ok, CapacityLevel::ok, false), Health::ok);
}
TEST_F(OverallHealth, AnActiveErrorIsAnError) {
  EXPECT_EQ(of(Health::error, CapacityLevel::ok, CapacityLevel::ok, false), Health::error);
}
TEST_F(OverallHealth, ARestoredRelocationsStatusDoesNotCount) {
  EXPECT_EQ(of(Health::error, CapacityLevel::ok, CapacityLevel::ok, false, RelocationState::restored),
            Health::ok);
}
TEST_F(OverallHealth, ACriticalImageIsAnError) {
  EXPECT_EQ(of(Health::ok, CapacityLevel::critical, CapacityLevel::ok, false), Health::error);
}
TEST_F(OverallHealth, ACriticalVolumeIsAnError) {
  EXPECT_EQ(of(Health::warning, CapacityLevel::ok, CapacityLevel::critical, false), Health::error);
}
TEST_F(OverallHealth, AShortVolumeIsAWarning) {
  EXPECT_EQ(of(Health::ok, CapacityLevel::ok, CapacityLevel::warning, false), Health::warning);
}
TEST_F(OverallHealth, AnInterruptedOperationIsAWarning) {
  EXPECT_EQ(of(Health::ok, CapacityLevel::ok, CapacityLevel::ok, true), Health::warning);
}
TEST_F(OverallHealth, AnActiveWarningIsAWarning) {
  EXPECT_EQ(of(Health::warning, CapacityLevel::ok, CapacityLevel::ok, false), Health::warning);
}

// --- The real reading
// --------------------------------------------------------------------------------------------------

TEST(ReadWorld, ADamagedListIsEmptyAndSaysWhyAndStaysAsItIs) {
  TempHome home;
  Paths::ensure(Paths::supportDirectory());
  writeFile(Paths::registryFile(), "{ kaputt");
  World world = readWorld({});
  EXPECT_TRUE(world.relocations.empty());
  EXPECT_TRUE(world.loadError.starts_with("Die Liste der Fernwahrungen kann nicht gelesen werden: "))
      << world.loadError;
  EXPECT_EQ(FileOps::readFile(Paths::registryFile()), "{ kaputt");
  std::string log = FileOps::readFile(Paths::logFile());
  EXPECT_NE(log.find("FEHLER beim Lesen der Liste: "), std::string::npos) << log;
}

TEST(ReadWorld, NamesTheKeptCopiesThatAreGone) {
  TempHome home;
  Relocation relocation = FakeCore::relocation("Bilder");
  relocation.originalBackupPath = home / "Bilder.ORIGINAL-20261121-101112";
  relocation.safetyCopies = {home / "da.sparsebundle", home / "weg.sparsebundle"};
  writeFile(home / "da.sparsebundle", "x");
  Registry registry;
  registry.relocations = {relocation};
  RegistryStore::save(registry);
  World world = readWorld({});
  EXPECT_EQ(world.missingPaths,
            (std::set<std::string>{*relocation.originalBackupPath, home / "weg.sparsebundle"}));
}

/// What lies under the folder belongs to somebody who is not root, and this thread is that user's meanwhile.
class AsOrdinaryUser {
 public:
  explicit AsOrdinaryUser(const std::string& folder) : privileged_(::geteuid() == 0) {
    if (!privileged_) return;
    const passwd* nobody = ::getpwnam("nobody");
    if (!nobody) throw std::runtime_error("no user nobody");
    auto give = [&](const std::string& path) {
      if (::lchown(path.c_str(), nobody->pw_uid, nobody->pw_gid) != 0) throw std::runtime_error(path);
    };
    give(folder);
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
      give(entry.path().string());
    }
    if (::seteuid(nobody->pw_uid) != 0) throw std::runtime_error("seteuid");
  }
  ~AsOrdinaryUser() {
    if (privileged_ && ::seteuid(0) != 0) ADD_FAILURE() << "root again: " << errno;
  }
  AsOrdinaryUser(const AsOrdinaryUser&) = delete;
  AsOrdinaryUser& operator=(const AsOrdinaryUser&) = delete;

 private:
  const bool privileged_;
};

TEST(ReadWorld, AKeptCopyThatCanNotBeSeenIsNotSaidToBeGone) {
  TempHome home;
  Relocation relocation = FakeCore::relocation("Bilder");
  const std::string closed = home / "zu";
  const std::string longest =
      home / std::string(300, 'x');  // no name can be that long: the look itself fails
  makeFolder(closed);
  makeFolder(home / "echt");
  std::filesystem::create_symlink(home / "echt", home / "Verweis");
  relocation.originalBackupPath = "/Volumes/abgezogen/Bilder.ORIGINAL-20261121-101112";
  relocation.safetyCopies = {closed + "/da.sparsebundle", longest};
  relocation.asideFolders = {home / "Verweis/weg"};
  writeFile(closed + "/da.sparsebundle", "x");
  Registry registry;
  registry.relocations = {relocation};
  RegistryStore::save(registry);
  World world;
  {
    const AsOrdinaryUser user(home.path());
    ASSERT_EQ(::chmod(closed.c_str(), 0000), 0);
    world = readWorld({});
    EXPECT_EQ(::chmod(closed.c_str(), 0755), 0);
  }
  EXPECT_EQ(world.loadError, "");
  EXPECT_EQ(world.missingPaths, std::set<std::string>{home / "Verweis/weg"});
}

TEST(ReadWorld, MeasuresImagesAndVolumesAndJudgesThem) {
  TempHome home;
  Relocation image = FakeCore::relocation("Bilder");
  image.storagePath = home / "Bilder.sparsebundle";
  Relocation link = FakeCore::relocation("Projekte", RelocationKind::symlink);
  writeFile(image.storagePath + "/Info.plist", PropertyList::printXml({{"size", 2'000'000'000}}));
  writeFile(image.storagePath + "/bands/0", std::string(1'000'000, 'x'));
  Registry registry;
  registry.relocations = {image, link};
  RegistryStore::save(registry);

  CapacityThresholds thresholds;
  World world = readWorld(thresholds);
  ASSERT_EQ(world.imageCapacity.size(), 1U);
  const ImageCapacity& capacity = world.imageCapacity.at(image.id);
  EXPECT_EQ(capacity.capacityBytes, 2'000'000'000);
  EXPECT_GE(capacity.occupiedOnDrive, 1'000'000);
  EXPECT_EQ(world.usage,
            (std::map<Uuid, std::string>{
                {image.id, "max. 2 GB · auf dem Laufwerk " + ByteFormat::string(capacity.occupiedOnDrive)}}));
  ASSERT_FALSE(world.volumes.empty());
  EXPECT_TRUE(world.volumes.front().isInternal);
  EXPECT_GT(world.volumes.front().totalBytes, 0);
  EXPECT_EQ(world.statuses.size(), 2U);

  thresholds.internalCriticalFreeGB = 1'000'000'000;
  EXPECT_EQ(readWorld(thresholds).volumes.front().level, CapacityLevel::critical);
  thresholds.internalCriticalFreeGB = thresholds.internalWarnFreeGB = 0;
  EXPECT_EQ(readWorld(thresholds).volumes.front().level, CapacityLevel::ok);
}

TEST(UsageText, NamesWhatIsKnown) {
  Relocation image = FakeCore::relocation("Bilder");
  ImageCapacity capacity;
  capacity.usedBytes = 12'000'000'000;
  capacity.capacityBytes = 20'000'000'000;
  capacity.occupiedOnDrive = 13'000'000'000;
  EXPECT_EQ(usageText(image, capacity, true), "belegt 12 GB · max. 20 GB · auf dem Laufwerk 13 GB");
  capacity.usedBytes.reset();
  EXPECT_EQ(usageText(image, capacity, true), "max. 20 GB · auf dem Laufwerk 13 GB");
  capacity.capacityBytes.reset();
  EXPECT_EQ(usageText(image, capacity, false), "");
  EXPECT_EQ(usageText(FakeCore::relocation("Bilder", RelocationKind::symlink), capacity, true), "");
}

}  // namespace
}  // namespace fernwahrung
