#include "support/ScopedEnvironment.h"

#include "Foundation/Dates.h"

#include <cmath>
#include <ctime>
#include <gtest/gtest.h>
#include <limits>
#include <thread>
#include <vector>

namespace fernwahrung {
namespace {

class Zone {
 public:
  explicit Zone(const std::string& name) : variable_("TZ", name) { ::tzset(); }

 private:
  // Runs last, when the variable has its old value again.
  struct Reset {
    ~Reset() { ::tzset(); }
  } reset_;
  ScopedEnvironment variable_;
};

// By rule and not by name, so that no zone database is needed.
constexpr auto berlin = "CET-1CEST,M3.5.0,M10.5.0/3";

const Date example = *Dates::parseIso8601("2026-11-15T10:09:15Z");

TEST(Dates, unixSecondsBothWays) {
  EXPECT_EQ(Dates::unixSeconds(Dates::fromUnixSeconds(1'700'000'000.25)), 1'700'000'000.25);
  EXPECT_EQ(Dates::fromUnixSeconds(0), Date{});
  EXPECT_EQ(Dates::unixSeconds(Dates::fromUnixSeconds(-1.5)), -1.5);
}

TEST(Dates, absurdSecondsGiveSomeDate) {
  for (const double seconds : {1e300, -1e300, std::numeric_limits<double>::infinity(), std::nan("")}) {
    EXPECT_FALSE(Dates::iso8601(Dates::fromUnixSeconds(seconds)).empty());
    EXPECT_FALSE(Dates::logStamp(Dates::fromUnixSeconds(seconds)).empty());
    EXPECT_FALSE(Dates::german(Dates::fromUnixSeconds(seconds)).empty());
  }
}

TEST(Dates, iso8601IsUtcAndCutToSeconds) {
  const Zone zone(berlin);
  EXPECT_EQ(Dates::iso8601(example), "2026-11-15T10:09:15Z");
  EXPECT_EQ(Dates::iso8601(example + std::chrono::milliseconds(999)), "2026-11-15T10:09:15Z");
  EXPECT_EQ(Dates::iso8601(Date{}), "1970-01-01T00:00:00Z");
  EXPECT_EQ(Dates::iso8601(Date{} - std::chrono::milliseconds(1)), "1969-12-31T23:59:59Z");
}

TEST(Dates, iso8601IsReadBack) {
  EXPECT_EQ(Dates::unixSeconds(*Dates::parseIso8601("2024-02-29T23:59:59Z")), 1709251199);
  EXPECT_EQ(Dates::parseIso8601("1970-01-01T00:00:00Z"), Date{});
  EXPECT_EQ(Dates::parseIso8601("1969-12-31T23:59:59Z"), Date{} - std::chrono::seconds(1));
  for (const auto* text : {"0001-01-01T00:00:00Z", "2000-02-29T12:34:56Z", "9999-12-31T23:59:59Z"}) {
    EXPECT_EQ(Dates::iso8601(*Dates::parseIso8601(text)), text);
  }
}

TEST(Dates, iso8601TakesNoOtherForm) {
  for (const auto* text :
       {"", "2026-11-15", "2026-11-15T10:09:15", "2026-11-15T10:09:15z", "2026-11-15 10:09:15Z",
        "2026-11-15T10:09:15.5Z", "2026-11-15T10:09:15+00:00", "2026-11-15T10:09:15Z ",
        " 2026-11-15T10:09:15Z", "2026-11-15T10:09:1Z", "26-11-15T10:09:15Z", "+026-11-15T10:09:15Z",
        "2026-1a-15T10:09:15Z", "-026-11-15T10:09:15Z"}) {
    EXPECT_FALSE(Dates::parseIso8601(text)) << text;
  }
}

TEST(Dates, iso8601TakesOnlyExistingDates) {
  for (const auto* text :
       {"2026-02-30T00:00:00Z", "2026-02-29T00:00:00Z", "1900-02-29T00:00:00Z", "2026-04-31T00:00:00Z",
        "2026-13-01T00:00:00Z", "2026-00-01T00:00:00Z", "2026-01-00T00:00:00Z", "2026-01-32T00:00:00Z",
        "2026-01-01T24:00:00Z", "2026-01-01T00:60:00Z", "2026-01-01T00:00:60Z"}) {
    EXPECT_FALSE(Dates::parseIso8601(text)) << text;
  }
}

TEST(Dates, logStampIsLocal) {
  const Zone zone(berlin);
  EXPECT_EQ(Dates::logStamp(example), "2026-11-15 11:09:15");
  EXPECT_EQ(Dates::logStamp(*Dates::parseIso8601("2026-07-01T10:00:00Z")), "2026-07-01 12:00:00");
}

TEST(Dates, logStampIsReadBackInWinterAndSummer) {
  const Zone zone(berlin);
  EXPECT_EQ(Dates::parseLogStamp("2026-11-15 11:09:15"), example);
  EXPECT_EQ(Dates::parseLogStamp("2026-07-01 12:00:00"), Dates::parseIso8601("2026-07-01T10:00:00Z"));
  EXPECT_EQ(Dates::parseLogStamp("1970-01-01 00:59:59"), Date{} - std::chrono::seconds(1));
}

TEST(Dates, logStampTakesNothingAroundItAndNoOtherForm) {
  for (const auto* text : {"", "2026-11-15 11:09:15 ", " 2026-11-15 11:09:15", "2026-11-15 11:09:15 [1] x",
                           "2026-11-15T11:09:15", "2026-11-15 11:09", "2026-02-30 00:00:00",
                           "2026-01-01 24:00:00", "2026-01-01 00:60:00", "yyyy-MM-dd HH:mm:ss"}) {
    EXPECT_FALSE(Dates::parseLogStamp(text)) << text;
  }
}

TEST(Dates, compactStampIsLocalAndPadded) {
  const Zone zone(berlin);
  EXPECT_EQ(Dates::compactStamp(example), "20261115-110915");
  EXPECT_EQ(Dates::compactStamp(*Dates::parseIso8601("2026-01-02T02:04:05Z")), "20260102-030405");
}

TEST(Dates, germanForPeople) {
  const Zone zone(berlin);
  EXPECT_EQ(Dates::german(example), "15. Nov. 2026, 11:09");
  EXPECT_EQ(Dates::german(*Dates::parseIso8601("2026-03-01T07:05:59Z")), "1. März 2026, 08:05");
  const std::vector<std::string> months = {"Jan.", "Feb.", "März",  "Apr.", "Mai",  "Juni",
                                           "Juli", "Aug.", "Sept.", "Okt.", "Nov.", "Dez."};
  for (std::size_t month = 0; month < months.size(); ++month) {
    const auto number = std::to_string(month + 1);
    const auto text = "2026-" + std::string(2 - number.size(), '0') + number + "-15 09:30:00";
    EXPECT_EQ(Dates::german(*Dates::parseLogStamp(text)), "15. " + months[month] + " 2026, 09:30");
  }
}

TEST(Dates, manyThreadsAtOnce) {
  const Zone zone(berlin);
  std::vector<std::thread> threads;
  std::vector<int> wrong(4, 0);
  for (std::size_t index = 0; index < wrong.size(); ++index) {
    threads.emplace_back([&wrong, index] {
      const auto date = example + std::chrono::hours(index * 24);
      const auto day = std::to_string(15 + index);
      for (int round = 0; round < 2000; ++round) {
        if (Dates::logStamp(date) != "2026-11-" + day + " 11:09:15" ||
            Dates::iso8601(date) != "2026-11-" + day + "T10:09:15Z" ||
            Dates::parseLogStamp(Dates::logStamp(date)) != date) {
          ++wrong[index];
        }
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(wrong, std::vector<int>(4, 0));
}

}  // namespace
}  // namespace fernwahrung
