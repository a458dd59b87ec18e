// The power fails during a whole operation: whatever of its changes the disk had kept, the data is whole in
// one place, and the list and the journal say what to do.
#include "support/Files.h"
#include "support/PowerCut.h"
#include "support/ScopedEnvironment.h"
#include "support/TempFolder.h"
#include "support/ToolDouble.h"

#include "Engine/Relocate.h"
#include "Engine/Restore.h"
#include "Engine/Rollback.h"
#include "Foundation/PathString.h"
#include "Records/RegistryStore.h"
#include "Storage/FileOps.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <map>

namespace fernwahrung {
namespace {

using Content = std::map<std::string, std::string>;

/// Names, bytes and link texts: what the recorded states hold.
Content contentOf(const std::string& folder) {
  Content content;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    const std::string path = entry.path();
    if (entry.is_symlink()) {
      content[path.substr(folder.size())] = "→ " + std::filesystem::read_symlink(path).string();
    } else {
      content[path.substr(folder.size())] = entry.is_directory() ? "/" : readFile(path);
    }
  }
  return content;
}

class PowerCutTest : public testing::Test {
 protected:
  void SetUp() override {
    // One volume for all of it, so that one recording sees the whole order of things.
    const auto type = FileOps::fileSystemType(disk_);
    if (type != "apfs" && type != "hfs") GTEST_SKIP() << "the temporary folder has the format " << *type;
    for (const std::string& path : {home_, mac_, storage_}) makeFolder(path);
    writeFile(source_ + "/Briefe/a", "Brief");
    writeFile(source_ + "/Briefe/b", std::string(5000, 'b'));
    writeFile(source_ + "/leer", "");
    std::filesystem::create_symlink("Briefe/a", source_ + "/Verweis");
    before_ = contentOf(source_);
  }

  RelocationPlan plan() const {
    RelocationPlan plan;
    plan.name = "Bibliothek";
    plan.kind = RelocationKind::symlink;
    plan.sourcePath = source_;
    plan.storageDirectory = storage_;
    return plan;
  }
  static void rollBackAllThatIsOpen() {
    for (const Journal& journal : Journal::unfinished()) {
      EXPECT_NO_THROW(Relocator::rollbackUnfinished(journal.id));
    }
    EXPECT_EQ(Journal::unfinished().size(), 0U);
  }
  bool isOffloaded() const { return FileOps::symlinkDestination(source_) == plan().storagePath(); }

  const TempFolder folder_;
  const std::string disk_ = folder_.path();
  const std::string all_ = folder_ / "alles";
  const std::string home_ = all_ + "/privat";
  const std::string mac_ = all_ + "/mac";
  const std::string storage_ = all_ + "/laufwerk";
  const std::string source_ = mac_ + "/Bibliothek";
  const ScopedEnvironment environment_{"FERNWAHRUNG_HOME", home_};
  const ToolDouble lsof_{"/usr/sbin/lsof"};
  OperationContext context_;
  Content before_;
};

TEST_F(PowerCutTest, AnOffloadingIsWholeOrCanBeUndone) {
  PowerCut cut(all_);
  Relocator::relocate(plan(), context_);
  cut.stop();
  int undone = 0, offloaded = 0;
  cut.forEachStateInPlace([&](const PowerCut::State& state) {
    if (HasFailure()) return;
    SCOPED_TRACE(state.description);
    rollBackAllThatIsOpen();
    ASSERT_TRUE(exists(source_));
    if (!isOffloaded()) {
      ++undone;
      EXPECT_TRUE(FileOps::isDirectory(source_));
      EXPECT_EQ(contentOf(source_), before_);
      EXPECT_EQ(namesIn(mac_).size(), 1U) << "the original under its own name alone";
      EXPECT_LT(state.after, cut.changes()) << "what was told to be done is done";
      return;
    }
    ++offloaded;
    EXPECT_EQ(contentOf(plan().storagePath()), before_);
    const Registry registry = RegistryStore::load();
    ASSERT_EQ(registry.relocations.size(), 1U);
    EXPECT_EQ(contentOf(registry.relocations[0].originalBackupPath.value()), before_);
  });
  EXPECT_GT(undone, 0);
  EXPECT_GT(offloaded, 0);
}

TEST_F(PowerCutTest, AWayBackIsWholeOrCanBeUndone) {
  Relocator::relocate(plan(), context_);
  const Relocation relocation = RegistryStore::load().relocations.at(0);
  PowerCut cut(all_);
  Relocator::restore(relocation, context_);
  cut.stop();
  int undone = 0, restored = 0;
  cut.forEachStateInPlace([&](const PowerCut::State& state) {
    if (HasFailure()) return;
    SCOPED_TRACE(state.description);
    rollBackAllThatIsOpen();
    EXPECT_EQ(contentOf(plan().storagePath()), before_) << "never touched";
    const Registry registry = RegistryStore::load();
    ASSERT_EQ(registry.relocations.size(), 1U);
    if (isOffloaded()) {
      ++undone;
      EXPECT_EQ(registry.relocations[0], relocation);
      EXPECT_EQ(namesIn(mac_).size(), 2U) << "the link and the kept original";
      EXPECT_LT(state.after, cut.changes()) << "what was told to be done is done";
      return;
    }
    ++restored;
    ASSERT_TRUE(FileOps::isDirectory(source_));
    EXPECT_EQ(contentOf(source_), before_);
    EXPECT_EQ(registry.relocations[0].state, RelocationState::restored);
  });
  EXPECT_GT(undone, 0);
  EXPECT_GT(restored, 0);
}

}  // namespace
}  // namespace fernwahrung
