// Every operation, killed right before its N-th changing system call; then a fresh process rolls back, and
// everything is as it was. A short run looks at each call that touches the user's folder and at the one after
// it, at the renaming of each new state of the list and the journal, and at some of all the others; with
// FERNWAHRUNG_TEST_FULL set, at every one.
#include "KillScene.h"
#include "support/Files.h"

#include "Engine/Relocate.h"
#include "Engine/Status.h"
#include "Foundation/PathString.h"
#include "Storage/DiskImage.h"
#include "Storage/FileOps.h"

#include <algorithm>
#include <gmock/gmock.h>

namespace fernwahrung {
namespace {

using testing::IsEmpty;

struct Case {
  RelocationKind kind;
  KillAt::Mode mode;
};

void PrintTo(const Case& value, std::ostream* out) {
  *out << rawValue(value.kind) << (value.mode == KillAt::Mode::main ? " main" : " all");
}

std::string caseName(const testing::TestParamInfo<Case>& info) {
  return rawValue(info.param.kind) +
         (info.param.mode == KillAt::Mode::main ? "_programDies" : "_everythingDies");
}

class KillTest : public KillScene, public testing::WithParamInterface<Case> {
 protected:
  std::vector<std::string> relocateCommand(RelocationKind kind) const {
    return {"relocate", "--yes",        "--source",  source, "--storage",     drive->path(),
            "--kind",   rawValue(kind), "--size-gb", "2",    "--no-spotlight"};
  }

  KillAt::Result runUntil(const std::vector<std::string>& arguments, int n, bool recordCalls = false) const {
    return KillScene::runUntil(arguments, {.killAt = n, .mode = GetParam().mode, .recordCalls = recordCalls});
  }

  /// Back to a plain folder, by hand, after a run that got through.
  void undoByHand(const std::string& storage) {
    if (FileOps::isMountPoint(source)) DiskImage::detach(source);
    for (const std::string& name : besideSource()) {
      if (name.find(".ORIGINAL-") == std::string::npos) continue;
      if (FileOps::isDirectory(source)) FileOps::setLocked(source, false);
      removeEverything(source);
      FileOps::renameExclusive(*mac / name, source);
    }
    removeEverything(storage);
    removeEverything(storage + ".fernwahrung.json");
  }

