// The real calls of the core, where they add to it.
#include "FernwahrungApp/Model/CoreCalls.h"
#include "support/Files.h"
#include "support/TempFolder.h"

#include "Foundation/Clock.h"
#include "Foundation/Errors.h"
#include "Foundation/OperationLock.h"

#include <gtest/gtest.h>

namespace fernwahrung {
namespace {

class CoreCallsTest : public testing::Test {
 protected:
  /// An offloading by link that died after the original had been renamed.
  Journal interrupted() const {
    Relocation relocation;
    relocation.id = Uuid::random();
    relocation.name = "Bilder";
    relocation.kind = RelocationKind::symlink;
    relocation.sourcePath = source;
    relocation.storagePath = folder / "Laufwerk";
    relocation.createdAt = Clock::now();
    Journal journal(OperationKind::relocate, relocation);
    journal.completedSteps = {"originalRenamed"};
    journal.paths["backup"] = source + ".ORIGINAL-1";
    writeFile(source + ".ORIGINAL-1/a", "Bild");
    journal.save();
    return Journal::unfinished().at(0);
  }
  static std::string errorOfRollingBack(Journal journal) {
    try {
      CoreCalls().rollback(journal);
    } catch (const std::exception& error) {
      return error.what();
    }
    return "";
  }

  TempHome home;
  TempFolder folder;
  const std::string source = folder / "Bilder";
};

TEST_F(CoreCallsTest, RollingBackUndoesWhatIsStillOpen) {
  Journal journal = interrupted();
  EXPECT_EQ(errorOfRollingBack(journal), "");
  EXPECT_EQ(readFile(source + "/a"), "Bild");
  EXPECT_EQ(Journal::unfinished().size(), 0U);
}

TEST_F(CoreCallsTest, RollingBackTakesTheLock) {
  Journal journal = interrupted();
  const OperationLock lock;
  EXPECT_EQ(errorOfRollingBack(journal),
            "Es läuft bereits ein anderer Vorgang (App oder Kommandozeile). Bitte warten.");
  EXPECT_FALSE(exists(source));
}

TEST_F(CoreCallsTest, RollingBackWorksFromTheJournalAsItLiesOnTheDisk) {
  // the operation went on after it was shown
  Journal shown = interrupted();
  Journal journal = shown;
  journal.paths["backup"] = source + ".ORIGINAL-2";
  std::string renamed = source + ".ORIGINAL-2";
  writeFile(renamed + "/a", "neuer");
  journal.save();
  EXPECT_EQ(errorOfRollingBack(shown), "");
  EXPECT_EQ(readFile(source + "/a"), "neuer");
}

TEST_F(CoreCallsTest, RollingBackLeavesAloneWhatEndedInTheMeantime) {
  Journal shown = interrupted();
  Journal journal = shown;
  journal.complete("registered");
  journal.close();
  const Journal closed = Journal::finishedJournals(1).at(0);
  EXPECT_EQ(errorOfRollingBack(shown),
            "Dieser Vorgang ist inzwischen abgeschlossen; es gibt nichts zurückzurollen.");
  EXPECT_FALSE(exists(source));
  EXPECT_EQ(readFile(source + ".ORIGINAL-1/a"), "Bild");
  EXPECT_EQ(Journal::finishedJournals(1).at(0), closed);
}

}  // namespace
}  // namespace fernwahrung
