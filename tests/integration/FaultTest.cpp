// The fault hook at every step of every operation: what was there before is there afterwards.
#include "Scene.h"
#include "support/Files.h"

#include "Engine/FaultHook.h"
#include "Engine/Relocate.h"
#include "Engine/Restore.h"
#include "Engine/Rollback.h"
#include "Foundation/PathString.h"
#include "Storage/DiskImage.h"
#include "Storage/FileOps.h"

#include <gmock/gmock.h>

namespace fernwahrung {
namespace {

using testing::IsEmpty;
using testing::SizeIs;

struct Fault {
  RelocationKind kind;
  const char* step;
};

void PrintTo(const Fault& fault, std::ostream* out) {
  *out << rawValue(fault.kind) << " " << fault.step;
}

std::string faultName(const testing::TestParamInfo<Fault>& info) {
  return rawValue(info.param.kind) + "_" + info.param.step;
}

class FaultHook {
 public:
  explicit FaultHook(const char* step) { Relocator::failAfterStep = step; }
  ~FaultHook() { Relocator::failAfterStep.reset(); }
};

const std::vector<Fault> relocateFaults = {
    {RelocationKind::image, "imageCreated"},
    {RelocationKind::image, "tempMounted"},
    {RelocationKind::image, "copied"},
    {RelocationKind::image, "verified"},
    {RelocationKind::image, "tempUnmounted"},
    {RelocationKind::image, "originalRenamed"},
    {RelocationKind::image, "mountPointCreated"},
    {RelocationKind::image, "mounted"},
    {RelocationKind::image, "postChecked"},
    {RelocationKind::image, "registered"},
    {RelocationKind::symlink, "targetCreated"},
    {RelocationKind::symlink, "copied"},
    {RelocationKind::symlink, "verified"},
    {RelocationKind::symlink, "originalRenamed"},
    {RelocationKind::symlink, "symlinkCreated"},
    {RelocationKind::symlink, "postChecked"},
    {RelocationKind::symlink, "registered"},
};

class RelocateFault : public Scene, public testing::WithParamInterface<Fault> {};

TEST_P(RelocateFault, LeavesEverythingAsItWas) {
  const RelocationKind kind = GetParam().kind;
  const char* step = GetParam().step;
  makeSource({.manyFiles = 5});
  registerAnother();
  std::string storage = plan(kind).storagePath();
  {
    FaultHook hook(step);
    EXPECT_EQ(errorOf([&] { relocate(kind); }), std::string("Testabbruch nach Schritt ") + step);
  }
  expectAsBefore();
  EXPECT_THAT(namesIn(drive->path()), IsEmpty()) << "neither the copy nor its sidecar";
  auto trashed = inTrash(PathString::lastComponent(storage));
  ASSERT_THAT(trashed, SizeIs(1)) << "the copy lies in the Trash";
  EXPECT_EQ(DiskImage::attachment(trashed[0]), std::nullopt);
  ASSERT_THAT(Journal::finishedJournals(10), SizeIs(1));
  if (Journal::finishedJournals(10)[0].has("copied")) {
    if (kind == RelocationKind::image) {
      TempFolder look;
      DiskImage::attach(trashed[0], look.path(), {.browsable = false, .readOnly = true});
      EXPECT_EQ(diff(before, TreeManifest::of(look.path()), {.holes = true}), "") << "the whole copy";
      DiskImage::detach(look.path());
    } else {
      EXPECT_EQ(diff(before, TreeManifest::of(trashed[0]), {.holes = true}), "") << "the whole copy";
    }
  }
  EXPECT_EQ(Journal::finishedJournals(10)[0].result(), "zurückgerollt");
  EXPECT_EQ(Journal::finishedJournals(10)[0].completedSteps.back(), step);

  // a second rollback of the same journal finds nothing to do
  Journal journal = Journal::finishedJournals(10)[0];
  EXPECT_EQ(errorOf([&] { Relocator::rollback(journal); }), "");
  expectAsBefore();

  // and the folder can be offloaded right afterwards
  EXPECT_EQ(errorOf([&] { relocate(kind); }), "");
}

INSTANTIATE_TEST_SUITE_P(EveryStep, RelocateFault, testing::ValuesIn(relocateFaults), faultName);

struct RestoreFaultCase {
  RelocationKind kind;
  bool mounted;
  const char* step;
};

void PrintTo(const RestoreFaultCase& fault, std::ostream* out) {
  *out << rawValue(fault.kind) << (fault.mounted ? " mounted " : " unmounted ") << fault.step;
}

const std::vector<RestoreFaultCase> restoreFaults = {
    {RelocationKind::image, true, "stagingCreated"},    {RelocationKind::image, true, "copied"},
    {RelocationKind::image, true, "verified"},          {RelocationKind::image, true, "unmounted"},
    {RelocationKind::image, true, "mountPointRemoved"}, {RelocationKind::image, true, "stagingRenamed"},
    {RelocationKind::image, true, "postChecked"},       {RelocationKind::image, true, "registered"},
    {RelocationKind::image, false, "tempMounted"},      {RelocationKind::image, false, "copied"},
    {RelocationKind::image, false, "tempUnmounted"},    {RelocationKind::image, false, "mountPointRemoved"},
    {RelocationKind::image, false, "stagingRenamed"},   {RelocationKind::image, false, "registered"},
    {RelocationKind::symlink, true, "stagingCreated"},  {RelocationKind::symlink, true, "copied"},
    {RelocationKind::symlink, true, "verified"},        {RelocationKind::symlink, true, "symlinkRemoved"},
    {RelocationKind::symlink, true, "stagingRenamed"},  {RelocationKind::symlink, true, "registered"},
};

class RestoreFault : public Scene, public testing::WithParamInterface<RestoreFaultCase> {};

TEST_P(RestoreFault, LeavesTheArrangementAsItWas) {
  const RelocationKind kind = GetParam().kind;
  const bool mounted = GetParam().mounted;
  const char* step = GetParam().step;
  makeSource({.manyFiles = 5});
  Relocation relocation = relocate(kind);
  Registry registry = RegistryStore::load();
  if (!mounted) DiskImage::detach(source);
  {
    FaultHook hook(step);
    EXPECT_EQ(errorOf([&] { Relocator::restore(registry.relocations[0], context); }),
              std::string("Testabbruch nach Schritt ") + step);
  }

  EXPECT_EQ(RegistryStore::load(), registry);
  EXPECT_THAT(Journal::unfinished(), IsEmpty());
  EXPECT_THAT(mountsBelow(home->path()), IsEmpty());
  EXPECT_EQ(besideSource(),
            std::vector<std::string>{PathString::lastComponent(*relocation.originalBackupPath)});
  if (kind == RelocationKind::symlink) {
    EXPECT_EQ(FileOps::symlinkDestination(source), relocation.storagePath);
    EXPECT_EQ(diff(before, TreeManifest::of(relocation.storagePath)), "");
  } else {
    EXPECT_EQ(FileOps::isMountPoint(source), mounted);
    if (!mounted) {
      EXPECT_TRUE(FileOps::isLocked(source));
      EXPECT_TRUE(FileOps::isDirectoryEmpty(source));
      DiskImage::attach(relocation.storagePath, source, {.browsable = false, .readOnly = false});
    }
    EXPECT_EQ(sourceDifference(), "");
  }
  auto staging = closedJournal(OperationKind::restore).path("staging");
  EXPECT_EQ(staging.has_value(), std::string(step) != "tempMounted");
  if (staging) {
    EXPECT_THAT(inTrash(PathString::lastComponent(*staging)), SizeIs(1));
  }

  EXPECT_EQ(errorOf([&] { Relocator::restore(registry.relocations[0], context); }), "");
  EXPECT_EQ(sourceDifference(), "");
}

std::string restoreFaultName(const testing::TestParamInfo<RestoreFaultCase>& info) {
  return rawValue(info.param.kind) + (info.param.mounted ? "_mounted_" : "_unmounted_") + info.param.step;
}

INSTANTIATE_TEST_SUITE_P(EveryStep, RestoreFault, testing::ValuesIn(restoreFaults), restoreFaultName);

}  // namespace
}  // namespace fernwahrung
