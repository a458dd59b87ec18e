#include "Foundation/Text.h"

#include <gtest/gtest.h>
#include <limits>

namespace fernwahrung {
namespace {

using Pieces = std::vector<std::string>;
using namespace std::string_literals;

TEST(Text, splitDropsEmptyPieces) {
  EXPECT_EQ(Text::split("a,,b,", ','), (Pieces{"a", "b"}));
  EXPECT_EQ(Text::split(",", ','), Pieces{});
  EXPECT_EQ(Text::split("", ','), Pieces{});
  EXPECT_EQ(Text::split("ab", ','), Pieces{"ab"});
}

TEST(Text, splitKeepsEmptyPiecesOnRequest) {
  EXPECT_EQ(Text::split("a,,b,", ',', true), (Pieces{"a", "", "b", ""}));
  EXPECT_EQ(Text::split("", ',', true), Pieces{""});
  EXPECT_EQ(Text::split(",", ',', true), (Pieces{"", ""}));
}

TEST(Text, join) {
  EXPECT_EQ(Text::join({"a", "", "b"}, ", "), "a, , b");
  EXPECT_EQ(Text::join({"a"}, ", "), "a");
  EXPECT_EQ(Text::join({}, ", "), "");
}

TEST(Text, trimmed) {
  EXPECT_EQ(Text::trimmed(" \t\r\n a b \n\n"), "a b");
  EXPECT_EQ(Text::trimmed("\n \t"), "");
  EXPECT_EQ(Text::trimmed(""), "");
  EXPECT_EQ(Text::trimmed("a"), "a");
}

TEST(Text, trimmedTakesAllWhiteSpaceOfUnicode) {
  EXPECT_EQ(Text::trimmed("\f\v\u00A0\u2003 ä\u00A0b\u3000\u2028\u0085\n"), "ä\u00A0b");
  EXPECT_EQ(Text::trimmed("\u00A0\u2003"), "");
}

TEST(Text, trimmedLeavesInvalidBytesAlone) {
  for (const std::string text : {"\xA0", "\x80\x83", "\xE2\x80", "\xFF", "a\xC2", "x\xE2\x80\x83\xA0"}) {
    EXPECT_EQ(Text::trimmed(" " + text + " "), text);
  }
}

TEST(Text, trimmedBlanksKeepsLineEnds) {
  EXPECT_EQ(Text::trimmedBlanks(" \ta b\t "), "a b");
  EXPECT_EQ(Text::trimmedBlanks(" a\n "), "a\n");
}

TEST(Text, replacingAll) {
  EXPECT_EQ(Text::replacingAll("a.b.c", ".", "::"), "a::b::c");
  EXPECT_EQ(Text::replacingAll("aaa", "a", "aa"), "aaaaaa");
  EXPECT_EQ(Text::replacingAll("aaa", "aa", "b"), "ba");
  EXPECT_EQ(Text::replacingAll("abc", "", "x"), "abc");
  EXPECT_EQ(Text::replacingAll("abc", "b", ""), "ac");
}

TEST(Text, toIntegerTakesTheWholeText) {
  EXPECT_EQ(Text::toInteger("0"), 0);
  EXPECT_EQ(Text::toInteger("-12"), -12);
  EXPECT_EQ(Text::toInteger("007"), 7);
  EXPECT_EQ(Text::toInteger("9223372036854775807"), std::numeric_limits<long long>::max());
  EXPECT_EQ(Text::toInteger("-9223372036854775808"), std::numeric_limits<long long>::min());
}

TEST(Text, toIntegerTakesNothingElse) {
  for (const auto* text : {"", "-", " 1", "1 ", "1.0", "0x10", "1e3", "abc", "--1", "9223372036854775808",
                           "-9223372036854775809", "99999999999999999999999"}) {
    EXPECT_EQ(Text::toInteger(text), std::nullopt) << text;
  }
  EXPECT_EQ(Text::toInteger("1\0"s), std::nullopt);
}

TEST(Text, toIntegerTakesWhatTheTypeHolds) {
  EXPECT_EQ(Text::toInteger<std::int32_t>("-2147483648"), std::numeric_limits<std::int32_t>::min());
  EXPECT_EQ(Text::toInteger<std::int32_t>("2147483648"), std::nullopt);
  EXPECT_EQ(Text::toInteger<std::uint64_t>("18446744073709551615"),
            std::numeric_limits<std::uint64_t>::max());
  EXPECT_EQ(Text::toInteger<std::uint64_t>("-1"), std::nullopt);
}

TEST(Text, toIntegerOfAnotherBase) {
  EXPECT_EQ(Text::toInteger<unsigned>("0755", 8), 0755u);
  EXPECT_EQ(Text::toInteger<unsigned>("8", 8), std::nullopt);
}

TEST(Text, validUtf8StaysAsItIs) {
  const std::string text = "aä€😀\xEF\xBF\xBD\0b\xF4\x8F\xBF\xBF\xED\x9F\xBF\xEE\x80\x80"s;
  EXPECT_TRUE(Text::isValidUtf8(text));
  EXPECT_EQ(Text::repairedUtf8(text), text);
  EXPECT_TRUE(Text::isValidUtf8(""));
  EXPECT_EQ(Text::repairedUtf8(""), "");
}

/// The text with U+FFFD written as '?'.
std::string repaired(const std::string& bytes) {
  EXPECT_FALSE(Text::isValidUtf8(bytes));
  const auto text = Text::repairedUtf8(bytes);
  EXPECT_TRUE(Text::isValidUtf8(text));
  return Text::replacingAll(text, "\xEF\xBF\xBD", "?");
}

TEST(Text, eachMaximalSubpartGetsOneReplacement) {
  EXPECT_EQ(repaired("a\xFF"), "a?");
  EXPECT_EQ(repaired("a\x80\x80z"), "a??z");
  EXPECT_EQ(repaired("\xC0\xAF"), "??");            // overlong
  EXPECT_EQ(repaired("\xC1\xBF"), "??");            // overlong
  EXPECT_EQ(repaired("\xE0\x80\xAF"), "???");       // overlong
  EXPECT_EQ(repaired("\xE0\x9F\xBF"), "???");       // overlong
  EXPECT_EQ(repaired("\xF0\x80\x80\xAF"), "????");  // overlong
  EXPECT_EQ(repaired("\xED\xA0\x80"), "???");       // surrogate
  EXPECT_EQ(repaired("\xED\xBF\xBF"), "???");       // surrogate
  EXPECT_EQ(repaired("\xF4\x90\x80\x80"), "????");  // beyond U+10FFFF
  EXPECT_EQ(repaired("\xF5\x80\x80\x80"), "????");  // no lead byte
  EXPECT_EQ(repaired("\xE2\x82"), "?");             // cut at the end
  EXPECT_EQ(repaired("\xE2\x82z"), "?z");           // cut by another character
  EXPECT_EQ(repaired("\xF0\x9F\x98"), "?");         // cut at the end
  EXPECT_EQ(repaired("\xF0\x9F\xE2\x82\xAC"), "?\xE2\x82\xAC");
  EXPECT_EQ(repaired("\xC3"), "?");
  EXPECT_EQ(repaired("\xC3\xC3\xA4"), "?ä");
}

TEST(Text, theStandardsOwnExample) {
  EXPECT_EQ(repaired("\x61\xF1\x80\x80\xE1\x80\xC2\x62\x80\x63\x80\xBF\x64"), "a???b?c??d");
}

TEST(Text, anyThreeBytesAreRepaired) {
  for (int first = 0x70; first < 0x100; ++first) {
    for (int second = 0x70; second < 0x100; ++second) {
      for (const int third : {0x00, 0x7F, 0x80, 0xBF, 0xC2, 0xFF}) {
        const std::string bytes = {static_cast<char>(first), static_cast<char>(second),
                                   static_cast<char>(third)};
        const auto text = Text::repairedUtf8(bytes);
        ASSERT_TRUE(Text::isValidUtf8(text));
        ASSERT_EQ(Text::isValidUtf8(bytes), text == bytes);
      }
    }
  }
}

}  // namespace
}  // namespace fernwahrung
