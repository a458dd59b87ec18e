#include "FernwahrungApp/Model/Background.h"
#include "support/EventLoop.h"
#include "support/FakeCore.h"

#include <atomic>
#include <gtest/gtest.h>
#include <thread>

namespace fernwahrung {
namespace {

TEST(Background, ABroughtResultIsNotOvertakenByTheEndOfItsMailbox) {
  QObject owner;
  int brought = 0;
  Background::start(
      &owner, [] { return 7; }, [&](int result) { brought = result; });
  Background::waitForDone();
  // As Qt's waiting in tests does it: deletions alone.
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  pumpOnce();
  EXPECT_EQ(brought, 7);
}

TEST(Background, AResultWhoseOwnerHasGoneMeetsNobody) {
  auto owner = std::make_unique<QObject>();
  int brought = 0;
  FakeCore::Gate gate;
  gate.close();
  auto work = [&gate] {
    gate.pass();
    return 7;
  };
  Background::start(owner.get(), work, [&](int) { ++brought; });
  QObject stays;
  bool other = false;
  Background::start(&stays, work, [&](int) { other = true; });
  owner.reset();
  gate.open();
  ASSERT_TRUE(pumpUntil([&] { return other; }));
  Background::waitForDone();
  pumpOnce();
  EXPECT_EQ(brought, 0);
}

/// Counts how often it was copied.
struct Counted {
  explicit Counted(int* copies) : copies_(copies) {}
  Counted(const Counted& other) : copies_(other.copies_) { ++*copies_; }
  Counted(Counted&&) = default;
  int* copies_;
};

TEST(Background, AResultIsHandedOverAndNotCopied) {
  QObject owner;
  int copies = 0;
  bool brought = false;
  Background::start(
      &owner, [&copies] { return Counted(&copies); }, [&](Counted) { brought = true; });
  ASSERT_TRUE(pumpUntil([&] { return brought; }));
  EXPECT_EQ(copies, 0);
}

TEST(Background, AnOperationWaitsForNoRead) {
  QObject owner;
  FakeCore::Gate gate;
  gate.close();
  for (int i = 0; i < 100; ++i) Background::start([&gate] { gate.pass(); });
  bool ended = false;
  Background::start(
      &owner, [] { return 0; }, [&](int) { ended = true; }, Background::Lane::operation);
  EXPECT_TRUE(pumpUntil([&] { return ended; }));
  gate.open();
  Background::waitForDone();
}

TEST(Background, AtTheEndWhatHangsIsLeftAndWhatHasNotBegunIsDropped) {
  FakeCore::Gate gate;
  gate.close();
  std::atomic<int> begun = 0;
  for (int i = 0; i < 100; ++i) {
    Background::start([&] {
      ++begun;
      gate.pass();
    });
  }
  EXPECT_FALSE(Background::endWithin(std::chrono::milliseconds(1)));
  gate.open();
  EXPECT_TRUE(Background::endWithin(std::chrono::minutes(1)));
  EXPECT_LT(begun, 100);
}

TEST(Background, AtTheEndAnOperationIsAwaitedForAsLongAsItTakes) {
  std::atomic<bool> ended = false;
  Background::start(
      [&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        ended = true;
      },
      Background::Lane::operation);
  EXPECT_TRUE(Background::endWithin(std::chrono::milliseconds(1)));
  EXPECT_TRUE(ended);
}

}  // namespace
}  // namespace fernwahrung
