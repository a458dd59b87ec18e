#include "HelperRun.h"
#include "helper/RelocationText.h"

namespace fernwahrung {
namespace {

RelocationStatus status(RelocationStatus::Health health, const std::string& summary,
                        const std::vector<std::string>& details = {}) {
  return {.health = health, .summary = summary, .details = details};
}

TEST(RelocationText, NothingIsSaid) {
  EXPECT_EQ(RelocationText::table({}, {}), "Es ist nichts ferngewahrt.\n");
}

TEST(RelocationText, OneRowEachWithItsFindings) {
  Relocation image = makeRelocation(thirdId, "Müller", "/Users/a/Müller");
  image.kind = RelocationKind::image;
  EXPECT_EQ(
      RelocationText::table(
          {makeRelocation(firstId, "Mail", "/Users/a/Mail"), image},
          {status(RelocationStatus::Health::ok, "Verlinkt"),
           status(RelocationStatus::Health::error, "Nicht eingehängt", {"Eins.", "Zwei."})}),
      "   ID        Name    Art                   Zustand           Ordner → Speicher\n"
      "✓  68753A44  Mail    Symlink               Verlinkt          /Users/a/Mail → /Volumes/Nicht da/Mail\n"
      "✗  F00D0001  Müller  Virtuelle Festplatte  Nicht eingehängt  /Users/a/Müller → /Volumes/Nicht da/Müller\n"
      "     Eins.\n"
      "     Zwei.\n");
}

TEST(RelocationText, AWarningHasItsSign) {
  EXPECT_NE(RelocationText::table({makeRelocation(firstId, "Mail", "/a")},
                                  {status(RelocationStatus::Health::warning, "x")})
                .find("\n!  68753A44"),
            std::string::npos);
}

TEST(RelocationText, LineBreaksInPathsDoNotBreakTheTable) {
  const std::string text = RelocationText::table({makeRelocation(firstId, "Ma\nil", "/a\n/b")},
                                                 {status(RelocationStatus::Health::ok, "Verlinkt")});
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 2);
  EXPECT_NE(text.find("Ma\\nil"), std::string::npos);
  EXPECT_NE(text.find("/a\\n/b"), std::string::npos);
}

TEST(RelocationText, DetailsSayEverything) {
  Relocation relocation = makeRelocation(firstId, "Mail", "/Users/a/Mail\n");
  relocation.kind = RelocationKind::image;
  relocation.originalBackupPath = "/Users/a/Mail.ORIGINAL-1";
  relocation.guardedAppPaths = {"/A.app", "/B.app"};
  relocation.safetyCopies = {"/s"};
  relocation.previousStoragePaths = {"/p"};
  relocation.asideFolders = {"/v"};
  const std::string text = RelocationText::details(
      relocation, status(RelocationStatus::Health::error, "Externes Laufwerk fehlt", {"Befund."}));
  for (const char* line :
       {"Name:             Mail\n", "ID:               68753A44-4D6F-1226-9C60-0050E4C00067\n",
        "Art:              Virtuelle Festplatte\n", "Zustand:          ✗ Externes Laufwerk fehlt\n",
        "Befund:           Befund.\n", "Ordner:           /Users/a/Mail\\n\n",
        "Laufwerk:         nicht erreichbar\n", "Original:         /Users/a/Mail.ORIGINAL-1\n",
        "Geschützte App:   /A.app\n", "Geschützte App:   /B.app\n", "Sicherheitskopie: /s\n",
        "Früherer Ort:     /p\n", "Beiseite gelegt:  /v\n", "Spotlight:        nein\n"})
    EXPECT_NE(text.find(line), std::string::npos) << line << "\n" << text;
}

}  // namespace
}  // namespace fernwahrung
