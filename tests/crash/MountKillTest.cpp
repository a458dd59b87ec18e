// Mounting, the way back from an image that is not mounted, and the undoing of a way back, killed at some of
// their changing system calls: the same command, or a rollback, then brings everything into order.
#include "KillScene.h"
#include "support/Files.h"
#include "support/Program.h"

#include "Engine/Mount.h"
#include "Engine/Status.h"
#include "Foundation/PathString.h"
#include "Storage/DiskImage.h"
#include "Storage/FileOps.h"

#include <gmock/gmock.h>

namespace fernwahrung {
namespace {

using testing::IsEmpty;

class MountKillTest : public KillScene, public testing::WithParamInterface<KillAt::Mode> {
 protected:
  void SetUp() override {
    KillScene::SetUp();
    if (IsSkipped()) return;
    makeSource({.depth = 3, .manyFiles = 2, .bigFile = false});
    relocation = relocate(RelocationKind::image);
    relocation = RegistryStore::load().relocations.at(0);
    DiskImage::detach(source);
  }

  KillAt::Result runUntil(const std::vector<std::string>& arguments, int n, bool recordCalls = false) const {
    return KillScene::runUntil(arguments, {.killAt = n, .mode = GetParam(), .recordCalls = recordCalls});
  }

  /// From a way back that got through to the unmounted image again, without copying.
  void arrangeAgain() const {
    removeEverything(source);
    FileOps::createDirectory(source, std::nullopt);
    FileOps::setLocked(source, true);
    RegistryStore::save({.version = 1, .relocations = {relocation}});
  }
  void emptyTrashAndRecords() const {
    for (const char* name : {"Papierkorb", "journal", "mnt"}) removeEverything(*home / name);
  }
  void expectOffloadedAndUnmounted() const {
    EXPECT_THAT(RegistryStore::load().relocations, testing::ElementsAre(relocation));
    EXPECT_FALSE(FileOps::isMountPoint(source));
    EXPECT_THAT(namesIn(source), IsEmpty());
    EXPECT_TRUE(FileOps::isLocked(source));
    EXPECT_THAT(mountsBelow(home->path()), IsEmpty());
    EXPECT_EQ(besideSource(),
              std::vector<std::string>{PathString::lastComponent(*relocation.originalBackupPath)})
        << "no staging folder";
  }
  void expectTheDataInTheImage() const {
    const ProgramResult mounting = runProgram({FERNWAHRUNG_HELPER, "mount", relocation.id.text()});
    EXPECT_EQ(mounting.status, 0) << mounting.err;
    EXPECT_EQ(sourceDifference(), "");
    DiskImage::detach(source);
  }

  Relocation relocation;
};

std::string at(int n, const KillAt::Result& counted, const KillAt::Result& run) {
  return "killed before call " + std::to_string(n) + " of " + std::to_string(counted.total) + ": " + run.call;
}

TEST_P(MountKillTest, AMountCanBeRepeatedAfterADeathAtAnyInstant) {
  const std::vector<std::string> command{"mount", relocation.id.text()};
  const KillAt::Result counted = runUntil(command, 0, /*recordCalls=*/true);
  ASSERT_EQ(counted.status, 0) << counted.err;
  int died = 0;
  for (int n : moments(counted.calls, 2)) {
    DiskImage::detach(source);
    const KillAt::Result run = runUntil(command, n);
    SCOPED_TRACE(at(n, counted, run));
    died += run.killed ? 1 : 0;
    const ProgramResult again = runProgram({FERNWAHRUNG_HELPER, "mount", relocation.id.text()});
    EXPECT_EQ(again.status, 0) << again.err;
    EXPECT_TRUE(FileOps::isMountPoint(source));
    EXPECT_EQ(sourceDifference(), "");
    EXPECT_THAT(mountsBelow(home->path()), IsEmpty());
    if (HasFailure()) return;
  }
  EXPECT_GT(died, 5);
  DiskImage::detach(source);
  EXPECT_TRUE(FileOps::isLocked(source));
}

TEST_P(MountKillTest, AWayBackFromATemporaryMountIsUndone) {
  const std::vector<std::string> command{"restore", relocation.id.text()};
  const KillAt::Result counted = runUntil(command, 0, /*recordCalls=*/true);
  ASSERT_EQ(counted.status, 0) << counted.err;
  EXPECT_EQ(sourceDifference(), "");
  arrangeAgain();
  emptyTrashAndRecords();

  int rolledBack = 0;
  for (int n : moments(counted.calls, 41)) {
    const KillAt::Result run = runUntil(command, n);
    SCOPED_TRACE(at(n, counted, run));
    const std::vector<Journal> open = Journal::unfinished();
    rollBackInAFreshProcess();
    const RelocationState state = RegistryStore::load().relocations.at(0).state;
    if (!run.killed || (open.empty() && state == RelocationState::restored)) {
      EXPECT_EQ(sourceDifference(), "");
      arrangeAgain();
    } else {
      ++rolledBack;
      // the list was saved and its step not noted
      if (!open.empty() && !open[0].has("registered") && state == RelocationState::restored)
        RegistryStore::save({.version = 1, .relocations = {relocation}});
      expectOffloadedAndUnmounted();
      expectTheDataInTheImage();
    }
    emptyTrashAndRecords();
    if (HasFailure()) return;
  }
  EXPECT_GT(rolledBack, 5);
}

TEST_P(MountKillTest, TheUndoingOfAWayBackCanBeKilledAndRepeated) {
  const std::vector<std::string> command{"restore", relocation.id.text()};
  const std::vector<std::string> rollback{"rollback", "--all"};
  DiskImage::attach(relocation.storagePath, source, {.browsable = false, .readOnly = false});
  const KillAt::Result whole = runUntil(command, 0, /*recordCalls=*/true);
  ASSERT_EQ(whole.status, 0) << whole.err;
  // the last call before the list of relocations is touched: the data is at the source already
  int last = 0;
  while (last < static_cast<int>(whole.calls.size()) &&
         whole.calls[static_cast<std::size_t>(last)].find("registry.json") == std::string::npos)
    ++last;
  auto dieInTheEnd = [&] {
    arrangeAgain();
    emptyTrashAndRecords();
    DiskImage::attach(relocation.storagePath, source, {.browsable = false, .readOnly = false});
    runUntil(command, last);
    ASSERT_EQ(Journal::unfinished().size(), 1u);
    ASSERT_TRUE(Journal::unfinished()[0].has("stagingRenamed"));
  };
  auto expectMountedAgain = [&] {
    EXPECT_TRUE(FileOps::isMountPoint(source));
    EXPECT_EQ(sourceDifference(), "");
    DiskImage::detach(source);
    expectOffloadedAndUnmounted();
  };

  dieInTheEnd();
  const KillAt::Result counted = runUntil(rollback, 0, /*recordCalls=*/true);
  ASSERT_EQ(counted.status, 0) << counted.err;
  expectMountedAgain();
  for (int n : moments(counted.calls, 23)) {
    dieInTheEnd();
    const KillAt::Result run = runUntil(rollback, n);
    SCOPED_TRACE(at(n, counted, run));
    rollBackInAFreshProcess();
    expectMountedAgain();
    if (HasFailure()) return;
  }
}

INSTANTIATE_TEST_SUITE_P(Deaths, MountKillTest, testing::Values(KillAt::Mode::main, KillAt::Mode::all),
                         [](const auto& parameter) {
                           return parameter.param == KillAt::Mode::main ? "programDies" : "everythingDies";
                         });

}  // namespace
}  // namespace fernwahrung
