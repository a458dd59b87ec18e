#include "support/Files.h"

#include "Foundation/ByteFormat.h"
#include "Foundation/Text.h"

#include <gtest/gtest.h>
#include <limits>

namespace fernwahrung {
namespace {

/// The English sample in German words and signs.
std::string inGerman(std::string english) {
  if (english == "Zero KB") return "Null KB";
  english = Text::replacingAll(english, "bytes", "Byte");
  english = Text::replacingAll(english, "byte", "Byte");
  english = Text::replacingAll(english, ",", "#");
  english = Text::replacingAll(english, ".", ",");
  return Text::replacingAll(english, "#", ".");
}

TEST(ByteFormat, agreesWithTheRecordedSamples) {
  const auto table = readFile(FERNWAHRUNG_FIXTURES "/bytecount/file-style-adaptive-en.tsv");
  int samples = 0;
  for (const auto& line : Text::split(table, '\n')) {
    if (line.starts_with('#')) continue;
    const auto columns = Text::split(line, '\t');
    ASSERT_EQ(columns.size(), 2u) << line;
    EXPECT_EQ(ByteFormat::german(*Text::toInteger(columns[0])), inGerman(columns[1])) << line;
    ++samples;
  }
  EXPECT_EQ(samples, 21);
}

TEST(ByteFormat, smallSizes) {
  EXPECT_EQ(ByteFormat::german(0), "Null KB");
  EXPECT_EQ(ByteFormat::german(1), "1 Byte");
  EXPECT_EQ(ByteFormat::german(2), "2 Byte");
  EXPECT_EQ(ByteFormat::german(999), "999 Byte");
  EXPECT_EQ(ByteFormat::german(-1), "-1 Byte");
}

TEST(ByteFormat, kilobytesAreWhole) {
  EXPECT_EQ(ByteFormat::german(1000), "1 KB");
  EXPECT_EQ(ByteFormat::german(1499), "1 KB");
  EXPECT_EQ(ByteFormat::german(999'499), "999 KB");
}

TEST(ByteFormat, halvesAreRoundedAwayFromZero) {
  EXPECT_EQ(ByteFormat::german(1500), "2 KB");
  EXPECT_EQ(ByteFormat::german(2500), "3 KB");
  EXPECT_EQ(ByteFormat::german(10'500), "11 KB");
  EXPECT_EQ(ByteFormat::german(-1500), "-2 KB");
  EXPECT_EQ(ByteFormat::german(1'050'000), "1,1 MB");
  EXPECT_EQ(ByteFormat::german(1'049'999), "1 MB");
  EXPECT_EQ(ByteFormat::german(1'005'000'000), "1,01 GB");
  EXPECT_EQ(ByteFormat::german(-1'005'000'000), "-1,01 GB");
}

TEST(ByteFormat, trailingZerosAreDropped) {
  EXPECT_EQ(ByteFormat::german(12'000'000), "12 MB");
  EXPECT_EQ(ByteFormat::german(12'300'000), "12,3 MB");
  EXPECT_EQ(ByteFormat::german(1'000'000'000), "1 GB");
  EXPECT_EQ(ByteFormat::german(1'200'000'000), "1,2 GB");
  EXPECT_EQ(ByteFormat::german(1'020'000'000), "1,02 GB");
  EXPECT_EQ(ByteFormat::german(1'230'000'000), "1,23 GB");
}

TEST(ByteFormat, theUnitIsChosenBeforeRounding) {
  EXPECT_EQ(ByteFormat::german(999'500), "1.000 KB");
  EXPECT_EQ(ByteFormat::german(999'950'000), "1.000 MB");
  EXPECT_EQ(ByteFormat::german(999'999'999'999), "1.000 GB");
}

TEST(ByteFormat, largeUnits) {
  EXPECT_EQ(ByteFormat::german(4'398'046'511'104), "4,4 TB");
  EXPECT_EQ(ByteFormat::german(1'500'000'000'000'000), "1,5 PB");
  EXPECT_EQ(ByteFormat::german(2'345'000'000'000'000'000), "2,35 EB");
}

TEST(ByteFormat, theEndsOfTheRange) {
  EXPECT_EQ(ByteFormat::german(std::numeric_limits<std::int64_t>::max()), "9,22 EB");
  EXPECT_EQ(ByteFormat::german(std::numeric_limits<std::int64_t>::min()), "-9,22 EB");
}

}  // namespace
}  // namespace fernwahrung
