#include "FernwahrungApp/Model/BlockerRecheck.h"
#include "FernwahrungApp/Model/BlockerTermination.h"
#include "FernwahrungApp/Model/CheckFindings.h"
#include "FernwahrungApp/Model/GuardedApps.h"
#include "ModelFixture.h"

#include <QSignalSpy>

namespace fernwahrung {
namespace {

using List = std::vector<std::string>;
using namespace std::chrono_literals;

ProcessDescription process(const std::string& name, ProcessDescription::Kind kind) {
  ProcessDescription process;
  process.pid = 4711;
  process.displayName = name;
  process.technicalName = name;
  process.kind = kind;
  process.openFileCount = 1;
  return process;
}

// --- The automatic re-check
// --------------------------------------------------------------------------------------------

class Recheck : public testing::Test {
 protected:
  void untilExhausted() {
    ASSERT_TRUE(pumpUntil([this] { return recheck.exhausted(); }));
  }
  /// Many of its intervals pass.
  void letTimePass() {
    QTimer other;
    QSignalSpy ticks(&other, &QTimer::timeout);
    other.start(1ms);
    ASSERT_TRUE(pumpUntil([&] { return ticks.count() >= 50; }));
  }
  BlockerRecheck recheck{1ms};
  QSignalSpy attempts{&recheck, &BlockerRecheck::recheck};
};

TEST_F(Recheck, EndsAfterTwentyFourAttempts) {
  recheck.setWatched(true);
  untilExhausted();
  letTimePass();
  EXPECT_EQ(attempts.count(), 24);
}

TEST_F(Recheck, DoesNothingUnwatched) {
  letTimePass();
  EXPECT_EQ(attempts.count(), 0);
  recheck.setWatched(true);
  recheck.setWatched(false);
  letTimePass();
  EXPECT_EQ(attempts.count(), 0);
}

TEST_F(Recheck, CountsOnWhenItIsWatchedAgain) {
  recheck.setWatched(true);
  ASSERT_TRUE(pumpUntil([this] { return attempts.count() >= 10; }));
  recheck.setWatched(false);
  recheck.setWatched(true);
  untilExhausted();
  EXPECT_EQ(attempts.count(), 24);
}

TEST_F(Recheck, LeavesOutWhatFallsDueWhileBusy) {
  recheck.setBusy(true);
  recheck.setWatched(true);
  letTimePass();
  EXPECT_EQ(attempts.count(), 0);
  recheck.setBusy(false);
  untilExhausted();
  EXPECT_EQ(attempts.count(), 24);
}

TEST_F(Recheck, BeginsAnewOnceForgotten) {
  recheck.setWatched(true);
  untilExhausted();
  recheck.forget();
  EXPECT_FALSE(recheck.exhausted());
  untilExhausted();
  EXPECT_EQ(attempts.count(), 48);
}

TEST(BlockerRecheck, WaitsFiveSecondsUnlessToldOtherwise) {
  BlockerRecheck recheck;
  recheck.setWatched(true);
  ASSERT_NE(recheck.findChild<QTimer*>(), nullptr);
  EXPECT_EQ(recheck.findChild<QTimer*>()->intervalAsDuration(), 5s);
}

// --- Termination
// -------------------------------------------------------------------------------------------------------

class Termination : public ModelFixture {
 protected:
  void confirm(const ProcessDescription& which) {
    BlockerTermination::confirm(
        *owned, which, owner.get(), [this] { ++followed; }, 1ms);
  }
  std::unique_ptr<QObject> owner = std::make_unique<QObject>();
  int followed = 0;
};

TEST_F(Termination, AsksThenRequestsThenChecksAgain) {
  start();
  questions.expect("„Fotos“ beenden?", "Beenden");
  ProcessDescription fotos = process("Fotos", ProcessDescription::Kind::app());
  confirm(fotos);
  ASSERT_TRUE(pumpUntil([this] { return followed == 1; }));
  EXPECT_EQ(count("requestTermination 4711"), 1U);
  EXPECT_EQ(questions.asked().front(),
            (Question{"„Fotos“ beenden?",
                      ProcessDescriber::message(fotos) +
                          "\n\n"
                          "Das Programm wird höflich zum Beenden aufgefordert, nicht erzwungen. "
                          "Nicht gespeicherte Arbeit darin kann verloren gehen.",
                      {"Beenden", "Abbrechen"}}));
}

TEST_F(Termination, SaysThatAServiceComesBack) {
  start();
  questions.expect("„Indexer“ beenden?", "Abbrechen");
  confirm(process("Indexer", ProcessDescription::Kind::service("Foo")));
  EXPECT_TRUE(
      questions.asked().front().text.ends_with("kann verloren gehen. macOS startet ihn bei Bedarf neu."));
}

TEST_F(Termination, DoesNothingWithoutAYes) {
  start();
  questions.expect("„Fotos“ beenden?", "Abbrechen");
  confirm(process("Fotos", ProcessDescription::Kind::app()));
  settle();
  EXPECT_EQ(count("requestTermination 4711"), 0U);
  EXPECT_EQ(followed, 0);
}

TEST_F(Termination, AnOwnerThatGoesMeanwhileIsNotToldAnything) {
  start();
  questions.expect("„Fotos“ beenden?", "Beenden");
  confirm(process("Fotos", ProcessDescription::Kind::app()));
  owner.reset();
  settle();
  EXPECT_EQ(count("requestTermination 4711"), 1U);
  EXPECT_EQ(followed, 0);
}

TEST(BlockerTermination, GivesAProcessOneAndAHalfSeconds) {
  EXPECT_EQ(BlockerTermination::grace, 1500ms);
}

// --- Findings
// ----------------------------------------------------------------------------------------------------------

TEST(CheckFindings, ABlockerOfAListedProcessIsNotAnotherOne) {
  PreflightResult result;
  result.processes = {process("Fotos", ProcessDescription::Kind::app())};
  result.blockers = {"Das ist kein Ordner.", ProcessDescriber::message(result.processes[0]),
                     "Fotos.app läuft noch – bitte beenden."};
  EXPECT_EQ(CheckFindings::otherBlockers(result),
            (List{"Das ist kein Ordner.", "Fotos.app läuft noch – bitte beenden."}));
  EXPECT_FALSE(CheckFindings::hasSystemService(result));
  result.processes[0].isBackgroundService = true;
  EXPECT_TRUE(CheckFindings::hasSystemService(result));
}

TEST(CheckFindings, TheSizeIsSaidWhereItWasMeasured) {
  PreflightResult result;
  EXPECT_EQ(CheckFindings::sizeText(result), "0 Dateien, Null KB");
  result.size.files = 1234;
  result.size.bytes = 12'300'000;
  EXPECT_EQ(CheckFindings::sizeText(result), "1234 Dateien, 12,3 MB");
  result.blockers = {"Zu wenig Platz am Ziel: nötig ca. 2 GB, frei 1 GB."};
  EXPECT_EQ(CheckFindings::sizeText(result), "1234 Dateien, 12,3 MB");
  result.size = {};
  EXPECT_EQ(CheckFindings::sizeText(result), "");
}

// --- Applications
// ------------------------------------------------------------------------------------------------------

TEST(GuardedApps, AnApplicationGivenTwiceStaysOnce) {
  ScriptedQuestions questions;
  List apps = {"/Applications/Foo.app"};
  questions.expect("Zugehörige App wählen", "/Applications/Bar.app");
  apps = GuardedApps::withAnother(questions, apps);
  EXPECT_EQ(apps, (List{"/Applications/Foo.app", "/Applications/Bar.app"}));
  for (const char* again :
       {"/Applications/Foo.app", "/Applications/Bar.app/", "/System/Volumes/Data/Applications/Foo.app"}) {
    questions.expect("Zugehörige App wählen", again);
    EXPECT_EQ(GuardedApps::withAnother(questions, apps), apps) << again;
  }
}

TEST(GuardedApps, ACancelledChoiceAddsNothing) {
  ScriptedQuestions questions;
  questions.expect("Zugehörige App wählen", "");
  EXPECT_EQ(GuardedApps::withAnother(questions, {"/Applications/Foo.app"}), List{"/Applications/Foo.app"});
}

}  // namespace
}  // namespace fernwahrung
