#include "Samples.h"
#include "support/Files.h"
#include "support/TempFolder.h"

#include "Foundation/Errors.h"
#include "Foundation/Paths.h"

#include <gtest/gtest.h>
#include <unistd.h>

namespace fernwahrung {
namespace {

class RegistryStoreTest : public ::testing::Test {
 protected:
  std::string list() const { return home_ / "registry.json"; }
  std::string backup() const { return home_ / "registry.json.bak"; }
  std::string log() const {
    return exists(home_ / "fernwahrung.log") ? readFile(home_ / "fernwahrung.log") : "";
  }

  /// An image on a drive that is there.
  Relocation onDrive() const { return fullRelocation(drive_ / "Fotos.sparsebundle"); }

  static std::string failureOf(const std::function<void()>& action) {
    try {
      action();
    } catch (const std::exception& error) {
      return error.what();
    }
    return "nothing was thrown";
  }

  TempHome home_;
  TempFolder drive_;
};

TEST_F(RegistryStoreTest, AFirstStartIsAnEmptyListAndMakesNoFile) {
  EXPECT_EQ(RegistryStore::load(), Registry());
  EXPECT_EQ(Registry().version, 1);
  EXPECT_FALSE(exists(list()));
  EXPECT_EQ(log(), "");
}

TEST_F(RegistryStoreTest, WhatIsSavedIsLoaded) {
  RegistryStore::save(sampleRegistry());
  EXPECT_EQ(RegistryStore::load(), sampleRegistry());
  RegistryStore::save(Registry());
  EXPECT_EQ(RegistryStore::load(), Registry());
}

TEST_F(RegistryStoreTest, WritesVersionAndRelocations) {
  RegistryStore::save(Registry());
  EXPECT_EQ(readFile(list()), "{\n  \"relocations\" : [\n\n  ],\n  \"version\" : 1\n}");
  RegistryStore::save({.version = 3, .relocations = {plainRelocation()}});
  const auto json = Json::parse(readFile(list()));
  EXPECT_EQ(json.size(), 2U);
  EXPECT_EQ(json.at("version"), 3);
  EXPECT_EQ(json.at("relocations").at(0), toJson(plainRelocation()));
  EXPECT_EQ(RegistryStore::load().version, 3);
}

TEST_F(RegistryStoreTest, MakesTheProgramsFolder) {
  const ScopedEnvironment deeper("FERNWAHRUNG_HOME", home_ / "a/b");
  RegistryStore::save(sampleRegistry());
  EXPECT_TRUE(exists(home_ / "a/b/registry.json"));
}

TEST_F(RegistryStoreTest, KeepsTheListBeforeAsBackup) {
  RegistryStore::save(Registry());
  const auto before = readFile(list());
  EXPECT_FALSE(exists(backup()));
  RegistryStore::save(sampleRegistry());
  EXPECT_EQ(readFile(backup()), before);
}

TEST_F(RegistryStoreTest, AListOfAnOlderVersionLoadsAndIsSavedWithoutTheNewerKeys) {
  Json::Value json = {{"version", 1}, {"relocations", Json::Value::array({toJson(plainRelocation())})}};
  writeFile(list(), json.dump());
  const auto registry = RegistryStore::load();
  ASSERT_EQ(registry.relocations.size(), 1U);
  EXPECT_EQ(registry.relocations[0], plainRelocation());
  RegistryStore::save(registry);
  for (const char* key : {"originalBackupPath", "safetyCopies", "previousStoragePaths", "asideFolders"}) {
    EXPECT_EQ(readFile(list()).find(key), std::string::npos) << key;
  }
}

TEST_F(RegistryStoreTest, ADamagedListGivesTheBackupAndALineInTheLog) {
  RegistryStore::save(sampleRegistry());
  RegistryStore::save(Registry());
  writeFile(list(), "{");
  EXPECT_EQ(RegistryStore::load(), sampleRegistry());
  EXPECT_NE(log().find("] registry.json unlesbar ("), std::string::npos) << log();
  EXPECT_NE(log().find("), versuche Sicherung\n"), std::string::npos) << log();
  EXPECT_EQ(readFile(list()), "{");
}

TEST_F(RegistryStoreTest, AMissingListBesideABackupGivesTheBackup) {
  RegistryStore::save(sampleRegistry());
  RegistryStore::save(Registry());
  ASSERT_EQ(::unlink(list().c_str()), 0);
  EXPECT_EQ(RegistryStore::load(), sampleRegistry());
  EXPECT_NE(log().find("registry.json unlesbar"), std::string::npos);
}

TEST_F(RegistryStoreTest, ADamagedListWithoutBackupIsReported) {
  writeFile(list(), "no list");
  EXPECT_EQ(failureOf([] { RegistryStore::load(); }),
            "Die Liste der Fernwahrungen ist beschädigt: " + list());
  EXPECT_THROW(RegistryStore::load(), FernwahrungError);
}

TEST_F(RegistryStoreTest, AListThatCannotBeReadIsNotAnEmptyOne) {
  makeFolder(list());
  EXPECT_EQ(failureOf([] { RegistryStore::load(); }),
            "Die Liste der Fernwahrungen ist beschädigt: " + list());
}

TEST_F(RegistryStoreTest, ALinkToNowhereIsNotAnEmptyList) {
  ASSERT_EQ(::symlink((home_ / "absent").c_str(), list().c_str()), 0);
  EXPECT_EQ(failureOf([] { RegistryStore::load(); }),
            "Die Liste der Fernwahrungen ist beschädigt: " + list());
}

TEST_F(RegistryStoreTest, AProgramsFolderThatCannotBeEnteredIsNotAnEmptyList) {
  ASSERT_EQ(::symlink("loop", (drive_ / "loop").c_str()), 0);
  const ScopedEnvironment loop("FERNWAHRUNG_HOME", drive_ / "loop/home");
  EXPECT_THROW(RegistryStore::load(), SystemError);
}

TEST_F(RegistryStoreTest, WhenBothAreDamagedTheBackupsOwnErrorIsReported) {
  writeFile(list(), "{");
  writeFile(backup(), R"({"version": 1})");
  EXPECT_EQ(failureOf([] { RegistryStore::load(); }), "Der Schlüssel „relocations“ fehlt.");
}

TEST_F(RegistryStoreTest, OneBadEntryFailsTheWholeFile) {
  auto bad = toJson(plainRelocation());
  bad.erase("state");
  const Json::Value json = {{"version", 1},
                            {"relocations", Json::Value::array({toJson(fullRelocation()), bad})}};
  writeFile(list(), json.dump());
  EXPECT_EQ(failureOf([] { RegistryStore::load(); }),
            "Die Liste der Fernwahrungen ist beschädigt: " + list());
}

TEST_F(RegistryStoreTest, HostileListsAreDamagedOnes) {
  const std::string entry = toJson(plainRelocation()).dump();
  const std::vector<std::string> hostile = {
      "",
      "null",
      "[]",
      "7",
      "{}",
      R"({"version":null,"relocations":[]})",
      R"({"version":"1","relocations":[]})",
      R"({"version":1.5,"relocations":[]})",
      R"({"version":99999999999999999999999999,"relocations":[]})",
      R"({"version":1e999,"relocations":[]})",
      R"({"version":1,"relocations":null})",
      R"({"version":1,"relocations":{}})",
      R"({"version":1,"relocations":[null]})",
      R"({"version":1,"relocations":[[]]})",
      R"({"version":1,"relocations":[7]})",
      R"({"version":1,"relocations":[]} {"version":1,"relocations":[]})",
      R"({"version":1,"relocations":[],})",
      "{\"version\":1,\"relocations\":[],\"x\":\"\xff\"}",
      "{\"version\":1,\"relocations\":[],\"x\":\"\xc3\"}",
      "{\"version\":1,\"relocations\":[],\"x\":\"\xed\xa0\x80\"}",
      R"({"version":1,"relocations":[],"x":"\ud800"})",
      "{\"version\":1,\"relocations\":[" + entry + "]}" + std::string(3, '\0'),
      R"({"version":1,"relocations":)" + std::string(10'000, '[') + std::string(10'000, ']') + "}",
      R"({"version":1,"relocations":[],"x":)" + std::string(10'000, '[') + std::string(10'000, ']') + "}",
      std::string(10'000, '{'),
      std::string(4096, '\0'),
  };
  for (const auto& text : hostile) {
    writeFile(list(), text);
    EXPECT_EQ(failureOf([] { RegistryStore::load(); }),
              "Die Liste der Fernwahrungen ist beschädigt: " + list())
        << text.substr(0, 100);
  }
}

TEST_F(RegistryStoreTest, OfADoubledKeyTheLastCounts) {
  writeFile(list(), R"({"version":1,"relocations":7,"relocations":[],"version":2})");
  EXPECT_EQ(RegistryStore::load(), (Registry{.version = 2, .relocations = {}}));
  writeFile(list(), R"({"version":1,"relocations":[],"relocations":7})");
  EXPECT_THROW(RegistryStore::load(), FernwahrungError);
}

TEST_F(RegistryStoreTest, SavingAfterTheBackupHadToHelpKeepsThatBackup) {
  RegistryStore::save(sampleRegistry());
  RegistryStore::save(Registry());
  const auto good = readFile(backup());
  writeFile(list(), "{");
  RegistryStore::update([](Registry& registry) { registry.relocations.pop_back(); });
  EXPECT_EQ(RegistryStore::load().relocations, std::vector<Relocation>{fullRelocation()});
  EXPECT_EQ(readFile(backup()), good);
}

TEST_F(RegistryStoreTest, UpdateLoadsChangesAndSaves) {
  RegistryStore::save(sampleRegistry());
  RegistryStore::update([](Registry& registry) { registry.find(plainRelocation().id)->name = "Töne"; });
  const auto registry = RegistryStore::load();
  EXPECT_EQ(registry.relocations[0], fullRelocation());
  EXPECT_EQ(registry.relocations[1].name, "Töne");
}

TEST_F(RegistryStoreTest, WhatTheChangeThrowsStopsEverything) {
  RegistryStore::save(sampleRegistry());
  const auto before = readFile(list());
  EXPECT_EQ(failureOf([] {
              RegistryStore::update([](Registry& registry) {
                registry.relocations.clear();
                throw FernwahrungError::message("Halt.");
              });
            }),
            "Halt.");
  EXPECT_EQ(readFile(list()), before);
  EXPECT_FALSE(exists(backup()));
}

TEST_F(RegistryStoreTest, UpdateOfADamagedListChangesNothing) {
  writeFile(list(), "{");
  bool called = false;
  EXPECT_THROW(RegistryStore::update([&](Registry&) { called = true; }), FernwahrungError);
  EXPECT_FALSE(called);
  EXPECT_EQ(readFile(list()), "{");
}

TEST_F(RegistryStoreTest, FindsAnEntryByItsIdentifier) {
  auto registry = sampleRegistry();
  EXPECT_EQ(registry.find(plainRelocation().id), &registry.relocations[1]);
  EXPECT_EQ(registry.find(Uuid::random()), nullptr);
}

TEST_F(RegistryStoreTest, WritesTheSidecarBesideTheImage) {
  RegistryStore::save({.version = 1, .relocations = {onDrive()}});
  EXPECT_EQ(namesIn(drive_.path()), std::vector<std::string>{"Fotos.sparsebundle.fernwahrung.json"});
  EXPECT_EQ(readFile(onDrive().sidecarPath()), Json::print(toJson(onDrive())));
  EXPECT_EQ(relocationFromJson(Json::parse(readFile(onDrive().sidecarPath()))), onDrive());
}

TEST_F(RegistryStoreTest, WritesTheSidecarOfALinkBesideTheTargetFolder) {
  const auto link = plainRelocation(drive_ / "Musik");
  makeFolder(drive_ / "Musik");
  RegistryStore::writeSidecar(link);
  EXPECT_EQ(namesIn(drive_.path()), (std::vector<std::string>{"Musik", "Musik.fernwahrung.json"}));
}

TEST_F(RegistryStoreTest, ARestoredEntryHasItsSidecarRefreshed) {
  auto relocation = onDrive();
  RegistryStore::save({.version = 1, .relocations = {relocation}});
  relocation.state = RelocationState::restored;
  RegistryStore::save({.version = 1, .relocations = {relocation}});
  EXPECT_EQ(relocationFromJson(Json::parse(readFile(relocation.sidecarPath()))), relocation);
  EXPECT_FALSE(exists(relocation.sidecarPath() + ".bak"));
}

TEST_F(RegistryStoreTest, WithoutTheDriveTheSaveSucceedsAndMakesNothingThere) {
  const auto relocation = fullRelocation(drive_ / "absent/Fotos.sparsebundle");
  RegistryStore::save({.version = 1, .relocations = {relocation, onDrive()}});
  EXPECT_EQ(RegistryStore::load().relocations.size(), 2U);
  EXPECT_FALSE(exists(drive_ / "absent"));
  EXPECT_TRUE(exists(onDrive().sidecarPath()));
}

TEST_F(RegistryStoreTest, ASidecarThatCannotBeWrittenIsPassedOver) {
  makeFolder(onDrive().sidecarPath() + "/in the way");
  const auto link = plainRelocation(drive_ / "Musik");
  RegistryStore::save({.version = 1, .relocations = {onDrive(), link}});
  EXPECT_EQ(RegistryStore::load().relocations.size(), 2U);
  EXPECT_TRUE(exists(link.sidecarPath()));
}

TEST_F(RegistryStoreTest, ASidecarThatCannotBeEncodedIsPassedOver) {
  RegistryStore::writeSidecar(onDrive());
  const auto before = readFile(onDrive().sidecarPath());
  auto relocation = onDrive();
  relocation.name = "\xff";
  EXPECT_NO_THROW(RegistryStore::writeSidecar(relocation));
  EXPECT_EQ(readFile(relocation.sidecarPath()), before);
  EXPECT_EQ(namesIn(drive_.path()).size(), 1U);
}

TEST_F(RegistryStoreTest, ASaveThatFailsLeavesTheListAndTouchesNoSidecar) {
  RegistryStore::save({.version = 1, .relocations = {onDrive()}});
  const auto before = readFile(list());
  const auto sidecar = readFile(onDrive().sidecarPath());
  auto relocation = onDrive();
  relocation.name = "\xff";
  EXPECT_THROW(RegistryStore::save({.version = 1, .relocations = {relocation}}), JsonError);
  EXPECT_EQ(readFile(list()), before);
  EXPECT_FALSE(exists(backup()));
  EXPECT_EQ(readFile(onDrive().sidecarPath()), sidecar);
}

TEST_F(RegistryStoreTest, ASaveThatCannotWriteTheFileTouchesNoSidecar) {
  makeFolder(list() + "/in the way");
  EXPECT_EQ(failureOf([&] { RegistryStore::save({.version = 1, .relocations = {onDrive()}}); }),
            "Datei kann nicht gespeichert werden: " + list());
  EXPECT_FALSE(exists(onDrive().sidecarPath()));
}

}  // namespace
}  // namespace fernwahrung
