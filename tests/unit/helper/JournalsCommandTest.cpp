#include "HelperRun.h"

#include "Foundation/OperationLock.h"

namespace fernwahrung {
namespace {

class JournalsCommandTest : public HelperTest {
 protected:
  Relocation relocation_ = makeRelocation(firstId, "Mail", home_ / "nix");
  Journal open(const std::string& id, const std::string& startedAt) {
    Journal journal = makeJournal(id, relocation_, startedAt);
    journal.save();
    return journal;
  }
};

TEST_F(JournalsCommandTest, None) {
  EXPECT_EQ(runHelper({"journals"}).out, "Noch keine Vorgänge.\n");
  EXPECT_EQ(runHelper({"journals", "--json"}).json(), Json::parse(R"({"unfinished": [], "finished": []})"));
}

TEST_F(JournalsCommandTest, TheDocumentHasBothKindsWithTheirResult) {
  const Journal unfinished = open(firstId, "2026-11-15T10:09:15Z");
  open(secondId, "2026-11-16T10:09:15Z").close();
  const Json::Value document = runHelper({"journals", "--json"}).json();
  ASSERT_EQ(document["unfinished"].size(), 1U);
  ASSERT_EQ(document["finished"].size(), 1U);
  Json::Value first = document["unfinished"][0];
  EXPECT_TRUE(first.contains("result") && first["result"].is_null());
  first.erase("result");
  EXPECT_EQ(first, toJson(unfinished));
  EXPECT_EQ(document["finished"][0]["result"], "erfolgreich");
}

TEST_F(JournalsCommandTest, AnUnfinishedOneComesWithTheWayBack) {
  open(firstId, "2026-11-15T10:09:15Z");
  open(secondId, "2026-11-16T10:09:15Z").close();
  const std::string text = runHelper({"journals"}).out;
  EXPECT_LT(text.find("68753A44"), text.find("68753A99"));
  EXPECT_NE(text.find("„fernwahrung rollback ID“"), std::string::npos);
}

TEST_F(JournalsCommandTest, OnlyFinishedOnesNeedNoAdvice) {
  open(secondId, "2026-11-16T10:09:15Z").close();
  EXPECT_EQ(runHelper({"journals"}).out.find("rollback"), std::string::npos);
}

TEST_F(JournalsCommandTest, ARunningOperationIsNotCalledInterrupted) {
  open(firstId, "2026-11-15T10:09:15Z");
  const OperationLock lock;
  const std::string text = runHelper({"journals"}).out;
  EXPECT_NE(text.find("Gerade läuft ein Vorgang"), std::string::npos);
  EXPECT_EQ(text.find("fernwahrung rollback"), std::string::npos);
}

TEST_F(JournalsCommandTest, TheReportOfAnOperation) {
  open(firstId, "2026-11-15T10:09:15Z").close();
  open(thirdId, "2026-11-16T10:09:15Z");
  const HelperResult finished = runHelper({"report", "68753a"});
  EXPECT_EQ(finished.code, ExitCode::done);
  EXPECT_TRUE(finished.out.starts_with("Vorgang: Fernwahren – Mail\nErgebnis: erfolgreich\n"));
  const HelperResult unfinished = runHelper({"report", "F00D", "--json"});
  EXPECT_EQ(unfinished.json()["journal"]["id"], thirdId);
  EXPECT_NE(unfinished.json()["report"].get<std::string>().find("Ergebnis: unterbrochen\n"),
            std::string::npos);
}

TEST_F(JournalsCommandTest, TheReportOfAnUnknownOne) {
  const HelperResult none = runHelper({"report", "68753A44"});
  EXPECT_EQ(none.code, ExitCode::usage);
  EXPECT_EQ(none.err, "„68753A44“ ist unbekannt. Es gibt keinen solchen Vorgang.\n");
  open(firstId, "2026-11-15T10:09:15Z");
  EXPECT_EQ(runHelper({"report", "Mail"}).code, ExitCode::usage);
  EXPECT_EQ(runHelper({"report"}).code, ExitCode::usage);
}

}  // namespace
}  // namespace fernwahrung
