// What the records say after a power cut at each moment of their lives.
#include "Samples.h"
#include "support/Files.h"
#include "support/PowerCut.h"
#include "support/TempFolder.h"

#include "Foundation/Errors.h"
#include "Foundation/Log.h"
#include "Foundation/OperationLock.h"
#include "Foundation/Paths.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace fernwahrung {
namespace {

/// A disk that holds the program's folder, as "Library/Application Support" does, and an external drive.
class Durability : public ::testing::Test {
 protected:
  Durability() {
    makeFolder(disk_ / "Application Support");
    makeFolder(disk_ / "Extern");
  }

  static std::string homeIn(const std::string& disk) { return disk + "/Application Support/Fernwahrung"; }

  Registry registry(const std::string& name, int count) const {
    Registry registry;
    for (int index = 0; index < count; ++index) {
      auto relocation = fullRelocation(disk_ / "Extern/" + std::to_string(index) + ".sparsebundle");
      relocation.name = name;
      registry.relocations.push_back(relocation);
    }
    return registry;
  }

  /// The lists that were saved, with the number of changes after which each save had returned.
  struct Saves {
    std::vector<Registry> lists = {Registry()};
    std::vector<std::size_t> returnedAfter = {0};
  };

  static void save(const Registry& registry, const PowerCut& cut, Saves& saves) {
    RegistryStore::save(registry);
    saves.lists.push_back(registry);
    saves.returnedAfter.push_back(cut.changes());
  }

  /// Each state of the disk holds the last list whose save had returned, or the next one.
  static void expectOldOrNew(const PowerCut& cut, const Saves& saves) {
    std::size_t states = 0;
    cut.forEachState([&](const PowerCut::State& state, const std::string& disk) {
      const ScopedEnvironment home("FERNWAHRUNG_HOME", homeIn(disk));
      std::size_t promised = 0;
      while (promised + 1 < saves.lists.size() && saves.returnedAfter[promised + 1] <= state.after)
        ++promised;
      Registry found;
      try {
        found = RegistryStore::load();
      } catch (const std::exception& error) {
        FAIL() << error.what() << " " << state.description;
      }
      const bool isOld = found == saves.lists[promised];
      const bool isNew = promised + 1 < saves.lists.size() && found == saves.lists[promised + 1];
      ASSERT_TRUE(isOld || isNew) << state.description;
      ++states;
    });
    EXPECT_GT(states, 50U);
  }

  TempFolder disk_;
  TempHome elsewhere_;  // so that nothing reaches the real home between two states
  ScopedEnvironment home_{"FERNWAHRUNG_HOME", homeIn(disk_.path())};
};

TEST_F(Durability, AListIsTheOldOrTheNewOneFromTheVeryFirstSaveOn) {
  PowerCut cut(disk_.path());
  const OperationLock lock;  // makes the program's folder, as every operation does
  Log::write("a line");
  Saves saves;
  save(registry("eins", 1), cut, saves);
  save(registry("zwei", 2), cut, saves);
  save(registry("drei", 1), cut, saves);
  save(Registry(), cut, saves);
  cut.stop();
  expectOldOrNew(cut, saves);
}

TEST_F(Durability, AListThatHadToBeReadFromItsBackupIsNotLostByTheNextSave) {
  RegistryStore::save(registry("gut", 2));
  RegistryStore::save(registry("besser", 2));
  const auto list = homeIn(disk_.path()) + "/registry.json";
  writeFile(list, readFile(list).substr(0, 20));
  Saves saves;
  saves.lists = {RegistryStore::load()};
  ASSERT_EQ(saves.lists[0], registry("gut", 2));
  PowerCut cut(disk_.path());
  save(registry("neu", 2), cut, saves);
  save(registry("neuer", 2), cut, saves);
  cut.stop();
  expectOldOrNew(cut, saves);
}

TEST_F(Durability, ASidecarIsAbsentOrAWholeRecordOfSomeSave) {
  PowerCut cut(disk_.path());
  RegistryStore::save(registry("eins", 2));
  const auto firstSaved = cut.changes();
  RegistryStore::save(registry("zwei", 2));
  const auto secondSaved = cut.changes();
  cut.stop();
  cut.forEachState([&](const PowerCut::State& state, const std::string& disk) {
    for (const char* name : {"0", "1"}) {
      const auto path = disk + "/Extern/" + name + ".sparsebundle.fernwahrung.json";
      if (!exists(path)) {
        ASSERT_LT(state.after, firstSaved) << state.description;
        continue;
      }
      const auto found = relocationFromJson(Json::parse(readFile(path)));
      if (state.after >= secondSaved) {
        ASSERT_EQ(found.name, "zwei") << state.description;
      }
      ASSERT_TRUE(found.name == "eins" || found.name == "zwei") << state.description;
    }
  });
}

/// A journal's life as an operation lives it: each version is on the disk before the next thing is made.
class JournalDurability : public Durability {
 protected:
  struct Version {
    Json::Value json;
    std::size_t returnedAfter;
  };

  void note(const Journal& journal, const PowerCut& cut) {
    versions_.push_back({toJson(journal), cut.changes()});
  }

  static std::vector<Journal> all(const std::vector<Journal>& open) {
    auto journals = open;
    const auto closed = Journal::finishedJournals(10);
    journals.insert(journals.end(), closed.begin(), closed.end());
    return journals;
  }

  std::vector<Version> versions_;
};

TEST_F(JournalDurability, AJournalIsTheVersionBeforeOrAfterTheSaveAtWork) {
  PowerCut cut(disk_.path());
  const OperationLock lock;
  Journal journal(OperationKind::relocate, fullRelocation(disk_ / "Extern/Fotos.sparsebundle"));
  journal.save();
  note(journal, cut);
  journal.record("image", disk_ / "Extern/Fotos.sparsebundle");
  note(journal, cut);
  journal.complete("imageCreated");
  note(journal, cut);
  journal.complete("registered");
  note(journal, cut);
  journal.close();
  const auto closed = toJson(journal);
  const auto closedAfter = cut.changes();
  cut.stop();

  std::size_t states = 0;
  cut.forEachState([&](const PowerCut::State& state, const std::string& disk) {
    const ScopedEnvironment home("FERNWAHRUNG_HOME", homeIn(disk));
    const auto open = Journal::unfinished();
    const auto finished = Journal::finishedJournals(10);
    ASSERT_LE(open.size() + finished.size(), 1U) << state.description;
    for (const auto& found : finished) ASSERT_EQ(toJson(found), closed) << state.description;
    ++states;
    if (state.after >= closedAfter) {
      ASSERT_TRUE(open.empty()) << state.description;
      ASSERT_EQ(finished.size(), 1U) << state.description;
      return;
    }
    std::size_t promised = 0;  // how many versions had been saved
    while (promised < versions_.size() && versions_[promised].returnedAfter <= state.after) ++promised;
    if (open.empty()) {
      // Before its first save has returned, or already closed.
      ASSERT_TRUE(promised == 0 || promised == versions_.size()) << state.description;
      return;
    }
    const auto found = toJson(open.front());
    const bool isOld = promised > 0 && found == versions_[promised - 1].json;
    const bool isNew = promised < versions_.size() && found == versions_[promised].json;
    ASSERT_TRUE(isOld || isNew) << state.description << "\n" << found.dump(1);
  });
  EXPECT_GT(states, 50U);
}

}  // namespace
}  // namespace fernwahrung
