#include "HelperRun.h"
#include "support/Files.h"

#include "Foundation/Paths.h"

namespace fernwahrung {
namespace {

using ListCommandTest = HelperTest;

TEST_F(ListCommandTest, AnEmptyList) {
  EXPECT_EQ(runHelper({"list"}).out, "Es ist nichts ferngewahrt.\n");
  EXPECT_EQ(runHelper({"list", "--json"}).json(), Json::parse(R"({"relocations": []})"));
}

TEST_F(ListCommandTest, EachRelocationIsItsRecordWithItsStatus) {
  const Relocation relocation = makeRelocation(firstId, "Mail", home_ / "nix");
  saveRegistry({relocation, makeRelocation(thirdId, "Fotos", home_ / "nichts")});
  const HelperResult result = runHelper({"list", "--json"});
  EXPECT_EQ(result.code, ExitCode::done);
  ASSERT_EQ(result.json()["relocations"].size(), 2U);
  Json::Value first = result.json()["relocations"][0];
  EXPECT_EQ(first["status"]["health"], "error");
  EXPECT_EQ(first["status"]["summary"], "Externes Laufwerk fehlt");
  EXPECT_EQ(first["status"]["storageAvailable"], false);
  first.erase("status");
  EXPECT_EQ(first, toJson(relocation));
}

TEST_F(ListCommandTest, TheTableShowsTheFindings) {
  saveRegistry({makeRelocation(firstId, "Mail", home_ / "nix")});
  const HelperResult result = runHelper({"list"});
  EXPECT_EQ(result.code, ExitCode::done);
  EXPECT_NE(result.out.find("✗  68753A44  Mail  Symlink  Externes Laufwerk fehlt"), std::string::npos);
  EXPECT_NE(result.out.find("     App nicht starten, bis das Laufwerk verbunden ist.\n"), std::string::npos);
}

TEST_F(ListCommandTest, ADamagedListIsSaid) {
  writeFile(Paths::registryFile(), "{");
  const HelperResult result = runHelper({"list", "--json"});
  EXPECT_EQ(result.code, ExitCode::failed);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "Die Liste der Fernwahrungen ist beschädigt: " + Paths::registryFile() + "\n");
}

TEST_F(ListCommandTest, ADamagedListWithItsBackupIsReadFromThere) {
  saveRegistry({makeRelocation(firstId, "Mail", home_ / "nix")});
  saveRegistry({makeRelocation(firstId, "Mail", home_ / "nix")});
  writeFile(Paths::registryFile(), "{");
  EXPECT_EQ(runHelper({"list", "--json"}).json()["relocations"][0]["name"], "Mail");
}

TEST_F(ListCommandTest, StatusIsOneElementOfTheList) {
  saveRegistry(
      {makeRelocation(firstId, "Mail", home_ / "nix"), makeRelocation(thirdId, "Fotos", home_ / "a\nb")});
  EXPECT_EQ(runHelper({"status", "Fotos", "--json"}).json(),
            runHelper({"list", "--json"}).json()["relocations"][1]);
  EXPECT_EQ(runHelper({"status", "f00d"}).out, runHelper({"status", home_ / "a\nb"}).out);
}

TEST_F(ListCommandTest, StatusOfAnUnknownOne) {
  saveRegistry({makeRelocation(firstId, "Mail", home_ / "nix")});
  const HelperResult result = runHelper({"status", "nix"});
  EXPECT_EQ(result.code, ExitCode::usage);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "„nix“ ist unbekannt. Bekannt sind:\n  68753A44-4D6F-1226-9C60-0050E4C00067  Mail  " +
                            (home_ / "nix") + "\n");
}

}  // namespace
}  // namespace fernwahrung
