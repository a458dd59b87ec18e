#include "helper/TextColumns.h"

#include <gtest/gtest.h>

namespace fernwahrung {
namespace {

TEST(TextColumns, LineBreaksAndControlCharactersAreEscaped) {
  EXPECT_EQ(visible("a\nb\rc\td"), "a\\nb\\rc\\td");
  EXPECT_EQ(visible("\x1b[2J\x7f"), "\\x1b[2J\\x7f");
  EXPECT_EQ(visible(std::string("a\0b", 3)), "a\\x00b");
  EXPECT_EQ(visible("a\u0085b"), "a\\x85b");
  EXPECT_EQ(visible("a\u2028b\u2029c"), "a\\u2028b\\u2029c");
}

TEST(TextColumns, CharactersThatTurnTheWritingDirectionAreEscaped) {
  EXPECT_EQ(visible("a\u202egpj.exe"), "a\\u202egpj.exe");
  EXPECT_EQ(visible("\u2066x\u2069\u200f"), "\\u2066x\\u2069\\u200f");
}

TEST(TextColumns, OrdinaryTextStaysAsItIs) {
  for (const std::string text : {"", "Größe „x“ – …", "a\\b", "日本語", "e\u0301", "👍🏽"})
    EXPECT_EQ(visible(text), text);
}

TEST(TextColumns, InvalidUtf8IsReplaced) {
  EXPECT_EQ(visible("a\xff"
                    "b"),
            "a\uFFFDb");
}

TEST(TextColumns, WidthsAreThoseOfATerminal) {
  EXPECT_EQ(columns("Größe"), 5);
  EXPECT_EQ(columns("Gro\u0308ße"), 5);
  EXPECT_EQ(columns("日本"), 4);
  EXPECT_EQ(columns(""), 0);
}

TEST(TextColumns, ALongTextEndsWithAnEllipsis) {
  EXPECT_EQ(shortened("abcdef", 6), "abcdef");
  EXPECT_EQ(shortened("abcdef", 5), "abcd…");
  EXPECT_EQ(shortened("日本語", 5), "日本…");
  EXPECT_EQ(shortened("日本語", 4), "日…");
  EXPECT_EQ(shortened("abc", 1), "…");
  EXPECT_EQ(shortened("abc", 0), "");
}

TEST(TextColumns, PaddingCountsColumns) {
  EXPECT_EQ(padded("ü", 3), "ü  ");
  EXPECT_EQ(padded("日", 3), "日 ");
  EXPECT_EQ(padded("abcd", 3), "abcd");
}

}  // namespace
}  // namespace fernwahrung
