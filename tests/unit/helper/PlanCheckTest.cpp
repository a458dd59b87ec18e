#include "HelperRun.h"
#include "helper/Failure.h"
#include "helper/PlanCheck.h"
#include "support/Files.h"

#include "Foundation/Text.h"

#include <limits>

namespace fernwahrung {
namespace {

class PlanCheckTest : public HelperTest {
 protected:
  static PlanCheck check(const std::vector<std::string>& given) {
    PlanOptions options;
    Arguments arguments;
    options.declare(arguments);
    arguments.parse(given);
    arguments.checkComplete();
    return options.check();
  }
  static std::string problem(const std::vector<std::string>& given) {
    try {
      check(given);
    } catch (const UsageError& error) {
      return error.what();
    }
    return "";
  }
};

TEST_F(PlanCheckTest, WhatIsNotGivenHasItsDefault) {
  const RelocationPlan plan = check({"--source", "/gibt/es/nicht/Mail/", "--storage", "/auch/nicht"}).plan;
  EXPECT_EQ(plan.name, "Mail");
  EXPECT_EQ(plan.kind, RelocationKind::image);
  EXPECT_EQ(plan.sourcePath, "/gibt/es/nicht/Mail");
  EXPECT_EQ(plan.storageDirectory, "/auch/nicht");
  EXPECT_EQ(plan.guardedAppPaths, std::vector<std::string>{});
  EXPECT_TRUE(plan.spotlight);
}

TEST_F(PlanCheckTest, WhatIsGivenIsTaken) {
  const RelocationPlan plan =
      check({"--source", "/a", "--storage", "/b", "--name", "Post & Co", "--kind", "symlink", "--size-gb",
             "7", "--app", "/Applications/X.app/", "--app", "/Y.app", "--no-spotlight"})
          .plan;
  EXPECT_EQ(plan.name, "Post & Co");
  EXPECT_EQ(plan.kind, RelocationKind::symlink);
  EXPECT_EQ(plan.imageSizeBytes, 7'000'000'000);
  EXPECT_EQ(plan.guardedAppPaths, (std::vector<std::string>{"/Applications/X.app", "/Y.app"}));
  EXPECT_FALSE(plan.spotlight);
}

TEST_F(PlanCheckTest, AnUnknownKindIsAUsageError) {
  EXPECT_EQ(problem({"--source", "/a", "--storage", "/b", "--kind", "Image"}),
            "Unbekannte Art „Image“; möglich sind „image“ und „symlink“.");
}

TEST_F(PlanCheckTest, ABadSizeIsAUsageError) {
  EXPECT_NE(problem({"--source", "/a", "--storage", "/b", "--size-gb", "0"}), "");
}

TEST_F(PlanCheckTest, WhatWasNotMeasuredHasNoSizes) {
  const PlanCheck check = this->check({"--source", "/gibt/es/nicht", "--storage", "/b"});
  EXPECT_TRUE(check.isBlocked());
  EXPECT_FALSE(check.isMeasured());
  EXPECT_EQ(check.imageSize, std::nullopt);
  EXPECT_EQ(check.minimumImageSize(), std::nullopt);
  EXPECT_EQ(check.suggestedImageSize(), std::nullopt);
  EXPECT_EQ(check.text().find("Inhalt:"), std::string::npos);
}

TEST_F(PlanCheckTest, ABlockedFolderThatWasMeasuredHasItsSizes) {
  PlanCheck check;
  check.result.blockers = {"Zu wenig Platz am Ziel."};
  check.result.isMeasured = true;
  check.result.size.allocatedBytes = 100'000'000'000;
  EXPECT_TRUE(check.isMeasured());
  EXPECT_EQ(check.minimumImageSize(), 111'000'000'000);
  EXPECT_EQ(check.suggestedImageSize(), 200'000'000'000);
}

TEST_F(PlanCheckTest, TheTextNamesAllThatStandsInTheWay) {
  PlanCheck check;
  check.plan.name = "Ma\nil";
  check.plan.sourcePath = "/Users/a/Mail\nx";
  check.plan.storageDirectory = "/Volumes/X";
  check.imageSize = 20'000'000'000;
  check.result.blockers = {"Erstes\nHindernis.", "Zweites."};
  check.result.warnings = {"Ein Hinweis."};
  ProcessDescription process;
  process.pid = 42;
  process.displayName = "Editor";
  process.termination = ProcessDescription::Termination::forbidden("Systemprozess");
  process.origin = ProcessDescription::Origin::macOS;
  check.result.processes = {process};
  const std::string text = check.text();
  EXPECT_NE(text.find("Name:      Ma\\nil\n"), std::string::npos);
  EXPECT_NE(text.find("Ordner:    /Users/a/Mail\\nx\n"), std::string::npos);
  EXPECT_NE(text.find("Speicher:  /Volumes/X/Ma_il.sparsebundle\n"), std::string::npos);
  EXPECT_NE(text.find("Größe:     20 GB\n"), std::string::npos);
  EXPECT_NE(text.find("  • Erstes\\nHindernis.\n  • Zweites.\n"), std::string::npos);
  EXPECT_NE(text.find("Hinweise:\n  • Ein Hinweis.\n"), std::string::npos);
  EXPECT_NE(text.find("  42"), std::string::npos);
  EXPECT_NE(text.find("Systemprozess"), std::string::npos);
  EXPECT_NE(text.find("macOS startet ihn bei Bedarf neu."), std::string::npos);
  EXPECT_TRUE(text.ends_with("\nDer Ordner kann so nicht ferngewahrt werden.\n"));
}

TEST_F(PlanCheckTest, TheTextOfAFolderThatIsFreeToGo) {
  PlanCheck check;
  check.plan.name = "Mail";
  check.plan.sourcePath = "/Users/a/Mail";
  check.plan.storageDirectory = "/Volumes/X";
  check.imageSize = 21'000'000'000;
  check.result.isMeasured = true;
  check.result.size = {
      .bytes = 12'300'000, .allocatedBytes = 13'000'000, .files = 5, .directories = 3, .symlinks = 1};
  EXPECT_EQ(check.text(),
            "Name:      Mail\n"
            "Ordner:    /Users/a/Mail\n"
            "Speicher:  /Volumes/X/Mail.sparsebundle\n"
            "Art:       Virtuelle Festplatte\n"
            "Inhalt:    12,3 MB in 5 Dateien, 3 Ordnern und 1 Symlinks; belegt 13 MB\n"
            "Benötigt:  mindestens 1,01 GB, vorgeschlagen 21 GB\n"
            "Größe:     21 GB\n"
            "\n"
            "Der Ordner kann ferngewahrt werden.\n");
}

}  // namespace
}  // namespace fernwahrung
