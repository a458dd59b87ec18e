#include "Drive.h"
#include "HelperRun.h"
#include "support/Files.h"

#include <filesystem>

namespace fernwahrung {
namespace {

class CheckCommandTest : public HelperTest {
 protected:
  HelperResult check(const std::string& source, const std::string& storage,
                     std::vector<std::string> more = {}) {
    more.insert(more.begin(), {"check", "--source", source, "--storage", storage});
    return runHelper(more);
  }
  TempFolder folder_;
};

TEST_F(CheckCommandTest, AMissingFolderBlocks) {
  const HelperResult result = check(folder_ / "nix", folder_.path());
  EXPECT_EQ(result.code, ExitCode::blocked);
  EXPECT_EQ(result.err, "");
  EXPECT_NE(result.out.find("  • Der Ordner existiert nicht: " + (folder_ / "nix")), std::string::npos);
}

TEST_F(CheckCommandTest, AFileInsteadOfAFolderBlocks) {
  writeFile(folder_ / "datei", "x");
  const HelperResult result = check(folder_ / "datei", folder_.path(), {"--json"});
  EXPECT_EQ(result.code, ExitCode::blocked);
  EXPECT_EQ(result.json()["blockers"][0], "Das ist kein Ordner.");
}

TEST_F(CheckCommandTest, AStorageInsideTheSourceBlocks) {
  makeFolder(folder_ / "a/b");
  const HelperResult result = check(folder_ / "a", folder_ / "a/b", {"--json"});
  EXPECT_EQ(result.code, ExitCode::blocked);
  EXPECT_EQ(result.json()["blockers"][0], "Das Ziel liegt innerhalb des fernzuwahrenden Ordners.");
}

TEST_F(CheckCommandTest, APathWithALineBreakIsEscapedForPeopleAndWholeInJson) {
  const std::string path = folder_ / "a\nb";
  const HelperResult text = check(path, folder_.path());
  EXPECT_EQ(text.out.find("a\nb"), std::string::npos);
  EXPECT_NE(text.out.find("/a\\nb"), std::string::npos);
  EXPECT_EQ(check(path, folder_.path(), {"--json"}).json()["plan"]["sourcePath"], path);
}

TEST_F(CheckCommandTest, AFolderThatIsFreeToGo) {
  const Drive drive;
  if (drive.unavailable()) GTEST_SKIP() << *drive.unavailable();
  writeFile(folder_ / "quelle/a", "12345");
  makeFolder(drive.path() + "/ziel");
  const HelperResult result =
      check(folder_ / "quelle", drive.path() + "/ziel", {"--json", "--kind", "symlink"});
  EXPECT_EQ(result.code, ExitCode::done) << result.out;
  EXPECT_EQ(result.json()["blockers"], Json::Value::array());
  EXPECT_EQ(result.json()["size"]["bytes"], 5);
  EXPECT_EQ(result.json()["size"]["files"], 1);
  EXPECT_EQ(result.json()["suggestedImageBytes"], 21'000'000'000);
  EXPECT_FALSE(exists(drive.path() + "/ziel/quelle"));
}

TEST_F(CheckCommandTest, AnImageThatIsTooSmallBlocks) {
  const Drive drive;
  if (drive.unavailable()) GTEST_SKIP() << *drive.unavailable();
  writeFile(folder_ / "quelle/a", "12345");
  makeFolder(drive.path() + "/ziel");
  const HelperResult result = check(folder_ / "quelle", drive.path() + "/ziel", {"--size-gb", "1", "--json"});
  EXPECT_EQ(result.code, ExitCode::blocked);
  EXPECT_EQ(result.json()["blockers"],
            Json::parse(R"(["Die virtuelle Festplatte ist zu klein. Mindestens 1 GB."])"));
}

TEST_F(CheckCommandTest, TheNameIsTheLastPartOfThePath) {
  EXPECT_EQ(check("quelle/", folder_.path(), {"--json"}).json()["plan"]["name"], "quelle");
  EXPECT_EQ(check("quelle", folder_.path(), {"--json"}).json()["plan"]["sourcePath"],
            std::filesystem::current_path().string() + "/quelle");
}

TEST_F(CheckCommandTest, ANameOfForbiddenCharactersBecomesUnderscores) {
  const Json::Value plan = check(folder_ / "x", "/s", {"--name", "//:", "--json"}).json()["plan"];
  EXPECT_EQ(plan["name"], "//:");
  EXPECT_EQ(plan["storagePath"], "/s/___.sparsebundle");
}

}  // namespace
}  // namespace fernwahrung
