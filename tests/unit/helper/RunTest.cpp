#include "HelperRun.h"
#include "helper/CommandTable.h"

#include <set>
#include <streambuf>

namespace fernwahrung {
namespace {

using RunTest = HelperTest;

TEST_F(RunTest, WithoutACommandTheOverviewStandsOnStandardError) {
  const HelperResult result = runHelper({});
  EXPECT_EQ(result.code, ExitCode::usage);
  EXPECT_EQ(result.out, "");
  EXPECT_NE(result.err.find("Aufruf: fernwahrung BEFEHL"), std::string::npos);
}

TEST_F(RunTest, HelpListsEveryCommand) {
  for (const char* verb : {"help", "--help", "-h"}) {
    const HelperResult result = runHelper({verb});
    EXPECT_EQ(result.code, ExitCode::done);
    EXPECT_EQ(result.err, "");
    for (const CommandEntry* entry : commandTable())
      EXPECT_NE(result.out.find("\n  " + std::string(entry->name) + " "), std::string::npos) << entry->name;
  }
}

TEST_F(RunTest, EveryCommandHasItsHelp) {
  for (const CommandEntry* entry : commandTable()) {
    const std::string name(entry->name);
    const HelperResult result = runHelper({"help", name});
    EXPECT_EQ(result.code, ExitCode::done);
    EXPECT_NE(result.out.find("Aufruf: fernwahrung " + name), std::string::npos);
    EXPECT_NE(result.out.find("--json"), std::string::npos);
    EXPECT_EQ(runHelper({name, "--help"}).out, result.out);
  }
}

TEST_F(RunTest, EveryCommandStandsOnce) {
  std::set<std::string_view> names;
  for (const CommandEntry* entry : commandTable()) {
    EXPECT_TRUE(names.insert(entry->name).second) << entry->name;
    EXPECT_FALSE(entry->summary.empty());
    EXPECT_EQ(findCommand(std::string(entry->name)), entry);
  }
  EXPECT_EQ(findCommand("gibt es nicht"), nullptr);
}

TEST_F(RunTest, VersionGoesToStandardOutput) {
  const HelperResult result = runHelper({"--version"});
  EXPECT_EQ(result.code, ExitCode::done);
  EXPECT_TRUE(result.out.starts_with("fernwahrung "));
  EXPECT_TRUE(result.out.ends_with("\n"));
}

TEST_F(RunTest, AnUnknownCommandIsAUsageError) {
  const HelperResult result = runHelper({"lösche\n"});
  EXPECT_EQ(result.code, ExitCode::usage);
  EXPECT_EQ(result.err, "Unbekannter Befehl „lösche\\n“. Alle Befehle zeigt: fernwahrung help\n");
  EXPECT_EQ(runHelper({"help", "nix"}).code, ExitCode::usage);
  EXPECT_EQ(runHelper({""}).code, ExitCode::usage);
}

TEST_F(RunTest, AMistakeNamesTheHelpOfItsCommand) {
  const HelperResult result = runHelper({"list", "--fremd"});
  EXPECT_EQ(result.code, ExitCode::usage);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "Unbekannte Option „--fremd“. Mehr dazu: fernwahrung help list\n");
}

TEST_F(RunTest, AMistakeLeavesStandardOutputEmptyWithJson) {
  const HelperResult result = runHelper({"status", "nix", "--json"});
  EXPECT_EQ(result.code, ExitCode::usage);
  EXPECT_EQ(result.out, "");
  EXPECT_NE(result.err, "");
}

TEST_F(RunTest, AnArgumentThatIsNoUtf8IsRefused) {
  EXPECT_EQ(runHelper({"status", "\xff"}).code, ExitCode::usage);
  EXPECT_EQ(runHelper({"\xff"}).code, ExitCode::usage);
}

TEST_F(RunTest, OutputThatCannotBeWrittenIsAFailure) {
  struct Full : std::streambuf {
  } full;
  std::istringstream in;
  std::ostream out(&full);
  std::ostringstream err;
  Streams streams{.in = in, .out = out, .err = err};
  EXPECT_EQ(run({"list"}, streams), ExitCode::failed);
  EXPECT_EQ(err.str(), "Die Ausgabe konnte nicht geschrieben werden.\n");
}

TEST_F(RunTest, EveryCommandRefusesAForeignOptionBeforeItDoesAnything) {
  for (const CommandEntry* entry : commandTable())
    EXPECT_EQ(runHelper({std::string(entry->name), "--fremd"}).code, ExitCode::usage) << entry->name;
}

}  // namespace
}  // namespace fernwahrung
