#include "FernwahrungApp/Model/QuitGuard.h"
#include "ModelFixture.h"

#include <QSignalSpy>

namespace fernwahrung {
namespace {

class Quitting : public ModelFixture {
 protected:
  void SetUp() override {
    start();
    guard.emplace(*owned);
    quits.emplace(&*guard, &QuitGuard::quitNow);
    gate.close();
    core.operation = [this](OperationContext& context) {
      gate.pass();
      context.checkCancelled();
    };
  }
  void TearDown() override {
    gate.open();
    settle();
    guard.reset();
    ModelFixture::TearDown();
  }

  FakeCore::Gate gate;
  std::optional<QuitGuard> guard;
  std::optional<QSignalSpy> quits;
  Relocation images = FakeCore::relocation("Bilder");
};

TEST_F(Quitting, IsFreeWhileNothingRuns) {
  EXPECT_TRUE(guard->mayQuit());
}

TEST_F(Quitting, LetsAnOperationGoOn) {
  owned->restore(images);
  questions.expect("„Zurückholen“ läuft noch", "Weiterlaufen lassen");
  EXPECT_FALSE(guard->mayQuit());
  gate.open();
  ASSERT_TRUE(untilIdle());
  EXPECT_EQ(quits->count(), 0);
  EXPECT_EQ(owned->errorMessage(), std::nullopt);
}

TEST_F(Quitting, CancelsAndFollowsOnceAllIsTakenBack) {
  owned->restore(images);
  questions.expect("„Zurückholen“ läuft noch", "Abbrechen und beenden");
  EXPECT_FALSE(guard->mayQuit());
  pumpOnce();
  EXPECT_EQ(quits->count(), 0);
  gate.open();
  ASSERT_TRUE(untilIdle());
  EXPECT_EQ(owned->errorMessage(), std::string(FernwahrungError::cancelled().what()));
  EXPECT_EQ(quits->count(), 0) << "the user is still to read it";
  owned->dismissError();
  pumpOnce();
  EXPECT_EQ(quits->count(), 1);
}

TEST_F(Quitting, AwaitsWhatCannotBeCancelled) {
  owned->mount(images);
  questions.expect("„Einhängen“ läuft noch", "Danach beenden");
  EXPECT_FALSE(guard->mayQuit());
  gate.open();
  ASSERT_TRUE(untilIdle());
  EXPECT_EQ(quits->count(), 1);
  EXPECT_EQ(owned->errorMessage(), std::nullopt);
}

TEST_F(Quitting, SaysWhatBecomesOfTheOperation) {
  questions.expect("„Zurückholen“ läuft noch", "Weiterlaufen lassen");
  owned->restore(images);
  guard->mayQuit();
  EXPECT_EQ(
      questions.asked().back(),
      (Question{
          "„Zurückholen“ läuft noch",
          "Der Vorgang kann weiterlaufen, oder er wird abgebrochen und alles so wiederhergestellt, wie es war. "
          "Danach wird Fernwahrung beendet.",
          {"Abbrechen und beenden", "Weiterlaufen lassen"},
          1}));
  gate.open();
  ASSERT_TRUE(untilIdle());
  gate.close();
  questions.expect("„Einhängen“ läuft noch", "Weiterlaufen lassen");
  owned->mount(images);
  guard->mayQuit();
  EXPECT_EQ(
      questions.asked().back(),
      (Question{
          "„Einhängen“ läuft noch",
          "Dieser Vorgang lässt sich nicht abbrechen. Fernwahrung kann beendet werden, sobald er fertig ist.",
          {"Danach beenden", "Weiterlaufen lassen"},
          1}));
}

TEST_F(Quitting, AsksOnceAtATime) {
  owned->restore(images);
  questions.expect("„Zurückholen“ läuft noch", "Weiterlaufen lassen",
                   [this] { EXPECT_FALSE(guard->mayQuit()); });
  EXPECT_FALSE(guard->mayQuit());
  EXPECT_EQ(questions.asked().size(), 1U);
}

TEST_F(Quitting, FollowsAtOnceWhenTheOperationEndedWhileTheQuestionStood) {
  owned->mount(images);
  questions.expect("„Einhängen“ läuft noch", "Danach beenden", [this] {
    gate.open();
    ASSERT_TRUE(untilIdle());
  });
  guard->mayQuit();
  pumpOnce();
  EXPECT_EQ(quits->count(), 1);
}

TEST_F(Quitting, StillShowsWhatWentWrongWhileTheQuestionStood) {
  core.operation = [this](OperationContext&) {
    gate.pass();
    throw FernwahrungError::message("Kaputt.");
  };
  owned->restore(images);
  questions.expect("„Zurückholen“ läuft noch", "Abbrechen und beenden", [this] {
    gate.open();
    ASSERT_TRUE(untilIdle());
  });
  EXPECT_FALSE(guard->mayQuit());
  pumpOnce();
  EXPECT_EQ(quits->count(), 0);
  owned->dismissError();
  pumpOnce();
  EXPECT_EQ(quits->count(), 1);
}

TEST_F(Quitting, AWishMayBeTakenBack) {
  owned->mount(images);
  questions.expect("„Einhängen“ läuft noch", "Danach beenden");
  guard->mayQuit();
  questions.expect("„Einhängen“ läuft noch", "Weiterlaufen lassen");
  guard->mayQuit();
  gate.open();
  ASSERT_TRUE(untilIdle());
  EXPECT_EQ(quits->count(), 0);
}

TEST_F(Quitting, AnEndFromOutsideCancelsWhatCanBeAndWaitsForNoReader) {
  owned->restore(images);
  guard->quitWithoutAsking();
  EXPECT_EQ(quits->count(), 0);
  gate.open();
  ASSERT_TRUE(untilIdle());
  EXPECT_EQ(owned->errorMessage(), std::string(FernwahrungError::cancelled().what()));
  EXPECT_EQ(quits->count(), 1);
}

TEST_F(Quitting, AnEndFromOutsideIsNotTakenBackByAnAnswer) {
  owned->mount(images);
  questions.expect("„Einhängen“ läuft noch", "Weiterlaufen lassen", [this] { guard->quitWithoutAsking(); });
  guard->mayQuit();
  gate.open();
  ASSERT_TRUE(untilIdle());
  EXPECT_EQ(quits->count(), 1);
}

TEST_F(Quitting, AnEndFromOutsideFollowsAtOnceWhileNothingRuns) {
  guard->quitWithoutAsking();
  EXPECT_EQ(quits->count(), 1);
}

}  // namespace
}  // namespace fernwahrung
