#include "HelperRun.h"
#include "helper/JournalText.h"
#include "support/ScopedEnvironment.h"

#include <ctime>

namespace fernwahrung {
namespace {

class JournalTextTest : public testing::Test {
 protected:
  JournalTextTest() { ::tzset(); }
  ScopedEnvironment zone_{"TZ", "UTC"};
};

Journal finished(Journal journal, double seconds, const std::string& result = "") {
  journal.finished = true;
  journal.finishedAt = Dates::fromUnixSeconds(Dates::unixSeconds(journal.startedAt) + seconds);
  if (!result.empty()) journal.paths["ergebnis"] = result;
  return journal;
}

TEST_F(JournalTextTest, NothingIsSaid) {
  EXPECT_EQ(JournalText::table({}, {}), "Noch keine Vorgänge.\n");
}

TEST_F(JournalTextTest, UnfinishedOnesStandFirst) {
  const Relocation relocation = makeRelocation(firstId, "Mail", "/Users/a/Mail");
  const Journal open = makeJournal(firstId, relocation, "2026-11-15T10:09:15Z");
  const Journal good = finished(makeJournal(secondId, relocation, "2026-11-16T10:09:15Z"), 59.9);
  const Journal undone =
      finished(makeJournal(thirdId, relocation, "2026-11-17T10:09:15Z"), 65, "zurückgerollt");
  EXPECT_EQ(
      JournalText::table({open}, {undone, good}),
      "   ID        Begonnen              Vorgang     Name  Ergebnis                   Ordner\n"
      "✗  68753A44  15. Nov. 2026, 10:09  Fernwahren  Mail  unterbrochen               /Users/a/Mail\n"
      "↩  F00D0001  17. Nov. 2026, 10:09  Fernwahren  Mail  zurückgerollt · 1 min 5 s  /Users/a/Mail\n"
      "✓  68753A99  16. Nov. 2026, 10:09  Fernwahren  Mail  erfolgreich · 59 s         /Users/a/Mail\n");
}

}  // namespace
}  // namespace fernwahrung
