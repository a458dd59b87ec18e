// What the check says of drives of other formats and of drives that are too small.
#include "support/Files.h"
#include "support/ScratchDrive.h"
#include "support/TempFolder.h"
#include "support/ToolDouble.h"

#include "Engine/Preflight.h"
#include "Foundation/ByteFormat.h"

#include <gmock/gmock.h>

namespace fernwahrung {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class PreflightOnDriveTest : public testing::Test {
 protected:
  PreflightOnDriveTest() { writeFile(source + "/daten", std::string(5000, 'x')); }

  PreflightResult check(const ScratchDrive& drive, RelocationKind kind) const {
    RelocationPlan plan;
    plan.name = "Fotos";
    plan.kind = kind;
    plan.sourcePath = source;
    plan.storageDirectory = drive.path();
    plan.imageSizeBytes = 30'000'000'000;
    return Relocator::preflight(plan, true);
  }

  TempHome home;
  TempFolder folder;
  std::string source = folder / "Quelle";
  ToolDouble lsof{"/usr/sbin/lsof"};
};

TEST_F(PreflightOnDriveTest, JournallingDriveThatCannotCloneWarnsForAnImageOnly) {
  if (auto reason = ScratchDrive::unavailable(ScratchDrive::FileSystem::ext4)) GTEST_SKIP() << *reason;
  ScratchDrive drive({.bytes = 3LL << 30, .fileSystem = ScratchDrive::FileSystem::ext4});
  PreflightResult image = check(drive, RelocationKind::image);
  EXPECT_THAT(image.blockers, IsEmpty());
  EXPECT_THAT(
      image.warnings,
      ElementsAre(
          "Das Ziellaufwerk ist nicht APFS – vor Größenänderungen ist dann kein Sicherheits-Klon möglich."));
  PreflightResult link = check(drive, RelocationKind::symlink);
  EXPECT_THAT(link.blockers, IsEmpty());
  EXPECT_THAT(link.warnings, IsEmpty());
}

TEST_F(PreflightOnDriveTest, AFormatThatIsNotTheMacsBlocksBothKinds) {
  if (auto reason = ScratchDrive::unavailable(ScratchDrive::FileSystem::ext2)) GTEST_SKIP() << *reason;
  ScratchDrive drive({.fileSystem = ScratchDrive::FileSystem::ext2});
  for (RelocationKind kind : allRelocationKinds) {
    EXPECT_THAT(
        check(drive, kind).blockers,
        ElementsAre("Das Ziellaufwerk hat das Format „ext2“. Nötig ist APFS (oder Mac OS Extended)."));
  }
}

TEST_F(PreflightOnDriveTest, DriveWithoutTheMarginIsTooSmallForBothKinds) {
  if (auto reason = ScratchDrive::unavailable()) GTEST_SKIP() << *reason;
  ScratchDrive drive({.bytes = 512LL << 20});
  for (RelocationKind kind : allRelocationKinds) {
    PreflightResult result = check(drive, kind);
    EXPECT_THAT(result.blockers,
                ElementsAre("Zu wenig Platz am Ziel: nötig ca. " +
                            ByteFormat::string(Relocator::minimumImageSize(result.size)) + ", frei " +
                            ByteFormat::string(*FileOps::freeBytes(drive.path())) + "."));
  }
}

}  // namespace
}  // namespace fernwahrung
