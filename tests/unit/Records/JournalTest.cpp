#include "Samples.h"
#include "support/Files.h"
#include "support/TempFolder.h"

#include "Foundation/Clock.h"
#include "Foundation/Paths.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fernwahrung {
namespace {

class JournalTest : public ::testing::Test {
 protected:
  std::string openFile(const Journal& journal) const {
    return home_ / ("journal/" + journal.id.text() + ".json");
  }
  std::string closedFile(const Journal& journal) const {
    return home_ / ("journal/erledigt/" + journal.id.text() + ".json");
  }
  std::string log() const {
    return exists(home_ / "fernwahrung.log") ? readFile(home_ / "fernwahrung.log") : "";
  }

  static Journal startedAt(const char* date) {
    Journal journal(OperationKind::move, plainRelocation());
    journal.startedAt = *Dates::parseIso8601(date);
    return journal;
  }

  TempHome home_;
};

TEST_F(JournalTest, NamesItsKinds) {
  const std::vector<std::tuple<OperationKind, const char*, const char*>> kinds = {
      {OperationKind::relocate, "relocate", "Fernwahren"},
      {OperationKind::restore, "restore", "Zurückholen"},
      {OperationKind::resize, "resize", "Größe ändern"},
      {OperationKind::compact, "compact", "Komprimieren"},
      {OperationKind::protect, "protect", "Schutz aktivieren"},
      {OperationKind::move, "move", "Speicherort umziehen"},
      {OperationKind::resolveNotEmpty, "resolveNotEmpty", "Ordnerinhalt auflösen"},
  };
  for (const auto& [kind, raw, text] : kinds) {
    EXPECT_EQ(rawValue(kind), raw);
    EXPECT_EQ(title(kind), text);
    EXPECT_EQ(operationKind(raw), kind);
  }
  EXPECT_EQ(operationKind("Relocate"), std::nullopt);
}

TEST_F(JournalTest, BeginsOpenAndEmptyAndWritesNothing) {
  const Clock::Override clock([] { return *Dates::parseIso8601("2026-11-15T10:09:15Z"); }, [](double) {});
  const Journal journal(OperationKind::restore, fullRelocation());
  EXPECT_NE(journal.id, Uuid());
  EXPECT_NE(journal.id, Journal(OperationKind::restore, fullRelocation()).id);
  EXPECT_EQ(journal.kind, OperationKind::restore);
  EXPECT_EQ(journal.relocation, fullRelocation());
  EXPECT_EQ(journal.startedAt, *Dates::parseIso8601("2026-11-15T10:09:15Z"));
  EXPECT_TRUE(journal.completedSteps.empty());
  EXPECT_TRUE(journal.paths.empty());
  EXPECT_FALSE(journal.finished);
  EXPECT_EQ(journal.finishedAt, std::nullopt);
  EXPECT_FALSE(exists(home_ / "journal"));
}

TEST_F(JournalTest, IsWrittenUnderItsIdentifierInTheFormOfARecord) {
  const auto journal = sampleJournal();
  journal.save();
  const auto text = readFile(openFile(journal));
  const Json::Value expected = {
      {"id", journal.id.text()},
      {"kind", "relocate"},
      {"relocation", toJson(fullRelocation())},
      {"completedSteps", {"imageCreated", "tempMounted"}},
      {"paths", {{"image", "/Volumes/Extern/Fotos.sparsebundle"}, {"tempMount", "/tmp/mnt/1"}}},
      {"startedAt", "2026-11-15T10:09:15Z"},
      {"finished", false}};
  EXPECT_EQ(Json::parse(text), expected);
  EXPECT_EQ(text, Json::print(expected));
  EXPECT_EQ(namesIn(home_ / "journal"), std::vector<std::string>{journal.id.text() + ".json"});
}

TEST_F(JournalTest, IsSavedWithoutABackup) {
  auto journal = sampleJournal();
  journal.save();
  journal.record("backup", "/Users/anna/Pictures/Fotos.ORIGINAL");
  journal.complete("copied");
  EXPECT_EQ(namesIn(home_ / "journal"), std::vector<std::string>{journal.id.text() + ".json"});
}

TEST_F(JournalTest, ComesBackAsItWas) {
  auto journal = sampleJournal();
  EXPECT_EQ(journalFromJson(Json::parse(Json::print(toJson(journal)))), journal);
  journal.finished = true;
  journal.finishedAt = *Dates::parseIso8601("2026-11-15T11:00:00Z");
  EXPECT_EQ(journalFromJson(Json::parse(Json::print(toJson(journal)))), journal);
}

TEST_F(JournalTest, AnEmptyJournalHasAnEmptyDictionaryOfPaths) {
  const Journal journal(OperationKind::compact, plainRelocation());
  const auto json = toJson(journal);
  EXPECT_EQ(json.at("paths"), Json::Value::object());
  EXPECT_EQ(json.at("completedSteps"), Json::Value::array());
  EXPECT_FALSE(json.contains("finishedAt"));
}

TEST_F(JournalTest, TellsItsResult) {
  auto journal = sampleJournal();
  EXPECT_EQ(journal.result(), std::nullopt);
  journal.paths["ergebnis"] = "zurückgerollt";
  EXPECT_EQ(journal.result(), std::nullopt);
  journal.finished = true;
  EXPECT_EQ(journal.result(), "zurückgerollt");
  journal.paths.erase("ergebnis");
  EXPECT_EQ(journal.result(), "erfolgreich");
}

TEST_F(JournalTest, KnowsItsStepsAndPaths) {
  const auto journal = sampleJournal();
  EXPECT_TRUE(journal.has("tempMounted"));
  EXPECT_FALSE(journal.has("copied"));
  EXPECT_EQ(journal.path("tempMount"), "/tmp/mnt/1");
  EXPECT_EQ(journal.path("backup"), std::nullopt);
}

TEST_F(JournalTest, ACompletedStepIsLoggedAndSaved) {
  auto journal = sampleJournal();
  journal.complete("copied");
  EXPECT_EQ(journal.completedSteps.back(), "copied");
  EXPECT_NE(log().find("] Schritt erledigt [relocate]: copied\n"), std::string::npos) << log();
  EXPECT_EQ(journalFromJson(Json::parse(readFile(openFile(journal)))), journal);
}

TEST_F(JournalTest, ARecordedPathIsSaved) {
  auto journal = sampleJournal();
  journal.record("backup", "/Users/anna/Pictures/Fotos.ORIGINAL");
  journal.record("backup", "/Users/anna/Pictures/Fotos.ORIGINAL-2");
  EXPECT_EQ(journal.path("backup"), "/Users/anna/Pictures/Fotos.ORIGINAL-2");
  EXPECT_EQ(journalFromJson(Json::parse(readFile(openFile(journal)))), journal);
}

TEST_F(JournalTest, ASaveThatFailsThrowsAndTheJournalInMemoryKnowsTheStep) {
  writeFile(home_ / "journal", "no folder");
  auto journal = sampleJournal();
  EXPECT_ANY_THROW(journal.save());
  EXPECT_ANY_THROW(journal.complete("copied"));
  EXPECT_TRUE(journal.has("copied"));
  EXPECT_NE(log().find("] Schritt erledigt [relocate]: copied\n"), std::string::npos) << log();
  EXPECT_ANY_THROW(journal.record("backup", "/x"));
  EXPECT_EQ(journal.path("backup"), "/x");
}

TEST_F(JournalTest, AFactThatIsNoTextIsNotSavedAndTheFileStaysWhole) {
  auto journal = sampleJournal();
  journal.save();
  const auto before = readFile(openFile(journal));
  EXPECT_THROW(journal.record("backup", "\xff"), JsonError);
  EXPECT_EQ(readFile(openFile(journal)), before);
}

TEST_F(JournalTest, ClosingMovesItToTheFinishedOnes) {
  auto journal = sampleJournal();
  journal.save();
  {
    const Clock::Override clock([] { return *Dates::parseIso8601("2026-11-15T11:00:00Z"); }, [](double) {});
    journal.close();
  }
  EXPECT_TRUE(journal.finished);
  EXPECT_EQ(journal.finishedAt, *Dates::parseIso8601("2026-11-15T11:00:00Z"));
  EXPECT_FALSE(exists(openFile(journal)));
  EXPECT_EQ(journalFromJson(Json::parse(readFile(closedFile(journal)))), journal);
  EXPECT_TRUE(Journal::unfinished().empty());
  EXPECT_EQ(Journal::finishedJournals(200), std::vector<Journal>{journal});
}

TEST_F(JournalTest, ClosingNeverThrows) {
  writeFile(home_ / "journal", "no folder");
  auto journal = sampleJournal();
  journal.close();
  EXPECT_TRUE(journal.finished);
  EXPECT_EQ(readFile(home_ / "journal"), "no folder");
}

TEST_F(JournalTest, AFinishedJournalThatCouldNotBeMovedIsNeitherOpenNorListed) {
  auto journal = sampleJournal();
  journal.save();
  writeFile(home_ / "journal/erledigt", "no folder");
  journal.close();
  EXPECT_TRUE(exists(openFile(journal)));
  EXPECT_TRUE(Journal::unfinished().empty());
  EXPECT_TRUE(Journal::finishedJournals(200).empty());
}

TEST_F(JournalTest, WithoutAFolderThereAreNone) {
  EXPECT_TRUE(Journal::unfinished().empty());
  EXPECT_TRUE(Journal::finishedJournals(200).empty());
  writeFile(home_ / "journal", "no folder");
  EXPECT_TRUE(Journal::unfinished().empty());
}

TEST_F(JournalTest, UnfinishedOnesComeOldestFirst) {
  const auto middle = startedAt("2026-11-15T10:00:00Z");
  const auto newest = startedAt("2026-12-01T00:00:00Z");
  const auto oldest = startedAt("2025-01-01T00:00:00Z");
  for (const auto& journal : {middle, newest, oldest}) journal.save();
  EXPECT_EQ(Journal::unfinished(), (std::vector<Journal>{oldest, middle, newest}));
}

TEST_F(JournalTest, FinishedOnesComeNewestFirstUpToTheLimit) {
  auto middle = startedAt("2026-11-15T10:00:00Z");
  auto newest = startedAt("2026-12-01T00:00:00Z");
  auto oldest = startedAt("2025-01-01T00:00:00Z");
  const Clock::Override clock([] { return *Dates::parseIso8601("2026-12-02T00:00:00Z"); }, [](double) {});
  for (auto* journal : {&middle, &newest, &oldest}) journal->close();
  EXPECT_EQ(Journal::finishedJournals(2), (std::vector<Journal>{newest, middle}));
  EXPECT_EQ(Journal::finishedJournals(3), (std::vector<Journal>{newest, middle, oldest}));
  EXPECT_EQ(Journal::finishedJournals(200), (std::vector<Journal>{newest, middle, oldest}));
  EXPECT_TRUE(Journal::finishedJournals(0).empty());
}

TEST_F(JournalTest, AnOpenJournalAmongTheFinishedOnesIsListed) {
  const auto journal = sampleJournal();
  writeFile(closedFile(journal), Json::print(toJson(journal)));
  const auto listed = Journal::finishedJournals(1);
  ASSERT_EQ(listed.size(), 1U);
  EXPECT_EQ(listed[0].result(), std::nullopt);
}

TEST_F(JournalTest, OtherThingsInTheFolderArePassedOver) {
  const auto journal = sampleJournal();
  journal.save();
  const auto text = Json::print(toJson(sampleJournal()));
  writeFile(home_ / "journal/.x.json.5.tmp", text);
  writeFile(home_ / "journal/.json", text);
  writeFile(home_ / "journal/notes.txt", text);
  writeFile(home_ / "journal/erledigt/x.json", text);
  makeFolder(home_ / "journal/folder.json");
  ASSERT_EQ(::symlink((home_ / "absent").c_str(), (home_ / "journal/link.json").c_str()), 0);
  ASSERT_EQ(::mkfifo((home_ / "journal/pipe.json").c_str(), 0644), 0);
  EXPECT_EQ(Journal::unfinished(), std::vector<Journal>{journal});
}

TEST_F(JournalTest, ADamagedFileCostsOnlyItself) {
  const auto older = startedAt("2025-01-01T00:00:00Z");
  const auto newer = startedAt("2026-11-15T10:00:00Z");
  older.save();
  newer.save();
  const auto json = toJson(sampleJournal());
  std::vector<std::string> damaged = {
      "", "{", "null", "[]", "7", std::string(100'000, '['), std::string(64, '\0')};
  for (const auto& [key, value] : json.items()) {
    auto without = json;
    without.erase(key);
    damaged.push_back(without.dump());
    auto null = json;
    null[key] = nullptr;
    damaged.push_back(null.dump());
    auto other = json;
    other[key] = value.is_string() ? Json::Value(7) : Json::Value("x");
    damaged.push_back(other.dump());
  }
  for (const auto& [key, value] :
       std::vector<std::pair<std::string, Json::Value>>{{"kind", "delete"},
                                                        {"completedSteps", {"copied", 1}},
                                                        {"paths", Json::Value::object({{"image", 1}})},
                                                        {"paths", Json::Value::object({{"image", nullptr}})},
                                                        {"startedAt", "gestern"},
                                                        {"finishedAt", "morgen"},
                                                        {"finished", 1}}) {
    auto other = json;
    other[key] = value;
    damaged.push_back(other.dump());
  }
  for (std::size_t index = 0; index < damaged.size(); ++index) {
    writeFile(home_ / ("journal/" + std::to_string(index) + ".json"), damaged[index]);
  }
  EXPECT_EQ(Journal::unfinished(), (std::vector<Journal>{older, newer}));
}

}  // namespace
}  // namespace fernwahrung
