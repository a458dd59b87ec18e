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
  EXPECT_EQ(quits->count(), 1);
  EXPECT_EQ(owned->errorMessage(), std::string(FernwahrungError::cancelled().what()));
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

}  // namespace
}  // namespace fernwahrung
