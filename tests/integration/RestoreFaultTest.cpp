// The fault hook at every step that the way back of an image takes, mounted or not: the steps are those of a
// run that got through, so none can be forgotten here.
#include "Scene.h"
#include "support/Files.h"

#include "Engine/FaultHook.h"
#include "Engine/Restore.h"
#include "Foundation/PathString.h"
#include "Storage/DiskImage.h"
#include "Storage/FileOps.h"

#include <gmock/gmock.h>

namespace fernwahrung {
namespace {

using testing::Contains;
using testing::IsEmpty;

class RestoreSteps : public Scene, public testing::WithParamInterface<bool> {
 protected:
  const DiskImage::AttachOptions hidden{.browsable = false, .readOnly = false};

  /// The locked mount point in place of the folder, as before a way back that got through.
  void arrangeAgain(const Registry& registry) {
    removeEverything(source);
    FileOps::createDirectory(source, std::nullopt);
    FileOps::setLocked(source, true);
    RegistryStore::save(registry);
    removeEverything(*home / "journal");
  }
};

TEST_P(RestoreSteps, AFailureAfterAnyLeavesTheArrangementAsItWas) {
  const bool mounted = GetParam();
  makeSource({.depth = 3, .manyFiles = 2, .bigFile = false});
  const Relocation relocation = relocate(RelocationKind::image);
  const Registry registry = RegistryStore::load();
  const auto restore = [&] { Relocator::restore(registry.relocations[0], context); };
  DiskImage::detach(source);
  if (mounted) DiskImage::attach(relocation.storagePath, source, hidden);
  ASSERT_EQ(errorOf(restore), "");
  const std::vector<std::string> steps = closedJournal(OperationKind::restore).completedSteps;
  EXPECT_THAT(steps, Contains(mounted ? "unmounted" : "tempUnmounted"));
  arrangeAgain(registry);

  for (const std::string& step : steps) {
    SCOPED_TRACE(step);
    if (mounted) DiskImage::attach(relocation.storagePath, source, hidden);
    Relocator::failAfterStep = step;
    EXPECT_EQ(errorOf(restore), "Testabbruch nach Schritt " + step);
    Relocator::failAfterStep.reset();

    EXPECT_EQ(RegistryStore::load(), registry);
    EXPECT_THAT(Journal::unfinished(), IsEmpty());
    EXPECT_THAT(mountsBelow(home->path()), IsEmpty());
    EXPECT_EQ(besideSource(),
              std::vector<std::string>{PathString::lastComponent(*relocation.originalBackupPath)});
    EXPECT_EQ(FileOps::isMountPoint(source), mounted);
    if (mounted) {
      EXPECT_EQ(sourceDifference(), "");
      DiskImage::detach(source);
    }
    EXPECT_TRUE(FileOps::isLocked(source)) << "under the image too";
    EXPECT_THAT(namesIn(source), IsEmpty());
    if (HasFailure()) return;
  }
}

INSTANTIATE_TEST_SUITE_P(Image, RestoreSteps, testing::Bool(),
                         [](const auto& parameter) { return parameter.param ? "mounted" : "unmounted"; });

}  // namespace
}  // namespace fernwahrung
