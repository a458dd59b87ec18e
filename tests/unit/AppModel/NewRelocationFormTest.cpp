#include "FernwahrungApp/Model/NewRelocationForm.h"
#include "ModelFixture.h"

#include "Foundation/Paths.h"

#include <QSignalSpy>
#include <atomic>

namespace fernwahrung {
namespace {

using List = std::vector<std::string>;

class NewRelocation : public ModelFixture {
 protected:
  /// The form on a model with these presets. The preflight answers `results` in turn, the last one for ever.
  NewRelocationForm& open(std::optional<std::string> source = {}, List apps = {}) {
    CoreCalls calls = core.calls();
    calls.preflight = [this](const RelocationPlan& plan) {
      mostAtOnce = std::max(mostAtOnce.load(), ++atOnce);
      preflightGate.pass();
      --atOnce;
      std::lock_guard guard(mutex);
      plans.push_back(plan);
      return results.at(std::min(plans.size(), results.size()) - 1);
    };
    owned.emplace(calls, questions, std::chrono::hours(1));
    EXPECT_TRUE(pumpUntil([this] { return owned->loaded(); }));
    owned->newRelocation(std::move(source), std::move(apps));
    return form.emplace(*owned);
  }
  /// With a folder and a target chosen.
  NewRelocationForm& openFilled() {
    open("/Users/anna/Bilder");
    questions.expect("Zielordner auf dem externen Laufwerk", "/Volumes/Platte");
    form->chooseStorage();
    return *form;
  }

  void check() {
    form->runCheck();
    EXPECT_TRUE(form->checking());
    EXPECT_TRUE(pumpUntil([this] { return !form->checking(); }));
  }
  static PreflightResult measured(std::int64_t allocatedBytes) {
    PreflightResult result;
    result.size.allocatedBytes = allocatedBytes;
    result.size.bytes = allocatedBytes;
    result.size.files = 3;
    return result;
  }
  static PreflightResult blocked(const std::string& blocker) {
    PreflightResult result;
    result.blockers = {blocker};
    return result;
  }
  void TearDown() override {
    preflightGate.open();
    form.reset();
    ModelFixture::TearDown();
  }

