#include "FernwahrungApp/Model/TimeLeft.h"

#include <gtest/gtest.h>

namespace fernwahrung {
namespace {

/// The text after a step that went from `from` to `to` in `seconds`.
std::string after(double from, double to, double seconds) {
  TimeLeft left;
  left.advance(from, Dates::fromUnixSeconds(1000));
  left.advance(to, Dates::fromUnixSeconds(1000 + seconds));
  return left.text();
}

TEST(TimeLeft, IsUnknownAtFirst) {
  EXPECT_EQ(TimeLeft().text(), "");
  EXPECT_EQ(after(0, 0.5, 3), "");
  EXPECT_EQ(after(0, 0.01, 100), "");
}

TEST(TimeLeft, IsRough) {
  EXPECT_EQ(after(0, 0.9, 9), "noch wenige Sekunden");
  EXPECT_EQ(after(0, 0.5, 31), "noch etwa 40 Sekunden");
  EXPECT_EQ(after(0, 0.5, 50), "noch etwa 50 Sekunden");
  EXPECT_EQ(after(0, 0.5, 51), "noch etwa 1 Minute");
  EXPECT_EQ(after(0, 0.5, 60), "noch etwa 1 Minute");
  EXPECT_EQ(after(0, 0.25, 60), "noch etwa 3 Minuten");
  EXPECT_EQ(after(0, 0.1, 3600), "noch etwa 9 Stunden");
}

TEST(TimeLeft, CountsFromWhereItFirstLooked) {
  EXPECT_EQ(after(0.5, 0.75, 60), "noch etwa 1 Minute");
}

TEST(TimeLeft, ANewStepBeginsAnew) {
  TimeLeft left;
  left.advance(0, Dates::fromUnixSeconds(0));
  left.advance(0.9, Dates::fromUnixSeconds(900));
  left.advance(0.1, Dates::fromUnixSeconds(901));
  EXPECT_EQ(left.text(), "");
  left.advance(std::nullopt, Dates::fromUnixSeconds(902));
  EXPECT_EQ(left.text(), "");
}

TEST(TimeLeft, AtTheEndNothingIsLeft) {
  EXPECT_EQ(after(0, 1, 60), "noch wenige Sekunden");
}

}  // namespace
}  // namespace fernwahrung
