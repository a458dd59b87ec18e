#include "HelperRun.h"
#include "support/Files.h"

#include "Foundation/PathString.h"
#include "Foundation/Paths.h"
#include "Records/AppSettings.h"

namespace fernwahrung {
namespace {

using SettingsCommandTest = HelperTest;

TEST_F(SettingsCommandTest, AllOfThem) {
  EXPECT_EQ(runHelper({"settings", "--json"}).json(), toJson(AppSettings()));
  EXPECT_EQ(runHelper({"settings"}).out,
            "healthIntervalDays = 7\n"
            "mountOnGuardedAppLaunch = true\n"
            "safeEject = true\n"
            "thresholds.externalCriticalFreeGB = 10\n"
            "thresholds.externalWarnFreeGB = 50\n"
            "thresholds.imageCriticalFraction = 0.95\n"
            "thresholds.imageWarnFraction = 0.85\n"
            "thresholds.internalCriticalFreeGB = 10\n"
            "thresholds.internalWarnFreeGB = 30\n"
            "unmountBeforeSleep = true\n"
            "verifyBeforeMount = true\n");
}

TEST_F(SettingsCommandTest, OneOfThem) {
  EXPECT_EQ(runHelper({"settings", "thresholds.imageWarnFraction"}).out, "0.85\n");
  EXPECT_EQ(runHelper({"settings", "safeEject", "--json"}).json(), true);
  EXPECT_EQ(runHelper({"settings", "thresholds", "--json"}).json()["internalWarnFreeGB"], 30);
}

TEST_F(SettingsCommandTest, SettingOneChangesThatOneOnly) {
  EXPECT_EQ(runHelper({"settings", "thresholds.imageWarnFraction", "0.5"}).out, "0.5\n");
  EXPECT_EQ(runHelper({"settings", "verifyBeforeMount", "false"}).out, "false\n");
  EXPECT_EQ(runHelper({"settings", "healthIntervalDays", "0"}).out, "0\n");
  AppSettings expected;
  expected.thresholds.imageWarnFraction = 0.5;
  expected.verifyBeforeMount = false;
  expected.healthIntervalDays = 0;
  EXPECT_EQ(AppSettings::load(), expected);
}

TEST_F(SettingsCommandTest, TheDateOfTheLastCheckIsKeptAndNotSet) {
  AppSettings settings;
  settings.lastHealthCheck = Dates::parseIso8601("2026-11-15T10:09:15Z");
  settings.save();
  EXPECT_EQ(runHelper({"settings", "safeEject", "false"}).code, ExitCode::done);
  EXPECT_EQ(AppSettings::load().lastHealthCheck, settings.lastHealthCheck);
  EXPECT_EQ(runHelper({"settings", "lastHealthCheck", "2026-11-16T10:09:15Z"}).code, ExitCode::usage);
}

TEST_F(SettingsCommandTest, TheDateOfACheckThatNeverWasIsNull) {
  EXPECT_EQ(runHelper({"settings", "lastHealthCheck"}).out, "null\n");
  EXPECT_TRUE(runHelper({"settings", "lastHealthCheck", "--json"}).json().is_null());
  EXPECT_EQ(runHelper({"settings", "lastHealthCheck", "2026-11-16T10:09:15Z"}).code, ExitCode::usage);
  EXPECT_EQ(runHelper({"settings", "safeEject", "false"}).code, ExitCode::done);
  EXPECT_EQ(AppSettings::load().lastHealthCheck, std::nullopt);
}

TEST_F(SettingsCommandTest, ThresholdsEditedByHandAreNoHindranceToAnotherSetting) {
  AppSettings settings;
  settings.thresholds.imageWarnFraction = settings.thresholds.imageCriticalFraction = 3;
  settings.save();
  EXPECT_EQ(runHelper({"settings", "safeEject", "false"}).code, ExitCode::done);
  settings.safeEject = false;
  EXPECT_EQ(AppSettings::load(), settings);
  EXPECT_EQ(runHelper({"settings", "thresholds.internalWarnFreeGB", "40"}).code, ExitCode::usage);
}

TEST_F(SettingsCommandTest, AnUnknownOneListsThem) {
  for (const std::string key : {"nix", "thresholds.nix", "", "thresholds.", ".", "/", "~", "safeEject.x",
                                "thresholds/imageWarnFraction", "a..b"}) {
    const HelperResult result = runHelper({"settings", key, "1"});
    EXPECT_EQ(result.code, ExitCode::usage) << key;
  }
  const HelperResult result = runHelper({"settings", "nix"});
  EXPECT_TRUE(
      result.err.starts_with("Die Einstellung „nix“ ist unbekannt. Es gibt:\nhealthIntervalDays = 7\n"));
}

TEST_F(SettingsCommandTest, AValueOfTheWrongKindIsRefused) {
  const std::vector<std::pair<std::string, std::string>> bad = {
      {"safeEject", "nein"},
      {"safeEject", "0"},
      {"safeEject", "\"true\""},
      {"healthIntervalDays", "7.5"},
      {"healthIntervalDays", "-1"},
      {"healthIntervalDays", "1000001"},
      {"healthIntervalDays", "99999999999999999999"},
      {"thresholds.imageWarnFraction", "0,9"},
      {"thresholds.imageWarnFraction", "-0.1"},
      {"thresholds.imageWarnFraction", "1e999"},
      {"thresholds.imageWarnFraction", "NaN"},
      {"thresholds", "{}"},
      {"thresholds", "1"},
      {"safeEject", "true false"}};
  for (const auto& [key, value] : bad)
    EXPECT_EQ(runHelper({"settings", key, value}).code, ExitCode::usage) << key << " " << value;
  EXPECT_EQ(AppSettings::load(), AppSettings());
}

TEST_F(SettingsCommandTest, TheCriticalThresholdStaysTheStricter) {
  const std::vector<std::pair<std::string, std::string>> bad = {{"thresholds.imageWarnFraction", "0.95"},
                                                                {"thresholds.imageCriticalFraction", "1.01"},
                                                                {"thresholds.externalCriticalFreeGB", "50"},
                                                                {"thresholds.internalWarnFreeGB", "10"}};
  for (const auto& [key, value] : bad) {
    const HelperResult result = runHelper({"settings", key, value});
    EXPECT_EQ(result.code, ExitCode::usage);
    EXPECT_EQ(result.err, "Die kritische Schwelle muss strenger sein als die Warnung.\n");
  }
  EXPECT_EQ(AppSettings::load(), AppSettings());
}

TEST_F(SettingsCommandTest, ADamagedFileShowsTheDefaults) {
  writeFile(PathString::join(Paths::supportDirectory(), "settings.json"), "{\"safeEject\": \"vielleicht\"}");
  EXPECT_EQ(runHelper({"settings", "--json"}).json(), toJson(AppSettings()));
}

TEST_F(SettingsCommandTest, CapacityListsVolumesAndImages) {
  Relocation image = makeRelocation(firstId, "Mail", home_ / "nix");
  image.kind = RelocationKind::image;
  Relocation restored = makeRelocation(thirdId, "Alt", home_ / "alt");
  restored.kind = RelocationKind::image;
  restored.state = RelocationState::restored;
  saveRegistry({image, restored, makeRelocation(secondId, "Link", home_ / "link")});
  const Json::Value document = runHelper({"capacity", "--json"}).json();
  ASSERT_FALSE(document["volumes"].empty());
  EXPECT_EQ(document["volumes"][0]["name"], "Interne Festplatte");
  EXPECT_EQ(document["volumes"][0]["isInternal"], true);
  ASSERT_EQ(document["images"].size(), 1U);
  EXPECT_EQ(document["images"][0]["id"], firstId);
  EXPECT_TRUE(document["images"][0]["usedBytes"].is_null());

  const std::string text = runHelper({"capacity"}).out;
  EXPECT_NE(text.find("Interne Festplatte"), std::string::npos);
  EXPECT_NE(text.find("  nicht eingehängt  unbekannt"), std::string::npos) << text;
}

}  // namespace
}  // namespace fernwahrung
