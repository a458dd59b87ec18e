#include "FernwahrungApp/Platform/EndSignals.h"
#include "support/EventLoop.h"

#include <QSignalSpy>
#include <csignal>
#include <gtest/gtest.h>

namespace fernwahrung {
namespace {

using Handler = void (*)(int);

Handler handlerOf(int signal) {
  struct sigaction action = {};
  ::sigaction(signal, nullptr, &action);
  return action.sa_handler;
}

TEST(EndSignalsTest, EachSignalBecomesAnEvent) {
  EndSignals end;
  QSignalSpy asked(&end, &EndSignals::asked);
  int expected = 0;
  for (int signal : {SIGTERM, SIGINT, SIGHUP}) {
    ::raise(signal);
    EXPECT_EQ(asked.count(), expected) << "not inside the handler";
    EXPECT_TRUE(pumpUntil([&] { return asked.count() == expected + 1; }));
    ++expected;
  }
}

TEST(EndSignalsTest, ManySignalsAtOnceDoNoHarm) {
  EndSignals end;
  QSignalSpy asked(&end, &EndSignals::asked);
  for (int i = 0; i < 200'000; ++i) ::raise(SIGTERM);
  EXPECT_TRUE(pumpUntil([&] { return asked.count() > 0; }));
}

TEST(EndSignalsTest, LeavesEverythingAsItWas) {
  const Handler before = handlerOf(SIGTERM);
  {
    EndSignals end;
    EXPECT_NE(handlerOf(SIGTERM), before);
  }
  EXPECT_EQ(handlerOf(SIGTERM), before);
}

TEST(EndSignalsTest, AnIgnoredHangUpStaysIgnored) {
  const Handler before = std::signal(SIGHUP, SIG_IGN);
  {
    EndSignals end;
    QSignalSpy asked(&end, &EndSignals::asked);
    ::raise(SIGHUP);
    pumpOnce();
    EXPECT_EQ(asked.count(), 0);
  }
  EXPECT_EQ(handlerOf(SIGHUP), SIG_IGN);
  std::signal(SIGHUP, before);
}

}  // namespace
}  // namespace fernwahrung
