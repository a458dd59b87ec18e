#include "Samples.h"
#include "support/Files.h"
#include "support/TempFolder.h"

#include "Foundation/Clock.h"
#include "Foundation/Log.h"
#include "Foundation/Paths.h"
#include "Records/LogReader.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace fernwahrung {
namespace {

Date at(const char* stamp) {
  return *Dates::parseLogStamp(stamp);
}

class LogReaderTest : public ::testing::Test {
 protected:
  void writeLog(const std::string& text) const { writeFile(home_ / "fernwahrung.log", text); }
  void writeOlderLog(const std::string& text) const { writeFile(home_ / "fernwahrung.log.1", text); }

  static std::vector<std::string> texts(const std::vector<LogLine>& lines) {
    std::vector<std::string> result;
    for (const auto& line : lines) result.push_back(line.text);
    return result;
  }

  /// The one line of a log that holds nothing else.
  LogLine only(const std::string& text) const {
    writeLog(text);
    const auto lines = LogReader::lines(10);
    EXPECT_EQ(lines.size(), 1U) << text;
    return lines.empty() ? LogLine() : lines.front();
  }

  TempHome home_;
};

TEST_F(LogReaderTest, WithoutALogThereAreNoLines) {
  EXPECT_TRUE(LogReader::lines(5000).empty());
}

TEST_F(LogReaderTest, ReadsWhatTheLogWrites) {
  const Clock::Override clock([] { return at("2026-11-15 10:09:15"); }, [](double) {});
  Log::write("=== Fernwahren gestartet: Fotos");
  EXPECT_EQ(LogReader::lines(5000),
            (std::vector<LogLine>{{0, at("2026-11-15 10:09:15"), "=== Fernwahren gestartet: Fotos"}}));
}

TEST_F(LogReaderTest, TheOlderGenerationComesFirst) {
  writeOlderLog("2026-11-15 10:00:00 [1] a\n2026-11-15 10:00:01 [1] b\n");
  writeLog("2026-11-15 10:00:02 [2] c\n");
  EXPECT_EQ(LogReader::lines(5000), (std::vector<LogLine>{{0, at("2026-11-15 10:00:00"), "a"},
                                                          {1, at("2026-11-15 10:00:01"), "b"},
                                                          {2, at("2026-11-15 10:00:02"), "c"}}));
}

TEST_F(LogReaderTest, KeepsTheLastLinesAcrossTheRotation) {
  writeOlderLog("2026-11-15 10:00:00 [1] a\n2026-11-15 10:00:01 [1] b\n");
  writeLog("2026-11-15 10:00:02 [1] c\n2026-11-15 10:00:03 [1] d\n");
  EXPECT_EQ(texts(LogReader::lines(3)), (std::vector<std::string>{"b", "c", "d"}));
  EXPECT_EQ(texts(LogReader::lines(2)), (std::vector<std::string>{"c", "d"}));
  EXPECT_EQ(texts(LogReader::lines(1)), (std::vector<std::string>{"d"}));
  EXPECT_EQ(LogReader::lines(1).front().id, 0);
  EXPECT_EQ(texts(LogReader::lines(4)), (std::vector<std::string>{"a", "b", "c", "d"}));
}

TEST_F(LogReaderTest, NoLinesAskedForAreNoLines) {
  writeLog("2026-11-15 10:00:02 [1] c\n");
  EXPECT_TRUE(LogReader::lines(0).empty());
}

TEST_F(LogReaderTest, OnlyTheOlderGenerationIsEnough) {
  writeOlderLog("2026-11-15 10:00:00 [1] a\n");
  EXPECT_EQ(texts(LogReader::lines(5)), std::vector<std::string>{"a"});
}

TEST_F(LogReaderTest, AFolderInPlaceOfALogIsPassedOver) {
  makeFolder(home_ / "fernwahrung.log");
  writeOlderLog("2026-11-15 10:00:00 [1] a\n");
  EXPECT_EQ(texts(LogReader::lines(5)), std::vector<std::string>{"a"});
}

TEST_F(LogReaderTest, EmptyLinesDontCount) {
  writeLog("\n\n2026-11-15 10:00:00 [1] a\n\n\n2026-11-15 10:00:01 [1] b");
  EXPECT_EQ(texts(LogReader::lines(2)), (std::vector<std::string>{"a", "b"}));
}

TEST_F(LogReaderTest, TheContinuationOfAMessageHasTheDateOfItsHead) {
  writeLog("2026-11-15 10:00:00 [1] first\nsecond\n  third\n2026-11-15 10:00:01 [1] next\n");
  EXPECT_EQ(LogReader::lines(10), (std::vector<LogLine>{{0, at("2026-11-15 10:00:00"), "first"},
                                                        {1, at("2026-11-15 10:00:00"), "second"},
                                                        {2, at("2026-11-15 10:00:00"), "  third"},
                                                        {3, at("2026-11-15 10:00:01"), "next"}}));
}

TEST_F(LogReaderTest, ALeadingContinuationHasNoDate) {
  writeLog("2026-11-15 10:00:00 [1] first\nsecond\nthird\n");
  EXPECT_EQ(LogReader::lines(2),
            (std::vector<LogLine>{{0, std::nullopt, "second"}, {1, std::nullopt, "third"}}));
}

TEST_F(LogReaderTest, AHeadHasAtLeast21Characters) {
  EXPECT_EQ(only("2026-11-15 10:00:00\n"), (LogLine{0, std::nullopt, "2026-11-15 10:00:00"}));
  EXPECT_EQ(only("2026-11-15 10:00:00 \n"), (LogLine{0, std::nullopt, "2026-11-15 10:00:00 "}));
  EXPECT_EQ(only("2026-11-15 10:00:00 x\n"), (LogLine{0, at("2026-11-15 10:00:00"), "x"}));
  // 20 characters in 21 bytes.
  EXPECT_EQ(only("2026-11-15 10:00:00ä\n"), (LogLine{0, std::nullopt, "2026-11-15 10:00:00ä"}));
  EXPECT_EQ(only("2026-11-15 10:00:00äx\n"), (LogLine{0, at("2026-11-15 10:00:00"), "x"}));
}

TEST_F(LogReaderTest, ARestWithoutABracketStaysWholeAndUntrimmed) {
  EXPECT_EQ(only("2026-11-15 10:00:00  x [7] y \n").text, " x [7] y ");
  EXPECT_EQ(only("2026-11-15 10:00:00 [7 x \n").text, "[7 x ");
}

TEST_F(LogReaderTest, BehindTheBracketBlanksAndTabsAreTrimmed) {
  EXPECT_EQ(only("2026-11-15 10:00:00 [7] \t a ] b \t\n").text, "a ] b");
  EXPECT_EQ(only("2026-11-15 10:00:00 [7]x\r\n").text, "x\r");
  EXPECT_EQ(only("2026-11-15 10:00:00 [7]\n").text, "");
  EXPECT_EQ(only("2026-11-15 10:00:00 []\n").text, "");
}

TEST_F(LogReaderTest, ADateThatDoesNotExistMakesAContinuation) {
  for (const char* line : {"2026-02-30 10:00:00 [7] x", "2026-11-15 25:00:00 [7] x",
                           "2026-11-15T10:00:00 [7] x", " 2026-11-15 10:00:00 [7] x"}) {
    EXPECT_EQ(only(line), (LogLine{0, std::nullopt, line}));
  }
}

TEST_F(LogReaderTest, ATornLineCostsOnlyItself) {
  writeLog("2026-11-15 10:00:00 [1] a\n2026-11-15 10:00:01 [1] Gr\xc3\n" + std::string("\0\0", 2) +
           "2026-11-15 10:00:02 [1] c\n");
  EXPECT_EQ(LogReader::lines(10),
            (std::vector<LogLine>{
                {0, at("2026-11-15 10:00:00"), "a"},
                {1, at("2026-11-15 10:00:01"), "Gr\xEF\xBF\xBD"},
                {2, at("2026-11-15 10:00:01"), std::string("\0\0", 2) + "2026-11-15 10:00:02 [1] c"}}));
}

TEST_F(LogReaderTest, CutAtEachByteItStillGivesTheLinesBefore) {
  const std::string log = "2026-11-15 10:00:00 [1] älter\n2026-11-15 10:00:01 [1] neuer „x“\n";
  const auto firstLine = log.find('\n');
  for (std::size_t length = 0; length <= log.size(); ++length) {
    writeLog(log.substr(0, length));
    const auto lines = LogReader::lines(10);
    EXPECT_EQ(lines.size(), length == 0 ? 0U : length <= firstLine + 1 ? 1U : 2U) << length;
    if (length >= firstLine) {
      EXPECT_EQ(lines.front(), (LogLine{0, at("2026-11-15 10:00:00"), "älter"}));
    }
  }
}

TEST_F(LogReaderTest, OnlyTheTailOfALargePairIsRead) {
  std::string older;
  std::string present;
  while (older.size() < 5'000'000) older += fmt::format("2026-11-15 10:00:00 [1] o{}\n", older.size());
  while (present.size() < 4'000'000) present += fmt::format("2026-11-15 10:00:01 [1] p{}\n", present.size());
  writeOlderLog(older);
  writeLog(present);
  const auto lines = LogReader::lines(5000);
  ASSERT_EQ(lines.size(), 5000U);
  EXPECT_EQ(lines.back().id, 4999);
  EXPECT_TRUE(lines.front().text.starts_with("p"));
}

TEST_F(LogReaderTest, KnowsErrorsAndOperations) {
  const auto isError = [](const char* text) { return LogLine{0, {}, text}.isError(); };
  EXPECT_TRUE(isError("FEHLER: x"));
  EXPECT_TRUE(isError("ein Fehler trat auf"));
  EXPECT_TRUE(isError("hdiutil -> Code 1"));
  EXPECT_TRUE(isError("Einhängen fehlgeschlagen: Fotos"));
  EXPECT_TRUE(isError("❌ nicht gut"));
  EXPECT_FALSE(isError("alles gut"));
  EXPECT_FALSE(isError("- > Code"));
  EXPECT_TRUE((LogLine{0, {}, "=== Fernwahren gestartet: x"}.isOperation()));
  EXPECT_FALSE((LogLine{0, {}, "== x =="}.isOperation()));
}

TEST_F(LogReaderTest, AnOperationsLinesRunFromOneSecondBeforeToTwoAfter) {
  auto journal = sampleJournal();
  journal.startedAt = at("2026-11-15 10:00:10");
  journal.finished = true;
  journal.finishedAt = at("2026-11-15 10:00:20");
  const std::vector<LogLine> all = {
      {0, std::nullopt, "no date"},
      {1, at("2026-11-15 10:00:08"), "before"},
      {2, at("2026-11-15 10:00:10") - std::chrono::milliseconds(1001), "just before"},
      {3, at("2026-11-15 10:00:09"), "first"},
      {4, at("2026-11-15 10:00:15"), "of another process"},
      {5, at("2026-11-15 10:00:22"), "last"},
      {6, at("2026-11-15 10:00:22") + std::chrono::milliseconds(1), "just after"},
      {7, at("2026-11-15 10:00:12"), "out of order"},
  };
  EXPECT_EQ(texts(LogReader::lines(journal, all)),
            (std::vector<std::string>{"first", "of another process", "last", "out of order"}));
}

TEST_F(LogReaderTest, AnOpenOperationEndsTwoSecondsFromNow) {
  auto journal = sampleJournal();
  journal.startedAt = at("2026-11-15 10:00:10");
  const Clock::Override clock([] { return at("2026-11-15 10:00:30"); }, [](double) {});
  const std::vector<LogLine> all = {{0, at("2026-11-15 10:00:32"), "in"},
                                    {1, at("2026-11-15 10:00:33"), "out"}};
  EXPECT_EQ(texts(LogReader::lines(journal, all)), std::vector<std::string>{"in"});
}

TEST_F(LogReaderTest, AMessageOfTwoLinesFallsIntoTheWindowTogether) {
  writeLog("2026-11-15 10:00:00 [1] old\n2026-11-15 10:00:10 [1] head\ntail\n2026-11-15 10:00:40 [1] new\n");
  auto journal = sampleJournal();
  journal.startedAt = at("2026-11-15 10:00:10");
  journal.finishedAt = at("2026-11-15 10:00:20");
  EXPECT_EQ(texts(LogReader::lines(journal, LogReader::lines(100))),
            (std::vector<std::string>{"head", "tail"}));
}

TEST_F(LogReaderTest, ReportsAFinishedOperation) {
  auto journal = sampleJournal();
  journal.startedAt = at("2026-11-15 10:00:10");
  journal.finished = true;
  journal.finishedAt = at("2026-11-15 10:00:20");
  journal.relocation.name = "Fotos";
  EXPECT_EQ(LogReader::report(journal, {{0, at("2026-11-15 10:00:10"), "=== Fernwahren gestartet: Fotos"},
                                        {1, std::nullopt, "ohne Zeit"}}),
            "Vorgang: Fernwahren – Fotos\n"
            "Ergebnis: erfolgreich\n"
            "Gestartet: 2026-11-15 10:00:10 · beendet: 2026-11-15 10:00:20\n"
            "Quelle: /Users/anna/Pictures/Fotos\n"
            "Ziel: /Volumes/Extern/Fotos.sparsebundle\n"
            "Erledigte Schritte: imageCreated → tempMounted\n"
            "image: /Volumes/Extern/Fotos.sparsebundle\n"
            "tempMount: /tmp/mnt/1\n"
            "\n"
            "Protokoll:\n"
            "2026-11-15 10:00:10 === Fernwahren gestartet: Fotos\n"
            " ohne Zeit\n");
}

TEST_F(LogReaderTest, ReportsABrokenOperationWithoutDetailsOrLines) {
  Journal journal(OperationKind::resolveNotEmpty, plainRelocation());
  journal.startedAt = at("2026-11-15 10:00:10");
  EXPECT_EQ(LogReader::report(journal, {}),
            "Vorgang: Ordnerinhalt auflösen – Musik\n"
            "Ergebnis: unterbrochen\n"
            "Gestartet: 2026-11-15 10:00:10\n"
            "Quelle: /Users/anna/Music\n"
            "Ziel: /Volumes/Extern/Musik\n"
            "Erledigte Schritte: \n"
            "\n"
            "Protokoll:\n");
}

TEST_F(LogReaderTest, ReportsARollback) {
  auto journal = sampleJournal();
  journal.finished = true;
  journal.paths["ergebnis"] = "zurückgerollt";
  const auto report = LogReader::report(journal, {});
  EXPECT_NE(report.find("\nErgebnis: zurückgerollt\n"), std::string::npos);
  EXPECT_NE(report.find("\nergebnis: zurückgerollt\nimage: "), std::string::npos);
}

}  // namespace
}  // namespace fernwahrung
