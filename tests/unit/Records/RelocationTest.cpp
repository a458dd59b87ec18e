#include "Samples.h"

#include <gtest/gtest.h>

namespace fernwahrung {
namespace {

const std::vector<const char*> requiredKeys = {
    "id", "name", "kind", "sourcePath", "storagePath", "guardedAppPaths", "spotlight", "createdAt", "state"};
const std::vector<const char*> optionalKeys = {"originalBackupPath", "safetyCopies", "previousStoragePaths",
                                               "asideFolders"};

/// The sample's JSON with one key given another value.
Json::Value with(const char* key, const Json::Value& value) {
  auto json = toJson(fullRelocation());
  json[key] = value;
  return json;
}

TEST(Relocation, NamesItsKindsAndStates) {
  EXPECT_EQ(rawValue(RelocationKind::image), "image");
  EXPECT_EQ(rawValue(RelocationKind::symlink), "symlink");
  EXPECT_EQ(title(RelocationKind::image), "Virtuelle Festplatte");
  EXPECT_EQ(title(RelocationKind::symlink), "Symlink");
  EXPECT_EQ(rawValue(RelocationState::active), "active");
  EXPECT_EQ(rawValue(RelocationState::restored), "restored");
  for (const auto kind : allRelocationKinds) EXPECT_EQ(relocationKind(rawValue(kind)), kind);
  EXPECT_EQ(relocationKind("Image"), std::nullopt);
  EXPECT_EQ(relocationKind(""), std::nullopt);
}

TEST(Relocation, TheSidecarKeepsTheWholeNameOfTheStorage) {
  EXPECT_EQ(fullRelocation().sidecarPath(), "/Volumes/Extern/Fotos.sparsebundle.fernwahrung.json");
  EXPECT_EQ(plainRelocation().sidecarPath(), "/Volumes/Extern/Musik.fernwahrung.json");
}

TEST(Relocation, IsWrittenWithSortedKeysWholeSecondsAndNothingForWhatIsAbsent) {
  EXPECT_EQ(Json::print(toJson(plainRelocation())), R"({
  "createdAt" : "2025-01-02T03:04:05Z",
  "guardedAppPaths" : [

  ],
  "id" : "0F3A5B60-1111-4222-8333-444455556666",
  "kind" : "symlink",
  "name" : "Musik",
  "sourcePath" : "\/Users\/anna\/Music",
  "spotlight" : false,
  "state" : "restored",
  "storagePath" : "\/Volumes\/Extern\/Musik"
})");
}

TEST(Relocation, ComesBackAsItWas) {
  for (const auto& relocation : {fullRelocation(), plainRelocation()}) {
    EXPECT_EQ(relocationFromJson(Json::parse(Json::print(toJson(relocation)))), relocation);
  }
}

TEST(Relocation, ARecordOfAnOlderVersionLoadsAndIsWrittenWithoutTheNewerKeys) {
  auto json = toJson(fullRelocation());
  for (const char* key : optionalKeys) json.erase(key);
  const auto relocation = relocationFromJson(json);
  EXPECT_EQ(relocation.originalBackupPath, std::nullopt);
  EXPECT_EQ(relocation.safetyCopies, std::nullopt);
  EXPECT_EQ(relocation.previousStoragePaths, std::nullopt);
  EXPECT_EQ(relocation.asideFolders, std::nullopt);
  EXPECT_EQ(toJson(relocation), json);
}

TEST(Relocation, AnEmptyOptionalListIsNotAnAbsentOne) {
  const auto json = toJson(fullRelocation());
  EXPECT_EQ(json.at("asideFolders"), Json::Value::array());
  EXPECT_EQ(relocationFromJson(json).asideFolders, std::vector<std::string>{});
}

TEST(Relocation, EveryOtherKeyIsRequired) {
  for (const char* key : requiredKeys) {
    auto json = toJson(fullRelocation());
    json.erase(key);
    EXPECT_THROW(relocationFromJson(json), JsonError) << key;
    EXPECT_THROW(relocationFromJson(with(key, nullptr)), JsonError) << key;
  }
}

TEST(Relocation, NullInAnOptionalKeyIsAsIfItWereAbsent) {
  for (const char* key : optionalKeys) {
    auto without = toJson(fullRelocation());
    without.erase(key);
    EXPECT_EQ(relocationFromJson(with(key, nullptr)), relocationFromJson(without)) << key;
  }
}

TEST(Relocation, AValueOfAnotherTypeIsNoRecord) {
  const auto number = Json::Value(7);
  const auto text = Json::Value("x");
  const auto mixed = Json::Value{"a", 1};
  for (const char* key :
       {"id", "name", "kind", "sourcePath", "storagePath", "createdAt", "state", "originalBackupPath"}) {
    EXPECT_THROW(relocationFromJson(with(key, number)), JsonError) << key;
    EXPECT_THROW(relocationFromJson(with(key, Json::Value::object())), JsonError) << key;
  }
  for (const char* key : {"guardedAppPaths", "safetyCopies", "previousStoragePaths", "asideFolders"}) {
    EXPECT_THROW(relocationFromJson(with(key, text)), JsonError) << key;
    EXPECT_THROW(relocationFromJson(with(key, mixed)), JsonError) << key;
  }
  for (const auto& flag : {number, text, Json::Value(0)}) {
    EXPECT_THROW(relocationFromJson(with("spotlight", flag)), JsonError);
  }
}

TEST(Relocation, DatesAndIdentifiersHaveTheWrittenForm) {
  for (const char* date : {"2026-11-15T10:09:15.123Z", "2026-11-15T10:09:15+01:00", "2026-11-15 10:09:15Z",
                           "2026-02-30T10:09:15Z", "2026-11-15", "", "1763201355"}) {
    EXPECT_THROW(relocationFromJson(with("createdAt", date)), JsonError) << date;
  }
  for (const char* id : {"68753A444D6F42269C600050E4C00067", "68753A44-4D6F-4226-9C60-0050E4C0006", "",
                         "{68753A44-4D6F-4226-9C60-0050E4C00067}", "68753A44-4D6F-4226-9C60-0050E4C0006G"}) {
    EXPECT_THROW(relocationFromJson(with("id", id)), JsonError) << id;
  }
}

TEST(Relocation, AnIdentifierInSmallLettersIsTheSameOne) {
  const auto relocation = relocationFromJson(with("id", "68753a44-4d6f-4226-9c60-0050e4c00067"));
  EXPECT_EQ(relocation.id, fullRelocation().id);
  EXPECT_EQ(toJson(relocation).at("id"), "68753A44-4D6F-4226-9C60-0050E4C00067");
}

TEST(Relocation, AnUnknownKindOrStateIsNoRecord) {
  EXPECT_THROW(relocationFromJson(with("kind", "IMAGE")), JsonError);
  EXPECT_THROW(relocationFromJson(with("kind", "")), JsonError);
  EXPECT_THROW(relocationFromJson(with("state", "deleted")), JsonError);
}

TEST(Relocation, APathWithAZeroByteIsNoPath) {
  const std::string cut("/Users/anna\0/Pictures", 21);
  for (const char* key : {"sourcePath", "storagePath", "originalBackupPath"}) {
    EXPECT_THROW(relocationFromJson(with(key, cut)), JsonError) << key;
  }
  for (const char* key : {"guardedAppPaths", "safetyCopies", "previousStoragePaths", "asideFolders"}) {
    EXPECT_THROW(relocationFromJson(with(key, Json::Value::array({"/a", cut}))), JsonError) << key;
  }
}

TEST(Relocation, UnknownKeysArePassedOver) {
  EXPECT_EQ(relocationFromJson(with("later", Json::Value{{"a", 1}, {"b", 2}})), fullRelocation());
}

TEST(Relocation, WhatIsNoObjectIsNoRecord) {
  for (const char* text : {"[]", "null", "7", "\"id\"", "true", "{}"}) {
    EXPECT_THROW(relocationFromJson(Json::parse(text)), JsonError) << text;
  }
}

}  // namespace
}  // namespace fernwahrung
