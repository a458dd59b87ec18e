#include "Foundation/Unicode.h"

#include <gtest/gtest.h>

namespace fernwahrung {
namespace {

using namespace std::string_literals;

TEST(Unicode, precomposed) {
  EXPECT_EQ(Unicode::precomposed("Bu\xCC\x88"
                                 "cher"),
            "Bücher");
  EXPECT_EQ(Unicode::precomposed("Bücher"), "Bücher");
  EXPECT_EQ(Unicode::precomposed("abc"), "abc");
  EXPECT_EQ(Unicode::precomposed(""), "");
  EXPECT_EQ(Unicode::precomposed("\xE1\x84\x92\xE1\x85\xA1\xE1\x86\xAB"), "한");
}

TEST(Unicode, precomposedKeepsZeroBytes) {
  EXPECT_EQ(Unicode::precomposed("a\0o\xCC\x88"s), "a\0ö"s);
}

TEST(Unicode, precomposedLeavesInvalidTextAlone) {
  EXPECT_EQ(Unicode::precomposed("u\xCC\x88\xFF"), "u\xCC\x88\xFF");
}

TEST(Unicode, alphanumericAreLettersMarksAndNumbers) {
  for (const char32_t scalar : U"aZäß東ǅʰ\u0308\u0903\u20DD5٣Ⅷ½"s)
    EXPECT_TRUE(Unicode::isAlphanumeric(scalar));
  for (const char32_t scalar : U" -_.,/€+„\u200B\n\U0001F600"s) EXPECT_FALSE(Unicode::isAlphanumeric(scalar));
  EXPECT_FALSE(Unicode::isAlphanumeric(0xD800));
  EXPECT_FALSE(Unicode::isAlphanumeric(0x110000));
  EXPECT_FALSE(Unicode::isAlphanumeric(0xFFFFFFFF));
}

TEST(Unicode, whitespace) {
  for (const char32_t scalar : U" \t\n\v\f\r\u0085\u00A0\u2003\u2028\u2029\u202F\u3000"s) {
    EXPECT_TRUE(Unicode::isWhitespace(scalar)) << static_cast<unsigned>(scalar);
  }
  for (const char32_t scalar : U"a0-_\u200B\u0008\u000E"s) EXPECT_FALSE(Unicode::isWhitespace(scalar));
  EXPECT_FALSE(Unicode::isWhitespace(0xFFFFFFFF));
}

TEST(Unicode, scalarsAndBack) {
  EXPECT_EQ(Unicode::scalars("aä€😀"), U"aä€😀");
  EXPECT_EQ(Unicode::utf8(U"aä€😀"), "aä€😀");
  EXPECT_EQ(Unicode::scalars(""), U"");
  EXPECT_EQ(Unicode::scalars("a\0b"s), U"a\0b"s);
}

TEST(Unicode, invalidSequencesBecomeTheReplacement) {
  EXPECT_EQ(Unicode::scalars("a\xFFz"), U"a\uFFFDz");
  EXPECT_EQ(Unicode::scalars("\xE2\x82"), U"\uFFFD");
  EXPECT_EQ(Unicode::utf8(std::u32string{0xD800, 0x110000}), "\xEF\xBF\xBD\xEF\xBF\xBD");
}

TEST(Unicode, lengthCountsCharactersAsAReaderDoes) {
  EXPECT_EQ(Unicode::length("aä€😀"), 4u);
  EXPECT_EQ(Unicode::length("u\xCC\x88"), 1u);
  EXPECT_EQ(Unicode::length("👩‍👩‍👧🇩🇪🇦🇹x"), 4u);
  EXPECT_EQ(Unicode::length(""), 0u);
}

TEST(Unicode, uppercased) {
  EXPECT_EQ(Unicode::uppercased("fehler: länge é ж 1"), "FEHLER: LÄNGE É Ж 1");
  EXPECT_EQ(Unicode::uppercased(""), "");
}

TEST(Unicode, namesThatDifferInCaseOrFormFoldTogether) {
  EXPECT_EQ(Unicode::foldedForComparison("Bücher"), Unicode::foldedForComparison("BU\xCC\x88"
                                                                                 "CHER"));
  EXPECT_EQ(Unicode::foldedForComparison("ΣΑΣ"), Unicode::foldedForComparison("σας"));
  EXPECT_NE(Unicode::foldedForComparison("a"), Unicode::foldedForComparison("ä"));
  EXPECT_NE(Unicode::foldedForComparison("a"), Unicode::foldedForComparison("b"));
  EXPECT_EQ(Unicode::foldedForComparison("A\xFF"), "A\xFF");
}

}  // namespace
}  // namespace fernwahrung
