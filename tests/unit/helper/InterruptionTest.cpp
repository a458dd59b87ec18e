#include "helper/Interruption.h"
#include "support/Eventually.h"

#include <array>
#include <atomic>
#include <csignal>
#include <gtest/gtest.h>
#include <unistd.h>

namespace fernwahrung {
namespace {

constexpr std::array<int, 3> watched{SIGINT, SIGTERM, SIGHUP};

/// Each test ends with the default handling, whatever it left.
class InterruptionTest : public testing::Test {
 protected:
  InterruptionTest() { reset(); }
  ~InterruptionTest() override { reset(); }
  static void reset() {
    for (const int signal : watched) std::signal(signal, SIG_DFL);
  }
  static auto handling(int signal) {
    struct sigaction action = {};
    ::sigaction(signal, nullptr, &action);
    return action.sa_handler;
  }

  std::atomic<int> wishes_ = 0;
};

TEST_F(InterruptionTest, EachOfTheSignalsIsAWish) {
  for (const int signal : watched) {
    wishes_ = 0;
    reset();
    const Interruption interruption([this] { ++wishes_; });
    ::kill(::getpid(), signal);
    EXPECT_TRUE(eventually([this] { return wishes_ == 1; })) << signal;
  }
}

TEST_F(InterruptionTest, ASecondSignalChangesNothing) {
  {
    const Interruption interruption([this] { ++wishes_; });
    for (int i = 0; i < 20; ++i) ::kill(::getpid(), watched[static_cast<std::size_t>(i) % 3]);
  }
  EXPECT_EQ(wishes_, 1);
}

TEST_F(InterruptionTest, ASignalRightBeforeTheEndIsNotLost) {
  {
    const Interruption interruption([this] { ++wishes_; });
    ::kill(::getpid(), SIGTERM);
  }
  EXPECT_EQ(wishes_, 1);
}

TEST_F(InterruptionTest, AfterOneTheSignalsAreIgnoredForGood) {
  {
    const Interruption interruption([this] { ++wishes_; });
    ::kill(::getpid(), SIGINT);
  }
  for (const int signal : watched) {
    EXPECT_EQ(handling(signal), SIG_IGN);
    ::kill(::getpid(), signal);  // would end the test
  }
}

TEST_F(InterruptionTest, WithoutOneTheOldHandlingReturns) {
  {
    const Interruption interruption([this] { ++wishes_; });
  }
  for (const int signal : watched) EXPECT_EQ(handling(signal), SIG_DFL);
  EXPECT_EQ(wishes_, 0);
}

TEST_F(InterruptionTest, UnderNohupAClosedTerminalStaysIgnored) {
  std::signal(SIGHUP, SIG_IGN);
  {
    const Interruption interruption([this] { ++wishes_; });
    ::kill(::getpid(), SIGHUP);
  }
  EXPECT_EQ(wishes_, 0);
  EXPECT_EQ(handling(SIGHUP), SIG_IGN);
}

TEST_F(InterruptionTest, AnIgnoredSIGINTCountsAllTheSame) {
  // As a shell starts what it puts in the background.
  std::signal(SIGINT, SIG_IGN);
  {
    const Interruption interruption([this] { ++wishes_; });
    ::kill(::getpid(), SIGINT);
  }
  EXPECT_EQ(wishes_, 1);
}

TEST_F(InterruptionTest, OneAfterTheOther) {
  for (int i = 0; i < 3; ++i) {
    const Interruption interruption([this] { ++wishes_; });
    ::kill(::getpid(), SIGINT);
  }
  EXPECT_EQ(wishes_, 3);
}

}  // namespace
}  // namespace fernwahrung
