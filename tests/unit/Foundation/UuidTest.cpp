#include "Foundation/Uuid.h"

#include <gtest/gtest.h>
#include <regex>
#include <set>

namespace fernwahrung {
namespace {

constexpr auto example = "68753A44-4D6F-1226-9C60-0050E4C00067";

TEST(Uuid, theDefaultIsNil) {
  EXPECT_EQ(Uuid().text(), "00000000-0000-0000-0000-000000000000");
}

TEST(Uuid, randomOnesAreOfVersionFourAndDiffer) {
  const std::regex form("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}");
  std::set<std::string> seen;
  for (int round = 0; round < 500; ++round) {
    const auto text = Uuid::random().text();
    ASSERT_TRUE(std::regex_match(text, form)) << text;
    seen.insert(text);
  }
  EXPECT_EQ(seen.size(), 500u);
}

TEST(Uuid, parsesEitherCaseAndKeepsTheUpper) {
  EXPECT_EQ(Uuid::parse(example)->text(), example);
  EXPECT_EQ(Uuid::parse("68753a44-4d6f-1226-9c60-0050e4c00067")->text(), example);
  EXPECT_EQ(Uuid::parse("68753a44-4d6f-1226-9c60-0050e4c00067"), Uuid::parse(example));
}

TEST(Uuid, parsesWhatItPrints) {
  const auto uuid = Uuid::random();
  EXPECT_EQ(Uuid::parse(uuid.text()), uuid);
}

TEST(Uuid, refusesEverythingElse) {
  const std::string good = example;
  EXPECT_FALSE(Uuid::parse(""));
  EXPECT_FALSE(Uuid::parse(good + "0"));
  EXPECT_FALSE(Uuid::parse(" " + good));
  EXPECT_FALSE(Uuid::parse("{" + good + "}"));
  EXPECT_FALSE(Uuid::parse("68753A444D6F12269C600050E4C00067"));
  EXPECT_FALSE(Uuid::parse("68753A44-4D6F-1226-9C60-0050E4C0006G"));
  EXPECT_FALSE(Uuid::parse("68753A44-4D6F-1226-9C60-0050E4C0006/"));
  EXPECT_FALSE(Uuid::parse("68753A4-44D6F-1226-9C60-0050E4C00067"));
  EXPECT_FALSE(Uuid::parse("------------------------------------"));
}

TEST(Uuid, refusesEveryDamagedCharacter) {
  for (std::size_t index = 0; index < std::string_view(example).size(); ++index) {
    for (const char wrong : {'x', '\0', '@', '\xC4'}) {
      std::string text = example;
      text[index] = wrong;
      EXPECT_FALSE(Uuid::parse(text)) << text;
    }
  }
}

}  // namespace
}  // namespace fernwahrung
