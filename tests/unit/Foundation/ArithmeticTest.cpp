#include "Foundation/Arithmetic.h"

#include <gtest/gtest.h>

namespace fernwahrung {
namespace {

constexpr auto largest = std::numeric_limits<std::int64_t>::max();
constexpr auto smallest = std::numeric_limits<std::int64_t>::min();

TEST(SaturatingProduct, isTheProductWhereItFits) {
  EXPECT_EQ(saturatingProduct(512, 3), 1536);
  EXPECT_EQ(saturatingProduct(-512, 3), -1536);
  EXPECT_EQ(saturatingProduct(0, largest), 0);
  EXPECT_EQ(saturatingProduct(largest, 1), largest);
  EXPECT_EQ(saturatingProduct(smallest, 1), smallest);
  EXPECT_EQ(saturatingProduct(1LL << 61, 2), 1LL << 62);
}

TEST(SaturatingProduct, staysAtTheEndOfItsSignWhereItDoesNot) {
  EXPECT_EQ(saturatingProduct(1LL << 62, 2), largest);
  EXPECT_EQ(saturatingProduct(largest, 4096), largest);
  EXPECT_EQ(saturatingProduct(largest, -4096), smallest);
  EXPECT_EQ(saturatingProduct(-512, largest), smallest);
  EXPECT_EQ(saturatingProduct(smallest, smallest), largest);
  EXPECT_EQ(saturatingProduct(smallest, -1), largest);
}

}  // namespace
}  // namespace fernwahrung
