#include "helper/Arguments.h"
#include "helper/Failure.h"

#include <gtest/gtest.h>

namespace fernwahrung {
namespace {

struct Sample {
  std::string source;
  std::optional<std::string> name;
  std::vector<std::string> apps;
  bool yes = false;
  std::string reference;
  std::optional<std::string> second;
  Arguments arguments;

  Sample() {
    arguments.required("--source", "DIR", "der Ordner", source);
    arguments.optional("--name", "N", "der Name", name);
    arguments.repeated("--app", "PATH", "eine App", apps);
    arguments.flag("--yes", "nicht fragen", yes);
    arguments.positional("REF", "welcher", reference);
    arguments.optionalPositional("KEY", "was", second);
  }
  void parse(const std::vector<std::string>& given) {
    arguments.parse(given);
    arguments.checkComplete();
  }
};

std::string problem(const std::vector<std::string>& given) {
  Sample sample;
  try {
    sample.parse(given);
  } catch (const UsageError& error) {
    return error.what();
  }
  return "";
}

TEST(Arguments, AreTakenInAnyOrder) {
  Sample sample;
  sample.parse({"eins", "--app", "/a", "--source=/s", "--yes", "--app", "/b", "zwei"});
  EXPECT_EQ(sample.source, "/s");
  EXPECT_EQ(sample.name, std::nullopt);
  EXPECT_EQ(sample.apps, (std::vector<std::string>{"/a", "/b"}));
  EXPECT_TRUE(sample.yes);
  EXPECT_EQ(sample.reference, "eins");
  EXPECT_EQ(sample.second, "zwei");
}

TEST(Arguments, ARepeatedOptionTakesOneValueEachTime) {
  Sample sample;
  sample.parse({"--source", "/s", "--app", "/a", "eins"});
  EXPECT_EQ(sample.apps, std::vector<std::string>{"/a"});
  EXPECT_EQ(sample.reference, "eins");
}

TEST(Arguments, ValuesAreTakenAsTheyStand) {
  for (const std::string value :
       {"[a,b]", "{}", "%%", "a,b", "-x", "--fremd", "a=b", " ", "\"q\"", "'", "\n", "#", "ä", "0"}) {
    Sample sample;
    sample.parse({"--source", value, "--name", value, "--app", value, "eins"});
    EXPECT_EQ(sample.source, value);
    EXPECT_EQ(sample.name, value);
    EXPECT_EQ(sample.apps, std::vector<std::string>{value});
  }
}

TEST(Arguments, PositionalValuesAreTakenAsTheyStand) {
  for (const std::string value : {"[a,b]", "{}", "%%", "a,b", "a=b", " ", "\n", "/x/y"}) {
    Sample sample;
    sample.parse({"--source", "/s", value});
    EXPECT_EQ(sample.reference, value);
  }
}

TEST(Arguments, TwoHyphensEndTheOptions) {
  Sample sample;
  sample.parse({"--source", "/s", "--", "--yes"});
  EXPECT_EQ(sample.reference, "--yes");
  EXPECT_FALSE(sample.yes);
}

TEST(Arguments, AnUnknownOptionIsNamed) {
  EXPECT_EQ(problem({"--source", "/s", "x", "--fremd"}), "Unbekannte Option „--fremd“.");
  EXPECT_EQ(problem({"--source", "/s", "x", "-f"}), "Unbekannte Option „-f“.");
  EXPECT_EQ(problem({"--source", "/s", "x", "--sou", "/s"}), "Unbekannte Option „--sou“.");
}

TEST(Arguments, TooManyArgumentsAreNamed) {
  EXPECT_EQ(problem({"--source", "/s", "x", "y", "z\n"}), "Unerwartetes Argument „z\\n“.");
  EXPECT_NE(problem({"--source", "/s", "x", "y", ""}), "");
}

TEST(Arguments, AMissingOptionIsNamedWithItsPlaceholder) {
  EXPECT_EQ(problem({"x"}), "Es fehlt --source DIR.");
  EXPECT_EQ(problem({"--source", "/s"}), "Es fehlt REF.");
}

TEST(Arguments, AMissingValueIsNamed) {
  EXPECT_EQ(problem({"x", "--source"}), "Die Option „--source“ braucht einen Wert.");
  EXPECT_EQ(problem({"--source", "--name", "n", "x"}), "Die Option „--source“ braucht einen Wert.");
  EXPECT_EQ(problem({"--source", "/s", "x", "--app", "--yes"}), "Die Option „--app“ braucht einen Wert.");
}

TEST(Arguments, AnEmptyValueIsRefused) {
  EXPECT_EQ(problem({"--source", "", "x"}), "Der Wert von „--source“ darf nicht leer sein.");
  EXPECT_EQ(problem({"--source", "/s", ""}), "Der Wert von „REF“ darf nicht leer sein.");
}

TEST(Arguments, ASingleOptionStandsOnce) {
  EXPECT_EQ(problem({"--source", "/s", "--source", "/t", "x"}),
            "Die Option „--source“ darf nur einmal stehen.");
  EXPECT_EQ(problem({"--source", "/s", "x", "--yes", "--yes"}), "");
}

TEST(Arguments, AFlagTakesNoValue) {
  EXPECT_EQ(problem({"--source", "/s", "x", "--yes=nein"}), "Die Option „--yes“ nimmt keinen Wert.");
}

TEST(Arguments, TheHelpIsMadeFromWhatWasDeclared) {
  const Sample sample;
  EXPECT_EQ(sample.arguments.synopsis(), "--source DIR [--name N] [--app PATH]… [--yes] REF [KEY]");
  EXPECT_EQ(sample.arguments.descriptions(),
            "  --source DIR  der Ordner\n"
            "  --name N      der Name\n"
            "  --app PATH    eine App\n"
            "  --yes         nicht fragen\n"
            "  REF           welcher\n"
            "  KEY           was\n");
}

}  // namespace
}  // namespace fernwahrung
