#include "Foundation/Clock.h"

#include <chrono>
#include <gtest/gtest.h>
#include <vector>

namespace fernwahrung {
namespace {

TEST(Clock, nowIsTheSystemsTime) {
  const auto before = std::chrono::system_clock::now() - std::chrono::milliseconds(1);
  const auto now = Clock::now();
  EXPECT_GE(now, before);
  EXPECT_LE(now, std::chrono::system_clock::now());
}

TEST(Clock, sleepWaitsAtLeastThatLong) {
  const auto before = std::chrono::steady_clock::now();
  Clock::sleep(0.02);
  EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(20));
}

TEST(Clock, noTimeToSleepIsNoSleep) {
  Clock::sleep(0);
  Clock::sleep(-1e9);
  SUCCEED() << "returned";
}

TEST(Clock, overrideReplacesBothUntilItDies) {
  std::vector<double> slept;
  auto time = Dates::fromUnixSeconds(1000);
  {
    const Clock::Override clock([&time] { return time; },
                                [&](double seconds) {
                                  slept.push_back(seconds);
                                  time += std::chrono::seconds(static_cast<int>(seconds));
                                });
    EXPECT_EQ(Clock::now(), Dates::fromUnixSeconds(1000));
    Clock::sleep(7200);
    EXPECT_EQ(Clock::now(), Dates::fromUnixSeconds(8200));
  }
  EXPECT_EQ(slept, std::vector<double>{7200});
  EXPECT_GT(Clock::now(), Dates::fromUnixSeconds(1'600'000'000));
}

TEST(Clock, overridesNest) {
  const Clock::Override outer([] { return Dates::fromUnixSeconds(1); }, [](double) {});
  {
    const Clock::Override inner([] { return Dates::fromUnixSeconds(2); }, [](double) {});
    EXPECT_EQ(Clock::now(), Dates::fromUnixSeconds(2));
  }
  EXPECT_EQ(Clock::now(), Dates::fromUnixSeconds(1));
}

}  // namespace
}  // namespace fernwahrung