  void emptyTrashAndRecords() {
    for (const char* name : {"Papierkorb", "registry.json", "registry.json.bak", "journal", "mnt"}) {
      removeEverything(*home / name);
    }
    RegistryStore::save(registryBefore);
  }
};

/// In how many moments of a run the list is saved and the step not noted: after the list has got its name, up
/// to and with the renaming of the journal's next state.
int momentsBetweenSavingAndNoting(const std::vector<std::string>& calls) {
  auto saved = std::find_if(calls.begin(), calls.end(),
                            [](const std::string& call) { return isRename(call, "/registry.json"); });
  auto noted =
      std::find_if(saved, calls.end(), [](const std::string& call) { return isRename(call, "/journal/"); });
  return static_cast<int>(noted - saved);
}

/// True when the entry was saved but the step was not noted: the entry then stays, and its status shows why.
bool diedBetweenSavingAndNoting(const Journal& journal) {
  return journal.has("postChecked") && !journal.has("registered");
}

TEST_P(KillTest, RelocateAtEveryInstant) {
  makeSource({.depth = 4, .manyFiles = 3});
  registerAnother();
  const RelocationKind kind = GetParam().kind;
  const std::string storage = plan(kind).storagePath();
  const std::vector<std::string> command = relocateCommand(kind);

  KillAt::Result counted = runUntil(command, 0, /*recordCalls=*/true);
  ASSERT_EQ(counted.status, 0) << counted.err;
  const std::string offloaded = kind == RelocationKind::symlink ? storage : source;
  EXPECT_EQ(diff(before, TreeManifest::of(offloaded)), "");
  undoByHand(storage);
  emptyTrashAndRecords();

  int rolledBack = 0, gotThrough = 0, keptEntries = 0;
  const std::vector<int> ns = moments(counted.calls, /*sparse=*/23);
  for (int n : ns) {
    KillAt::Result run = runUntil(command, n);
    if (!run.killed) {
      // the number of calls may vary by a few between runs
      undoByHand(storage);
      emptyTrashAndRecords();
      continue;
    }
    SCOPED_TRACE("killed before call " + std::to_string(n) + " of " + std::to_string(counted.total) + ": " +
                 run.call);
    std::vector<Journal> open = Journal::unfinished();
    bool mayKeepItsEntry = !open.empty() && diedBetweenSavingAndNoting(open[0]);
    bool hadACopy = exists(storage);
    rollBackInAFreshProcess();

    if (open.empty() && RegistryStore::load().relocations.size() == 2) {
      ++gotThrough;  // it died after its end was written down
      EXPECT_EQ(diff(before, TreeManifest::of(offloaded)), "");
      EXPECT_EQ(Relocator::status(RegistryStore::load().relocations[1]).health, RelocationStatus::Health::ok);
      undoByHand(storage);
    } else {
      ++rolledBack;
      if (mayKeepItsEntry && RegistryStore::load().relocations.size() == 2) {
        ++keptEntries;
        RegistryStore::save(registryBefore);
      }
      expectAsBefore();
      EXPECT_FALSE(exists(storage));
      EXPECT_EQ(inTrash(PathString::lastComponent(storage)).size(), hadACopy ? 1u : 0u)
          << "the copy lies in the Trash";
      removeEverything(storage + ".fernwahrung.json");
    }
    emptyTrashAndRecords();
    if (HasFailure()) return;
  }
  EXPECT_GT(rolledBack, 0);
  EXPECT_LE(keptEntries, momentsBetweenSavingAndNoting(counted.calls))
      << "only between saving the list and noting it in the journal";
  std::cout << "killed at " << ns.size() << " of " << counted.total << " calls: " << rolledBack
            << " rolled back, " << gotThrough << " had got through\n";
}

TEST_P(KillTest, RestoreAtEveryInstant) {
  makeSource({.depth = 4, .manyFiles = 3});
  const RelocationKind kind = GetParam().kind;
  const std::string storage = plan(kind).storagePath();

  relocate(kind);
  const Registry arrangement = RegistryStore::load();
  const std::string kept = *arrangement.relocations.at(0).originalBackupPath;
  const std::vector<std::string> command{"restore", arrangement.relocations.at(0).id.text()};
  KillAt::Result counted = runUntil(command, 0, /*recordCalls=*/true);
  ASSERT_EQ(counted.status, 0) << counted.err;
  EXPECT_EQ(sourceDifference(), "");

  auto arrangeAgain = [&] {
    // from "restored" back to the arrangement, without copying: the mount point or the link in place of the
    // folder
    removeEverything(source);
    if (kind == RelocationKind::symlink) {
      ASSERT_EQ(::symlink(storage.c_str(), source.c_str()), 0);
    } else {
      FileOps::createDirectory(source, std::nullopt);
      FileOps::setLocked(source, true);
      DiskImage::attach(storage, source, {.browsable = false, .readOnly = false});
    }
    RegistryStore::save(arrangement);
  };
  arrangeAgain();

  int rolledBack = 0, gotThrough = 0;
  const std::vector<int> ns = moments(counted.calls, /*sparse=*/23);
  for (int n : ns) {
    KillAt::Result run = runUntil(command, n);
    SCOPED_TRACE("killed before call " + std::to_string(n) + " of " + std::to_string(counted.total) + ": " +
                 run.call);
    std::vector<Journal> open = Journal::unfinished();
    rollBackInAFreshProcess();
    Relocation entry = RegistryStore::load().relocations.at(0);

    if (!run.killed || (open.empty() && entry.state == RelocationState::restored)) {
      ++gotThrough;
      EXPECT_EQ(sourceDifference(), "");
      EXPECT_EQ(entry.state, RelocationState::restored);
      arrangeAgain();
    } else {
      ++rolledBack;
      EXPECT_EQ(RegistryStore::load(), arrangement);
      EXPECT_EQ(Relocator::status(arrangement.relocations[0]).health, RelocationStatus::Health::ok);
      EXPECT_EQ(FileOps::isSymlink(source), kind == RelocationKind::symlink);
      std::string data = kind == RelocationKind::symlink ? storage : source;
      EXPECT_EQ(diff(before, TreeManifest::of(data)), "") << "the data on the storage";
      EXPECT_EQ(besideSource(), std::vector<std::string>{PathString::lastComponent(kept)})
          << "no staging folder";
      EXPECT_THAT(mountsBelow(home->path()), IsEmpty());
    }
    EXPECT_EQ(diff(before, TreeManifest::of(kept)), "") << "the kept original";
    for (const char* name : {"Papierkorb", "journal", "mnt"}) removeEverything(*home / name);
    if (HasFailure()) return;
  }
  EXPECT_GT(rolledBack, 0);
  std::cout << "killed at " << ns.size() << " of " << counted.total << " calls: " << rolledBack
            << " rolled back, " << gotThrough << " had got through\n";
}

TEST_P(KillTest, RollbackAtEveryInstant) {
  makeSource({.depth = 2, .manyFiles = 1, .bigFile = false});
  registerAnother();
  const RelocationKind kind = GetParam().kind;
  const std::string storage = plan(kind).storagePath();
  const std::vector<std::string> rollback{"rollback", "--all"};

  // an offloading that died with everything in place but the note of its last step
  const KillAt::Result whole = runUntil(relocateCommand(kind), 0, /*recordCalls=*/true);
  ASSERT_EQ(whole.status, 0) << whole.err;
  int last = 0;
  for (int n = 1; n <= static_cast<int>(whole.calls.size()); ++n) {
    const std::string& call = whole.calls[static_cast<std::size_t>(n - 1)];
    if (call.find("registry.json") != std::string::npos) last = n;
  }
  ASSERT_GT(last, 0);
  undoByHand(storage);
  emptyTrashAndRecords();
  auto dieInTheEnd = [&] {
    runUntil(relocateCommand(kind), last);
    ASSERT_EQ(Journal::unfinished().size(), 1u);
    ASSERT_TRUE(Journal::unfinished()[0].has("postChecked"));
  };

  dieInTheEnd();
  const KillAt::Result counted = runUntil(rollback, 0, /*recordCalls=*/true);
  ASSERT_EQ(counted.status, 0) << counted.err;
  RegistryStore::save(registryBefore);
  expectAsBefore();
  emptyTrashAndRecords();
  removeEverything(storage + ".fernwahrung.json");

  // an image is looked at by its bundle alone
  auto isWhole = [&](const std::string& copy) {
    if (!exists(copy)) return false;
    if (kind == RelocationKind::image) return exists(copy + "/Info.plist");
    return diff(before, TreeManifest::of(copy), {.holes = true}).empty();
  };
  auto wholeInTrash = [&] {
    const std::vector<std::string> copies = inTrash(PathString::lastComponent(storage));
    return std::any_of(copies.begin(), copies.end(), isWhole);
  };

  const std::vector<int> ns = moments(counted.calls, /*sparse=*/23);
  for (int n : ns) {
    dieInTheEnd();
    const KillAt::Result run = runUntil(rollback, n);
    SCOPED_TRACE("killed before call " + std::to_string(n) + " of " + std::to_string(counted.total) + ": " +
                 run.call);
    EXPECT_TRUE(isWhole(storage) || wholeInTrash()) << "one whole copy at each instant";
    rollBackInAFreshProcess();
    RegistryStore::save(registryBefore);  // the entry was saved and its step not noted
    expectAsBefore();
    EXPECT_FALSE(exists(storage));
    EXPECT_TRUE(wholeInTrash()) << "beside it may lie the rest of one that was being removed";
    emptyTrashAndRecords();
    removeEverything(storage + ".fernwahrung.json");
    if (HasFailure()) return;
  }
  std::cout << "killed at " << ns.size() << " of " << counted.total << " calls\n";
}

INSTANTIATE_TEST_SUITE_P(Kinds, KillTest,
                         testing::Values(Case{RelocationKind::image, KillAt::Mode::main},
                                         Case{RelocationKind::image, KillAt::Mode::all},
                                         Case{RelocationKind::symlink, KillAt::Mode::main},
                                         Case{RelocationKind::symlink, KillAt::Mode::all}),
                         caseName);

}  // namespace
}  // namespace fernwahrung
