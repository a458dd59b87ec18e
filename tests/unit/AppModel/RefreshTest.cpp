#include "ModelFixture.h"
#include "support/Files.h"

#include "Foundation/ByteFormat.h"
#include "Foundation/Paths.h"
#include "Records/AtomicWrite.h"
#include "Records/RegistryStore.h"

#include <QSignalSpy>

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

TEST_F(Refresh, AResultThatComesAfterTheModelsEndMeetsNobody) {
  core.reading.close();
  create();
  pumpOnce();
  owned.reset();
  core.reading.open();
  settle();
  SUCCEED();
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
