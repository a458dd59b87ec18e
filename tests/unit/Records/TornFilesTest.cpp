// Every file of this room cut at each byte, and with each byte turned into something hostile. A changed
// letter inside a text can't be seen; what is asked for is that a damaged file is reported or replaced by its
// backup, and that a file that still reads as a record differs from what was written in one value at most.
#include "Samples.h"
#include "support/Files.h"
#include "support/TempFolder.h"

#include "Foundation/Errors.h"

#include <algorithm>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace fernwahrung {
namespace {

const std::string hostileBytes("\0\"\\},0\xc3", 7);

/// A new file each time: one that is written over is flushed by some file systems, thousands of times here.
void replaceFile(const std::string& path, const std::string& bytes) {
  ::unlink(path.c_str());
  writeFile(path, bytes);
}

/// The number of leaves in which two documents differ; a list of another length counts as one, and so does a
/// leaf under another key.
std::size_t differences(const Json::Value& left, const Json::Value& right) {
  if (left == right) return 0;
  if (left.type() != right.type() || left.is_primitive() ||
      (left.is_array() && left.size() != right.size())) {
    return 1;
  }
  std::size_t count = 0;
  if (left.is_array()) {
    for (std::size_t index = 0; index < left.size(); ++index) count += differences(left[index], right[index]);
    return count;
  }
  std::size_t gone = 0;
  for (const auto& [key, value] : left.items()) {
    if (right.contains(key)) {
      count += differences(value, right.at(key));
    } else {
      ++gone;
    }
  }
  // As many keys of `right` are in both as of `left`.
  const auto added = right.size() + gone - left.size();
  return count + std::max(gone, added);
}

/// Each text that differs from `whole` in one hostile byte.
template <typename Look>
void forEachFlip(const std::string& whole, Look look) {
  for (std::size_t index = 0; index < whole.size(); ++index) {
    for (const char byte : hostileBytes) {
      if (whole[index] == byte) continue;
      auto text = whole;
      text[index] = byte;
      look(text, fmt::format("byte {} as {}", index, static_cast<int>(static_cast<unsigned char>(byte))));
    }
  }
}

Json::Value asJson(const Registry& registry) {
  auto list = Json::Value::array();
  for (const auto& relocation : registry.relocations) list.push_back(toJson(relocation));
  return {{"version", registry.version}, {"relocations", std::move(list)}};
}

class TornFiles : public ::testing::Test {
 protected:
  std::string list() const { return home_ / "registry.json"; }
  std::string backup() const { return home_ / "registry.json.bak"; }

  /// The texts of a saved list and of the one before it.
  void SetUp() override {
    RegistryStore::save({.version = 1, .relocations = {plainRelocation()}});
    RegistryStore::save(sampleRegistry());
    list_ = readFile(list());
    backup_ = readFile(backup());
  }

  static Registry previous() { return {.version = 1, .relocations = {plainRelocation()}}; }

