#include "HelperRun.h"
#include "helper/JsonForms.h"

#include <set>

namespace fernwahrung {
namespace {

std::set<std::string> keys(const Json::Value& object) {
  std::set<std::string> names;
  for (const auto& [key, value] : object.items()) names.insert(key);
  return names;
}

TEST(JsonForms, ACheckHasItsShape) {
  PlanCheck check;
  check.plan.name = "Mail";
  check.plan.sourcePath = "/Users/a/Mail";
  check.plan.storageDirectory = "/Volumes/X";
  check.plan.guardedAppPaths = {"/A.app"};
  check.plan.spotlight = true;
  check.imageSize = 21'000'000'000;
  check.result.isMeasured = true;
  check.result.size = {.bytes = 1, .allocatedBytes = 2, .files = 3, .directories = 4, .symlinks = 5};
  ProcessDescription process;
  process.pid = 42;
  process.displayName = "Editor";
  process.technicalName = "editor";
  process.openFileCount = 1;
  check.result.processes = {process};
  check.result.warnings = {"w"};

  const Json::Value value = JsonForms::check(check);
  EXPECT_EQ(keys(value), (std::set<std::string>{"plan", "blockers", "warnings", "processes", "size",
                                                "minimumImageBytes", "suggestedImageBytes"}));
  EXPECT_EQ(value["plan"], Json::parse(R"({"name": "Mail", "kind": "image", "sourcePath": "/Users/a/Mail",
      "storageDirectory": "/Volumes/X", "storagePath": "/Volumes/X/Mail.sparsebundle", "imageSizeBytes": 21000000000,
      "guardedAppPaths": ["/A.app"], "spotlight": true})"));
  EXPECT_EQ(value["size"],
            Json::parse(R"({"bytes": 1, "allocatedBytes": 2, "files": 3, "directories": 4, "symlinks": 5})"));
  EXPECT_EQ(value["blockers"], Json::Value::array());
  EXPECT_EQ(value["warnings"], Json::parse(R"(["w"])"));
  EXPECT_EQ(value["minimumImageBytes"], 1'000'000'002);
  EXPECT_EQ(value["suggestedImageBytes"], 21'000'000'000);
  ASSERT_EQ(value["processes"].size(), 1U);
  EXPECT_EQ(keys(value["processes"][0]),
            (std::set<std::string>{"pid", "displayName", "kindText", "message", "canTerminate"}));
  EXPECT_EQ(value["processes"][0]["pid"], 42);
  EXPECT_EQ(value["processes"][0]["canTerminate"], true);
}

TEST(JsonForms, SizesThatWereNotMeasuredAreNull) {
  PlanCheck check;
  check.result.blockers = {"b"};
  const Json::Value value = JsonForms::check(check);
  EXPECT_TRUE(value["minimumImageBytes"].is_null());
  EXPECT_TRUE(value["suggestedImageBytes"].is_null());
  EXPECT_TRUE(value["plan"]["imageSizeBytes"].is_null());
  EXPECT_EQ(value["processes"], Json::Value::array());
}

TEST(JsonForms, ARelocationIsItsRecordWithItsStatus) {
  const Relocation relocation = makeRelocation(firstId, "Mail", "/a\nb");
  const RelocationStatus status{.health = RelocationStatus::Health::error,
                                .summary = "Externes Laufwerk fehlt",
                                .details = {"d"},
                                .mounted = false,
                                .storageAvailable = false,
                                .locked = true,
                                .accessDenied = false};
  Json::Value value = JsonForms::relocation(relocation, status);
  EXPECT_EQ(value["status"],
            Json::parse(R"({"health": "error", "summary": "Externes Laufwerk fehlt", "details": ["d"],
                "mounted": false, "storageAvailable": false, "locked": true, "accessDenied": false})"));
  value.erase("status");
  EXPECT_EQ(value, toJson(relocation));
}

TEST(JsonForms, EachHealthHasItsName) {
  const Relocation relocation = makeRelocation(firstId, "Mail", "/a");
  const auto health = [&](RelocationStatus::Health value) {
    return JsonForms::relocation(relocation,
                                 {.health = value, .summary = "", .details = {}})["status"]["health"];
  };
  EXPECT_EQ(health(RelocationStatus::Health::ok), "ok");
  EXPECT_EQ(health(RelocationStatus::Health::warning), "warning");
  EXPECT_EQ(health(RelocationStatus::Health::error), "error");
}

TEST(JsonForms, AJournalIsItsRecordWithItsResult) {
  Journal journal = makeJournal(firstId, makeRelocation(secondId, "Mail", "/a"), "2026-11-15T10:09:15Z");
  Json::Value value = JsonForms::journal(journal);
  EXPECT_TRUE(value.contains("result"));
  EXPECT_TRUE(value["result"].is_null());
  value.erase("result");
  EXPECT_EQ(value, toJson(journal));

  journal.finished = true;
  EXPECT_EQ(JsonForms::journal(journal)["result"], "erfolgreich");
  journal.paths["ergebnis"] = "zurückgerollt";
  EXPECT_EQ(JsonForms::journal(journal)["result"], "zurückgerollt");
}

TEST(JsonForms, AnImageWhoseFillIsUnknownSaysNull) {
  const Json::Value value = JsonForms::image(makeRelocation(firstId, "Mail", "/a"), {});
  EXPECT_EQ(value,
            Json::parse(R"({"id": "68753A44-4D6F-1226-9C60-0050E4C00067", "name": "Mail", "usedBytes": null,
      "capacityBytes": null, "occupiedOnDrive": 0, "driveFreeBytes": null, "fraction": null, "canStillGrow": null,
      "level": "ok", "messages": []})"));
}

TEST(JsonForms, AVolumeHasItsFieldsAndItsLevelByName) {
  const VolumeCapacity volume{.name = "X",
                              .mountPoint = "/Volumes/X",
                              .totalBytes = 100,
                              .freeBytes = 25,
                              .isInternal = false,
                              .level = CapacityLevel::critical};
  EXPECT_EQ(JsonForms::volume(volume),
            Json::parse(R"({"name": "X", "mountPoint": "/Volumes/X", "totalBytes": 100, "freeBytes": 25,
                "isInternal": false, "level": "critical", "fraction": 0.75})"));
}

}  // namespace
}  // namespace fernwahrung
