#include "helper/Table.h"

#include <gtest/gtest.h>

namespace fernwahrung {
namespace {

TEST(Table, ColumnsAreAsWideAsTheirWidestCell) {
  Table table({"A", "Name", "Ort"});
  table.row({"1", "Müller", "/x"});
  table.row({"22", "日本", "/lang"});
  EXPECT_EQ(table.text(),
            "A   Name    Ort\n"
            "1   Müller  /x\n"
            "22  日本    /lang\n");
}

TEST(Table, ANoteStandsBelowItsRowAndWidensNothing) {
  Table table({"A", "B"});
  table.row({"1", "2"});
  table.note("eine längere Bemerkung");
  table.row({"3", "4"});
  EXPECT_EQ(table.text(),
            "A  B\n"
            "1  2\n"
            "     eine längere Bemerkung\n"
            "3  4\n");
}

TEST(Table, ALineBreakInACellStaysOnItsLine) {
  Table table({"A", "B"});
  table.row({"a\nb", "c\nd"});
  table.note("e\nf");
  EXPECT_EQ(table.text(),
            "A     B\n"
            "a\\nb  c\\nd\n"
            "     e\\nf\n");
}

}  // namespace
}  // namespace fernwahrung
