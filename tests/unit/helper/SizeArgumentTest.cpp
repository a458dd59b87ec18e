#include "helper/Failure.h"
#include "helper/SizeArgument.h"

#include <gtest/gtest.h>

namespace fernwahrung {
namespace {

TEST(SizeArgument, IsDecimalGigabytes) {
  EXPECT_EQ(sizeInBytes("1"), 1'000'000'000);
  EXPECT_EQ(sizeInBytes("250"), 250'000'000'000);
  EXPECT_EQ(sizeInBytes("1000000"), 1'000'000'000'000'000);
}

TEST(SizeArgument, RefusesAllElse) {
  for (const std::string text : {"0", "-1", "1000001", "9223372036854775807", "99999999999999999999", "1.5",
                                 "1,5", "10GB", "zehn", "", " 1", "1 ", "0x10", "1e3", "\n"})
    EXPECT_THROW(sizeInBytes(text), UsageError) << text;
}

TEST(SizeArgument, SaysWhatIsNeeded) {
  try {
    sizeInBytes("viel");
    FAIL();
  } catch (const UsageError& error) {
    EXPECT_STREQ(error.what(),
                 "„viel“ ist keine Größe: nötig ist eine ganze Zahl von GB zwischen 1 und 1000000.");
  }
}

}  // namespace
}  // namespace fernwahrung