  std::optional<NewRelocationForm> form;
  std::vector<PreflightResult> results = {measured(1'000'000)};
  std::mutex mutex;
  std::vector<RelocationPlan> plans;
  FakeCore::Gate preflightGate;
  std::atomic<int> atOnce = 0;
  std::atomic<int> mostAtOnce = 0;
};

// --- Fields
// ------------------------------------------------------------------------------------------------------------

TEST_F(NewRelocation, StartsEmpty) {
  NewRelocationForm& fresh = open();
  EXPECT_EQ(fresh.source(), "");
  EXPECT_EQ(fresh.name(), "");
  EXPECT_EQ(fresh.kind(), RelocationKind::image);
  EXPECT_EQ(fresh.storage(), "/Volumes");
  EXPECT_EQ(fresh.sizeGB(), 20);
  EXPECT_TRUE(fresh.spotlight());
  EXPECT_EQ(fresh.apps(), List{});
  EXPECT_FALSE(fresh.check());
  EXPECT_FALSE(fresh.checking());
  EXPECT_FALSE(fresh.appClosedConfirmed());
  EXPECT_FALSE(fresh.canCheck());
  EXPECT_FALSE(fresh.canStart());
}

TEST_F(NewRelocation, TakesOverThePresets) {
  NewRelocationForm& preset =
      open("/Users/anna/Library/FreeCAD", {"/System/Volumes/Data/Applications/FreeCAD.app", "/usr/bin/tool"});
  EXPECT_EQ(preset.source(), "/Users/anna/Library/FreeCAD");
  EXPECT_EQ(preset.name(), "FreeCAD");
  EXPECT_EQ(preset.apps(), List{"/Applications/FreeCAD.app"});
}

TEST_F(NewRelocation, TheFolderIsAskedForInTheLibrary) {
  NewRelocationForm& fresh = open();
  questions.expect("Fernzuwahrenden Ordner wählen", "/Users/anna/Library/Thunderbird");
  fresh.chooseSource();
  EXPECT_EQ(questions.asked().back().text, Paths::homeDirectory() + "/Library");
  EXPECT_EQ(fresh.source(), "/Users/anna/Library/Thunderbird");
  EXPECT_EQ(fresh.name(), "Thunderbird");
}

TEST_F(NewRelocation, AChosenFolderLeavesANameThatIsThere) {
  NewRelocationForm& named = open();
  named.setName("Post");
  questions.expect("Fernzuwahrenden Ordner wählen", "/Users/anna/Library/Thunderbird");
  named.chooseSource();
  EXPECT_EQ(named.name(), "Post");
}

TEST_F(NewRelocation, AFolderOfASandboxedAppMakesItAnImage) {
  for (const char* path :
       {"/Users/anna/Library/Containers/com.foo", "/Users/anna/Library/Group Containers/foo"}) {
    NewRelocationForm& symlink = open();
    symlink.setKind(RelocationKind::symlink);
    questions.expect("Fernzuwahrenden Ordner wählen", path);
    symlink.chooseSource();
    EXPECT_EQ(symlink.kind(), RelocationKind::image) << path;
  }
}

TEST_F(NewRelocation, AnyOtherFolderLeavesTheKind) {
  for (const char* path :
       {"/Users/anna/Library/Containers", "/Users/anna/Library/ContainersX/y", "/Users/anna"}) {
    NewRelocationForm& symlink = open();
    symlink.setKind(RelocationKind::symlink);
    questions.expect("Fernzuwahrenden Ordner wählen", path);
    symlink.chooseSource();
    EXPECT_EQ(symlink.kind(), RelocationKind::symlink) << path;
  }
}

TEST_F(NewRelocation, TheUserMayStillWishALinkForASandboxedApp) {
  NewRelocationForm& preset = open("/Users/anna/Library/Containers/com.foo");
  preset.setKind(RelocationKind::symlink);
  EXPECT_EQ(preset.currentPlan().kind, RelocationKind::symlink);
}

TEST_F(NewRelocation, TheTargetIsAskedForAmongTheDrives) {
  NewRelocationForm& fresh = open();
  questions.expect("Zielordner auf dem externen Laufwerk", "/Volumes/Extern/Fernwahrung");
  fresh.chooseStorage();
  EXPECT_EQ(questions.asked().back().text, "/Volumes");
  EXPECT_EQ(fresh.storage(), "/Volumes/Extern/Fernwahrung");
}

TEST_F(NewRelocation, ACancelledChoiceChangesNothing) {
  NewRelocationForm& filled = openFilled();
  check();
  filled.setAppClosedConfirmed(true);
  QSignalSpy changes(&filled, &NewRelocationForm::changed);
  questions.expect("Fernzuwahrenden Ordner wählen", "");
  filled.chooseSource();
  questions.expect("Zielordner auf dem externen Laufwerk", "");
  filled.chooseStorage();
  EXPECT_EQ(changes.count(), 0);
  EXPECT_EQ(filled.source(), "/Users/anna/Bilder");
  EXPECT_EQ(filled.storage(), "/Volumes/Platte");
  EXPECT_TRUE(filled.canStart());
}

TEST_F(NewRelocation, ThePlanSaysWhatTheFieldsSay) {
  NewRelocationForm& filled = open("/Users/anna/Bilder", {"/Applications/Fotos.app"});
  filled.setName("Meine Bilder");
  filled.setSizeGB(75);
  filled.setSpotlight(false);
  RelocationPlan plan = filled.currentPlan();
  EXPECT_EQ(plan.name, "Meine Bilder");
  EXPECT_EQ(plan.kind, RelocationKind::image);
  EXPECT_EQ(plan.sourcePath, "/Users/anna/Bilder");
  EXPECT_EQ(plan.storageDirectory, "/Volumes");
  EXPECT_EQ(plan.imageSizeBytes, 75'000'000'000);
  EXPECT_EQ(plan.guardedAppPaths, List{"/Applications/Fotos.app"});
  EXPECT_FALSE(plan.spotlight);
}

// --- Check
// -------------------------------------------------------------------------------------------------------------

TEST_F(NewRelocation, ACheckNeedsAFolderATargetAndAName) {
  EXPECT_FALSE(open("/Users/anna/Bilder").canCheck());
  NewRelocationForm& filled = openFilled();
  EXPECT_TRUE(filled.canCheck());
  filled.setName("  ");
  EXPECT_FALSE(filled.canCheck());
  filled.runCheck();
  EXPECT_FALSE(filled.checking());
  EXPECT_TRUE(plans.empty());
}

TEST_F(NewRelocation, AFolderTooLargeForTheImageRaisesTheSize) {
  results = {measured(30'000'000'000)};
  NewRelocationForm& filled = openFilled();
  EXPECT_EQ(filled.sizeGB(), 20);
  check();
  EXPECT_EQ(filled.sizeGB(), 60);
  EXPECT_TRUE(filled.check()) << "the raised size belongs to this very check";
  ASSERT_EQ(plans.size(), 2U);
  EXPECT_EQ(plans[0].imageSizeBytes, 20'000'000'000);
  EXPECT_EQ(plans[1].imageSizeBytes, 60'000'000'000);
  EXPECT_EQ(filled.currentPlan().imageSizeBytes, 60'000'000'000);
}

TEST_F(NewRelocation, TheResultOfTheSecondPreflightCounts) {
  PreflightResult tooSmall = measured(30'000'000'000);
  tooSmall.blockers = {"Die virtuelle Festplatte ist zu klein. Mindestens 34 GB."};
  results = {tooSmall, measured(30'000'000'000)};
  NewRelocationForm& filled = openFilled();
  check();
  EXPECT_EQ(filled.check()->blockers, List{});
}

TEST_F(NewRelocation, ThereIsNoThirdPreflight) {
  results = {measured(30'000'000'000), measured(300'000'000'000)};
  NewRelocationForm& filled = openFilled();
  check();
  EXPECT_EQ(plans.size(), 2U);
  EXPECT_EQ(filled.sizeGB(), 60);
}

TEST_F(NewRelocation, ASizeThatJustSufficesStays) {
  results = {measured(10'000'000'000)};
  NewRelocationForm& filled = openFilled();
  filled.setSizeGB(12);
  check();
  EXPECT_EQ(filled.sizeGB(), 12);
  filled.setSizeGB(11);
  check();
  EXPECT_EQ(filled.sizeGB(), 30);
}

TEST_F(NewRelocation, AnUnmeasuredFolderRaisesNothing) {
  results = {blocked("Das ist kein Ordner.")};
  NewRelocationForm& filled = openFilled();
  filled.setSizeGB(1);
  check();
  EXPECT_EQ(filled.sizeGB(), 1);
  EXPECT_EQ(plans.size(), 1U);
}

TEST_F(NewRelocation, ALinkHasNoSizeToRaise) {
  results = {measured(30'000'000'000)};
  NewRelocationForm& filled = openFilled();
  filled.setKind(RelocationKind::symlink);
  check();
  EXPECT_EQ(filled.sizeGB(), 20);
  EXPECT_EQ(plans.size(), 1U);
}

TEST_F(NewRelocation, EveryChangeOfAFieldTakesTheResultBack) {
  NewRelocationForm& filled = openFilled();
  const std::vector<std::function<void()>> changes = {
      [&] { filled.setName("anders"); },
      [&] { filled.setKind(RelocationKind::symlink); },
      [&] { filled.setSizeGB(99); },
      [&] { filled.setSpotlight(false); },
      [&] { filled.setApps({"/Applications/Foo.app"}); },
      [&] {
        questions.expect("Fernzuwahrenden Ordner wählen", "/Users/anna/Musik");
        filled.chooseSource();
      },
      [&] {
        questions.expect("Zielordner auf dem externen Laufwerk", "/Volumes/Extern");
        filled.chooseStorage();
      }};
  for (const auto& change : changes) {
    check();
    filled.setAppClosedConfirmed(true);
    ASSERT_TRUE(filled.canStart());
    change();
    EXPECT_FALSE(filled.check());
    EXPECT_FALSE(filled.appClosedConfirmed());
    EXPECT_FALSE(filled.canStart());
  }
}

TEST_F(NewRelocation, AFieldSetToWhatItIsChangesNothing) {
  NewRelocationForm& filled = openFilled();
  check();
  QSignalSpy changes(&filled, &NewRelocationForm::changed);
  filled.setName("Bilder");
  filled.setSizeGB(20);
  EXPECT_TRUE(filled.check());
  EXPECT_EQ(changes.count(), 0);
}

TEST_F(NewRelocation, AResultThatComesAfterAChangeIsDropped) {
  results = {measured(30'000'000'000)};
  NewRelocationForm& filled = openFilled();
  preflightGate.close();
  filled.runCheck();
  filled.setName("anders");
  EXPECT_FALSE(filled.checking());
  preflightGate.open();
  settle();
  EXPECT_FALSE(filled.check());
  EXPECT_EQ(filled.sizeGB(), 20);
}

TEST_F(NewRelocation, AnOldResultIsNotTakenForTheNewOne) {
  results = {blocked("alt"), measured(1)};
  NewRelocationForm& filled = openFilled();
  preflightGate.close();
  filled.runCheck();
  filled.setName("anders");
  filled.runCheck();
  EXPECT_TRUE(filled.checking());
  preflightGate.open();
  ASSERT_TRUE(pumpUntil([&] { return !filled.checking(); }));
  settle();
  ASSERT_EQ(plans.size(), 2U);
  EXPECT_EQ(plans[0].name, "Bilder");
  EXPECT_EQ(plans[1].name, "anders");
  EXPECT_EQ(filled.check()->blockers, List{});
}

TEST_F(NewRelocation, HoweverOftenAFieldChangesOnlyOneCheckWalks) {
  NewRelocationForm& filled = openFilled();
  preflightGate.close();
  for (const char* name : {"eins", "zwei", "drei", "vier"}) {
    filled.setName(name);
    filled.runCheck();
    EXPECT_TRUE(pumpUntil([this] { return atOnce > 0; }));
  }
  preflightGate.open();
  ASSERT_TRUE(pumpUntil([&] { return !filled.checking(); }));
  settle();
  EXPECT_EQ(mostAtOnce, 1);
  ASSERT_EQ(plans.size(), 2U);
  EXPECT_EQ(plans[1].name, "vier");
}

TEST_F(NewRelocation, AResultStaysOnShowWhileItIsCheckedAnew) {
  results = {blocked("Fotos läuft noch – bitte beenden."), measured(1)};
  NewRelocationForm& filled = openFilled();
  check();
  preflightGate.close();
  filled.runCheck();
  ASSERT_TRUE(filled.check());
  EXPECT_EQ(filled.check()->blockers.size(), 1U);
  preflightGate.open();
  ASSERT_TRUE(pumpUntil([&] { return !filled.checking(); }));
  EXPECT_EQ(filled.check()->blockers, List{});
}

TEST_F(NewRelocation, WhatMayHaveChangedDuringACheckIsLookedAtOnceMore) {
  results = {blocked("Fotos läuft noch – bitte beenden."), measured(1)};
  NewRelocationForm& filled = openFilled();
  preflightGate.close();
  filled.runCheck();
  filled.checkAgain();
  filled.checkAgain();
  preflightGate.open();
  ASSERT_TRUE(pumpUntil([&] { return !filled.checking(); }));
  settle();
  EXPECT_EQ(filled.check()->blockers, List{});
  EXPECT_EQ(plans.size(), 2U);
}

TEST_F(NewRelocation, AChangedFieldCallsForNoSecondLook) {
  NewRelocationForm& filled = openFilled();
  preflightGate.close();
  filled.runCheck();
  filled.checkAgain();
  filled.setName("anders");
  preflightGate.open();
  settle();
  EXPECT_EQ(plans.size(), 1U);
  EXPECT_FALSE(filled.check());
}

TEST_F(NewRelocation, AFormThatGoesDuringACheckIsMissedByNobody) {
  openFilled();
  preflightGate.close();
  form->runCheck();
  form.reset();
  preflightGate.open();
  settle();
  EXPECT_EQ(plans.size(), 1U);
}

// --- Start
// -------------------------------------------------------------------------------------------------------------

TEST_F(NewRelocation, StartsWhatWasChecked) {
  NewRelocationForm& filled = openFilled();
  check();
  EXPECT_FALSE(filled.canStart());
  filled.setAppClosedConfirmed(true);
  ASSERT_TRUE(filled.canStart());
  EXPECT_TRUE(filled.start());
  EXPECT_EQ(owned->busyTitle(), "Fernwahren");
  ASSERT_TRUE(untilIdle());
  EXPECT_EQ(count("relocate /Users/anna/Bilder"), 1U);
}

TEST_F(NewRelocation, StartsNothingUncheckedUnconfirmedOrBlocked) {
  results = {blocked("Das ist kein Ordner.")};
  NewRelocationForm& filled = openFilled();
  filled.setAppClosedConfirmed(true);
  EXPECT_FALSE(filled.start());
  check();
  EXPECT_FALSE(filled.appClosedConfirmed());
  filled.setAppClosedConfirmed(true);
  EXPECT_FALSE(filled.start());
  EXPECT_EQ(owned->busyTitle(), std::nullopt);
}

TEST_F(NewRelocation, WarningsForbidNothing) {
  results = {measured(1)};
  results[0].warnings = {"Das Ziel liegt auf derselben Festplatte – dadurch wird kein Platz frei."};
  NewRelocationForm& filled = openFilled();
  check();
  filled.setAppClosedConfirmed(true);
  EXPECT_TRUE(filled.canStart());
}

TEST_F(NewRelocation, WaitsForAnotherOperation) {
  NewRelocationForm& filled = openFilled();
  check();
  filled.setAppClosedConfirmed(true);
  FakeCore::Gate gate;
  gate.close();
  core.operation = [&](OperationContext&) { gate.pass(); };
  QSignalSpy changes(&filled, &NewRelocationForm::changed);
  owned->mount(FakeCore::relocation("Musik"));
  EXPECT_EQ(changes.count(), 1);
  EXPECT_FALSE(filled.canStart());
  EXPECT_FALSE(filled.canCheck());
  EXPECT_FALSE(filled.start());
  gate.open();
  ASSERT_TRUE(untilIdle());
  EXPECT_TRUE(filled.canStart());
}

}  // namespace
}  // namespace fernwahrung
