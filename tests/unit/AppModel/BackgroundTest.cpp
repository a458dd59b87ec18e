#include "FernwahrungApp/Model/Background.h"
#include "support/EventLoop.h"

#include <gtest/gtest.h>

namespace fernwahrung {
namespace {

TEST(Background, ABroughtResultIsNotOvertakenByTheEndOfItsMailbox) {
  QObject owner;
  int brought = 0;
  Background::start(
      &owner, [] { return 7; }, [&](int result) { brought = result; });
  Background::pool().waitForDone();
  // As Qt's waiting in tests does it: deletions alone.
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  pumpOnce();
  EXPECT_EQ(brought, 7);
}

}  // namespace
}  // namespace fernwahrung
