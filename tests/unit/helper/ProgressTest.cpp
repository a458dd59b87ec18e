#include "helper/Progress.h"
#include "helper/TextColumns.h"

#include "Foundation/Clock.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <sstream>

namespace fernwahrung {
namespace {

Date at(double seconds) {
  return Dates::fromUnixSeconds(1'800'000'000 + seconds);
}

TEST(TimeLeft, IsToldFromTheProgressSoFar) {
  TimeLeft timeLeft;
  timeLeft.note(0.0, at(0));
  EXPECT_EQ(timeLeft.seconds(), std::nullopt);
  timeLeft.note(0.25, at(10));
  EXPECT_DOUBLE_EQ(timeLeft.seconds().value(), 30);
  timeLeft.note(0.5, at(40));
  EXPECT_DOUBLE_EQ(timeLeft.seconds().value(), 40);
}

TEST(TimeLeft, CountsFromTheFirstFractionSeen) {
  TimeLeft timeLeft;
  timeLeft.note(0.5, at(0));
  timeLeft.note(0.75, at(10));
  EXPECT_DOUBLE_EQ(timeLeft.seconds().value(), 10);
}

TEST(TimeLeft, IsNotGuessedTooEarly) {
  TimeLeft quick;
  quick.note(0.0, at(0));
  quick.note(0.5, at(2.9));
  EXPECT_EQ(quick.seconds(), std::nullopt);
  quick.note(0.5, at(3));
  EXPECT_TRUE(quick.seconds());

  TimeLeft slow;
  slow.note(0.0, at(0));
  slow.note(0.019, at(600));
  EXPECT_EQ(slow.seconds(), std::nullopt);
}

TEST(TimeLeft, AStepWithoutAFractionBeginsAnew) {
  TimeLeft timeLeft;
  timeLeft.note(0.0, at(0));
  timeLeft.note(0.9, at(100));
  timeLeft.note(std::nullopt, at(101));
  EXPECT_EQ(timeLeft.seconds(), std::nullopt);
  timeLeft.note(0.1, at(102));
  EXPECT_EQ(timeLeft.seconds(), std::nullopt);
}

TEST(TimeLeft, AFallingFractionBeginsAnew) {
  TimeLeft timeLeft;
  timeLeft.note(0.0, at(0));
  timeLeft.note(1.0, at(100));
  timeLeft.note(0.0, at(100));
  EXPECT_EQ(timeLeft.seconds(), std::nullopt);
  timeLeft.note(0.5, at(110));
  EXPECT_DOUBLE_EQ(timeLeft.seconds().value(), 10);
}

TEST(TimeLeft, AClockThatGoesBackGivesNone) {
  TimeLeft timeLeft;
  timeLeft.note(0.0, at(0));
  timeLeft.note(0.5, at(-3600));
  EXPECT_EQ(timeLeft.seconds(), std::nullopt);
}

TEST(TimeLeft, ReadsAsPeopleSayIt) {
  EXPECT_EQ(timeLeftText(0), "noch etwa 1 Sek.");
  EXPECT_EQ(timeLeftText(59.4), "noch etwa 59 Sek.");
  EXPECT_EQ(timeLeftText(59.5), "noch etwa 1 Min.");
  EXPECT_EQ(timeLeftText(200), "noch etwa 3 Min.");
  EXPECT_EQ(timeLeftText(3569), "noch etwa 59 Min.");
  EXPECT_EQ(timeLeftText(3600), "noch etwa 1 Std.");
  EXPECT_EQ(timeLeftText(7500), "noch etwa 2 Std. 5 Min.");
}

TEST(ProgressLine, HoldsBarPercentTextAndTimeLeft) {
  EXPECT_EQ(progressLine("Kopiere …", 0.5, 200, 100),
            "[##########----------]  50 %  Kopiere … · noch etwa 3 Min.");
  EXPECT_EQ(progressLine("Fertig", 1.0, std::nullopt, 100), "[####################] 100 %  Fertig");
  EXPECT_EQ(progressLine("Kopiere …", 0.999, std::nullopt, 100), "[###################-]  99 %  Kopiere …");
  EXPECT_EQ(progressLine("Prüfe …", std::nullopt, std::nullopt, 100), "Prüfe …");
}

TEST(ProgressLine, IsNeverWiderThanTheTerminal) {
  for (int width = 1; width < 60; ++width)
    EXPECT_LE(columns(progressLine("Kopiere 日本語 …", 0.3, 10, width)), width);
}

TEST(ProgressLine, FractionsOutsideTheirRangeDoNoHarm) {
  EXPECT_EQ(progressLine("x", -1, std::nullopt, 80), "[--------------------]   0 %  x");
  EXPECT_EQ(progressLine("x", 7, std::nullopt, 80), "[####################] 100 %  x");
  EXPECT_EQ(progressLine("x", std::nan(""), std::nullopt, 80), "x");
}

TEST(ProgressLine, ALineBreakInTheTextStaysOnTheLine) {
  EXPECT_EQ(progressLine("a\nb", std::nullopt, std::nullopt, 80), "a\\nb");
}

struct Terminal {
  std::istringstream in;
  std::ostringstream out;
  std::ostringstream err;
  Streams streams{
      .in = in, .out = out, .err = err, .errorIsTerminal = true, .errorColumns = [] { return 40; }};
};

class ProgressDisplayTest : public testing::Test {
 protected:
  double now_ = 0;
  Clock::Override clock_{[this] { return at(now_); }, [](double) {}};
};

constexpr auto startOfLine = "\r\x1b[K";

TEST_F(ProgressDisplayTest, OnATerminalOneLineRewritesItselfAndGoes) {
  Terminal terminal;
  {
    ProgressDisplay display(terminal.streams, false);
    display.show("Eins", std::nullopt);
    now_ = 1;
    display.show("Zwei", 0.5);
  }
  EXPECT_EQ(terminal.err.str(), std::string(startOfLine) + "Eins" + startOfLine +
                                    "[##########----------]  50 %  Zwei" + startOfLine);
  EXPECT_EQ(terminal.out.str(), "");
}

TEST_F(ProgressDisplayTest, ReportsInQuickSuccessionAreDrawnTenTimesASecond) {
  Terminal terminal;
  ProgressDisplay display(terminal.streams, false);
  for (int i = 0; i < 1000; ++i) {
    now_ = i * 0.001;
    display.show("x", i / 2000.0);
  }
  const std::string shown = terminal.err.str();
  EXPECT_EQ(std::count(shown.begin(), shown.end(), '\r'), 10);
}

TEST_F(ProgressDisplayTest, AStepAndTheEndOfAWalkAreAlwaysDrawn) {
  Terminal terminal;
  ProgressDisplay display(terminal.streams, false);
  display.show("Anfang", 0.1);
  display.show("Schritt", std::nullopt);
  display.show("Ende", 1.0);
  const std::string shown = terminal.err.str();
  EXPECT_NE(shown.find("Schritt"), std::string::npos);
  EXPECT_NE(shown.find("Ende"), std::string::npos);
}

TEST_F(ProgressDisplayTest, NothingShownLeavesNothing) {
  Terminal terminal;
  { ProgressDisplay display(terminal.streams, true); }
  EXPECT_EQ(terminal.err.str(), "");
}

TEST_F(ProgressDisplayTest, ElsewhereNothing) {
  Terminal file;
  file.streams.errorIsTerminal = false;
  {
    ProgressDisplay display(file.streams, false);
    display.show("Eins", 0.5);
  }
  EXPECT_EQ(file.err.str(), "");
}

TEST_F(ProgressDisplayTest, ElsewhereOneLinePerTextWhenVerbose) {
  Terminal file;
  file.streams.errorIsTerminal = false;
  {
    ProgressDisplay display(file.streams, true);
    display.show("Eins", 0.1);
    display.show("Eins", 0.2);
    display.show("Zwei\n", std::nullopt);
  }
  EXPECT_EQ(file.err.str(), "Eins\nZwei\\n\n");
}

}  // namespace
}  // namespace fernwahrung
