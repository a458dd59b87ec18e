#include "support/Files.h"
#include "support/TempFolder.h"

#include "Records/AppSettings.h"

#include <cmath>
#include <gtest/gtest.h>
#include <unistd.h>

namespace fernwahrung {
namespace {

AppSettings changedSettings() {
  AppSettings settings;
  settings.thresholds = {0.5, 0.75, 1, 2, 3, 4};
  settings.healthIntervalDays = 30;
  settings.lastHealthCheck = *Dates::parseIso8601("2026-11-15T10:09:15Z");
  settings.unmountBeforeSleep = false;
  settings.safeEject = false;
  settings.verifyBeforeMount = false;
  settings.mountOnGuardedAppLaunch = false;
  return settings;
}

class AppSettingsTest : public ::testing::Test {
 protected:
  std::string file() const { return home_ / "settings.json"; }
  AppSettings loaded(const std::string& text) const {
    ::unlink(file().c_str());
    writeFile(file(), text);
    return AppSettings::load();
  }

  TempHome home_;
};

TEST_F(AppSettingsTest, ShipsWithItsDefaults) {
  const AppSettings settings;
  EXPECT_EQ(settings.thresholds.imageWarnFraction, 0.85);
  EXPECT_EQ(settings.thresholds.imageCriticalFraction, 0.95);
  EXPECT_EQ(settings.thresholds.externalWarnFreeGB, 50);
  EXPECT_EQ(settings.thresholds.externalCriticalFreeGB, 10);
  EXPECT_EQ(settings.thresholds.internalWarnFreeGB, 30);
  EXPECT_EQ(settings.thresholds.internalCriticalFreeGB, 10);
  EXPECT_EQ(settings.healthIntervalDays, 7);
  EXPECT_EQ(settings.lastHealthCheck, std::nullopt);
  EXPECT_TRUE(settings.unmountBeforeSleep);
  EXPECT_TRUE(settings.safeEject);
  EXPECT_TRUE(settings.verifyBeforeMount);
  EXPECT_TRUE(settings.mountOnGuardedAppLaunch);
}

TEST_F(AppSettingsTest, WithoutAFileTheDefaultsCount) {
  EXPECT_EQ(AppSettings::load(), AppSettings());
  EXPECT_FALSE(exists(file()));
}

TEST_F(AppSettingsTest, WhatIsSavedIsLoaded) {
  changedSettings().save();
  EXPECT_EQ(AppSettings::load(), changedSettings());
  EXPECT_EQ(namesIn(home_.path()), std::vector<std::string>{"settings.json"});
}

TEST_F(AppSettingsTest, IsWrittenWithNestedThresholdsAndSortedKeys) {
  AppSettings().save();
  EXPECT_EQ(readFile(file()), R"({
  "healthIntervalDays" : 7,
  "mountOnGuardedAppLaunch" : true,
  "safeEject" : true,
  "thresholds" : {
    "externalCriticalFreeGB" : 10,
    "externalWarnFreeGB" : 50,
    "imageCriticalFraction" : 0.95,
    "imageWarnFraction" : 0.85,
    "internalCriticalFreeGB" : 10,
    "internalWarnFreeGB" : 30
  },
  "unmountBeforeSleep" : true,
  "verifyBeforeMount" : true
})");
}

TEST_F(AppSettingsTest, AnEmptyObjectGivesAllDefaults) {
  EXPECT_EQ(loaded("{}"), AppSettings());
}

TEST_F(AppSettingsTest, OneKeyLeavesAllOthersAtTheirDefaults) {
  AppSettings expected;
  expected.safeEject = false;
  EXPECT_EQ(loaded(R"({"safeEject": false})"), expected);
}

TEST_F(AppSettingsTest, OneThresholdLeavesTheOtherFive) {
  AppSettings expected;
  expected.thresholds.externalWarnFreeGB = 99;
  EXPECT_EQ(loaded(R"({"thresholds": {"externalWarnFreeGB": 99}})"), expected);
}

TEST_F(AppSettingsTest, NullAndUnknownKeysAreAsIfTheyWereAbsent) {
  EXPECT_EQ(loaded(R"({"safeEject": null, "thresholds": null, "lastHealthCheck": null, "later": [1]})"),
            AppSettings());
}

TEST_F(AppSettingsTest, AWholeNumberIsAFractionToo) {
  EXPECT_EQ(loaded(R"({"thresholds": {"imageWarnFraction": 1}})").thresholds.imageWarnFraction, 1.0);
}

TEST_F(AppSettingsTest, AValueOfAnotherTypeFailsTheWholeFile) {
  for (const char* text :
       {R"({"safeEject": false, "healthIntervalDays": "7"})",
        R"({"safeEject": false, "healthIntervalDays": 1.5})",
        R"({"safeEject": false, "healthIntervalDays": 1e300})", R"({"safeEject": 0})",
        R"({"safeEject": false, "thresholds": []})", R"({"safeEject": false, "thresholds": 7})",
        R"({"safeEject": false, "thresholds": {"imageWarnFraction": "0.5"}})",
        R"({"safeEject": false, "thresholds": {"externalWarnFreeGB": true}})",
        R"({"safeEject": false, "lastHealthCheck": 7})",
        R"({"safeEject": false, "lastHealthCheck": "heute"})"}) {
    EXPECT_EQ(loaded(text), AppSettings()) << text;
  }
}

TEST_F(AppSettingsTest, ADamagedFileGivesTheDefaults) {
  for (const std::string& text :
       {std::string(), std::string("{"), std::string("[]"), std::string("null"), std::string("7"),
        std::string("{\"safeEject\": false} x"), std::string("{\"safeEject\": false, \"x\": \"\xff\"}"),
        "{\"safeEject\": false, \"x\": " + std::string(10'000, '[') + std::string(10'000, ']') + "}",
        std::string(100, '\0')}) {
    EXPECT_EQ(loaded(text), AppSettings()) << text.substr(0, 60);
  }
}

TEST_F(AppSettingsTest, CutAtEachByteItGivesTheDefaults) {
  const auto whole = Json::print(toJson(changedSettings()));
  for (std::size_t length = 0; length < whole.size(); ++length) {
    EXPECT_EQ(loaded(whole.substr(0, length)), AppSettings()) << length;
  }
  EXPECT_EQ(loaded(whole), changedSettings());
}

TEST_F(AppSettingsTest, AFolderInItsPlaceGivesTheDefaultsAndFailsTheSave) {
  makeFolder(file() + "/in the way");
  EXPECT_EQ(AppSettings::load(), AppSettings());
  EXPECT_ANY_THROW(AppSettings().save());
}

TEST_F(AppSettingsTest, AFractionThatIsNoNumberIsNotSaved) {
  AppSettings().save();
  auto settings = changedSettings();
  settings.thresholds.imageWarnFraction = std::nan("");
  EXPECT_THROW(settings.save(), JsonError);
  EXPECT_EQ(AppSettings::load(), AppSettings());
}

}  // namespace
}  // namespace fernwahrung