  TempHome home_;
  std::string list_;
  std::string backup_;
};

TEST_F(TornFiles, AListCutAtEachByteGivesTheBackup) {
  for (std::size_t length = 0; length < list_.size(); ++length) {
    replaceFile(list(), list_.substr(0, length));
    ASSERT_EQ(RegistryStore::load(), previous()) << length;
  }
  replaceFile(list(), list_);
  EXPECT_EQ(RegistryStore::load(), sampleRegistry());
}

TEST_F(TornFiles, AListWithATailOfZerosGivesTheBackup) {
  for (std::size_t length = 0; length < list_.size(); ++length) {
    replaceFile(list(), list_.substr(0, length) + std::string(list_.size() - length, '\0'));
    ASSERT_EQ(RegistryStore::load(), previous()) << length;
  }
}

TEST_F(TornFiles, AListCutAtEachByteWithoutABackupIsReported) {
  removeEverything(backup());
  for (std::size_t length = 0; length < list_.size(); ++length) {
    replaceFile(list(), list_.substr(0, length));
    try {
      RegistryStore::load();
      FAIL() << length;
    } catch (const FernwahrungError& error) {
      ASSERT_EQ(std::string(error.what()), "Die Liste der Fernwahrungen ist beschädigt: " + list());
    }
  }
}

TEST_F(TornFiles, ABackupCutAtEachByteBesideADamagedListIsReported) {
  replaceFile(list(), "{");
  for (std::size_t length = 0; length < backup_.size(); ++length) {
    replaceFile(backup(), backup_.substr(0, length));
    ASSERT_THROW(RegistryStore::load(), JsonError) << length;
  }
  replaceFile(backup(), backup_);
  EXPECT_EQ(RegistryStore::load(), previous());
}

TEST_F(TornFiles, ABackupCutAtEachByteBesideAGoodListHarmsNothing) {
  for (std::size_t length = 0; length < backup_.size(); ++length) {
    replaceFile(backup(), backup_.substr(0, length));
    ASSERT_EQ(RegistryStore::load(), sampleRegistry()) << length;
  }
}

TEST_F(TornFiles, AListWithAHostileByteGivesTheBackupOrOneOtherValue) {
  const auto good = asJson(sampleRegistry());
  int fallbacks = 0;
  forEachFlip(list_, [&](const std::string& text, const std::string& where) {
    replaceFile(list(), text);
    const auto loaded = RegistryStore::load();
    if (loaded == previous()) {
      ++fallbacks;
    } else {
      ASSERT_LE(differences(good, asJson(loaded)), 1U) << where << "\n" << text;
    }
  });
  EXPECT_GT(fallbacks, 500);
}

TEST_F(TornFiles, ASidecarCutAtEachByteIsNoRecord) {
  for (const auto& relocation : {fullRelocation(), plainRelocation()}) {
    const auto text = Json::print(toJson(relocation));
    for (std::size_t length = 0; length < text.size(); ++length) {
      ASSERT_THROW(relocationFromJson(Json::parse(text.substr(0, length))), JsonError) << length;
    }
  }
}

TEST_F(TornFiles, ASidecarWithAHostileByteIsNoRecordOrHasOneOtherValue) {
  const auto good = toJson(fullRelocation());
  int refused = 0;
  forEachFlip(Json::print(good), [&](const std::string& text, const std::string& where) {
    try {
      ASSERT_LE(differences(good, toJson(relocationFromJson(Json::parse(text)))), 1U) << where << "\n"
                                                                                      << text;
    } catch (const JsonError&) {
      ++refused;
    }
  });
  EXPECT_GT(refused, 500);
}

TEST_F(TornFiles, AJournalCutAtEachByteIsPassedOver) {
  const auto good = sampleJournal();
  good.save();
  const auto torn = sampleJournal();
  const auto text = Json::print(toJson(torn));
  const auto path = home_ / ("journal/" + torn.id.text() + ".json");
  for (std::size_t length = 0; length < text.size(); ++length) {
    replaceFile(path, text.substr(0, length));
    ASSERT_EQ(Journal::unfinished(), std::vector<Journal>{good}) << length;
  }
  replaceFile(path, text);
  EXPECT_EQ(Journal::unfinished().size(), 2U);
}

TEST_F(TornFiles, AJournalWithAHostileByteIsPassedOverOrHasOneOtherValue) {
  const auto journal = sampleJournal();
  const auto good = toJson(journal);
  const auto path = home_ / ("journal/" + journal.id.text() + ".json");
  int refused = 0;
  makeFolder(home_ / "journal");
  forEachFlip(Json::print(good), [&](const std::string& text, const std::string& where) {
    replaceFile(path, text);
    const auto found = Journal::unfinished();
    if (found.empty()) {
      ++refused;
    } else {
      ASSERT_EQ(found.size(), 1U);
      ASSERT_LE(differences(good, toJson(found[0])), 1U) << where << "\n" << text;
    }
  });
  EXPECT_GT(refused, 500);
}

}  // namespace
}  // namespace fernwahrung
