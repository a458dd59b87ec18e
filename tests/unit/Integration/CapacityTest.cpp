#include "Integration/Capacity.h"
#include "support/Files.h"
#include "support/TempFolder.h"

#include "Foundation/ByteFormat.h"
#include "Platform/Volume.h"

#include <gmock/gmock.h>

namespace fernwahrung {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::int64_t gigabyte = 1'000'000'000;

TEST(CapacityLevels, AnExactFractionIsTheWorseLevel) {
  EXPECT_EQ(Capacity::level(0.8499, 0.85, 0.95), CapacityLevel::ok);
  EXPECT_EQ(Capacity::level(0.85, 0.85, 0.95), CapacityLevel::warning);
  EXPECT_EQ(Capacity::level(0.95, 0.85, 0.95), CapacityLevel::critical);
}

TEST(CapacityLevels, AnExactFreeSpaceIsTheBetterLevel) {
  EXPECT_EQ(Capacity::level(10 * gigabyte, 50, 10), CapacityLevel::warning);
  EXPECT_EQ(Capacity::level(10 * gigabyte - 1, 50, 10), CapacityLevel::critical);
  EXPECT_EQ(Capacity::level(50 * gigabyte, 50, 10), CapacityLevel::ok);
  EXPECT_EQ(Capacity::level(50 * gigabyte - 1, 50, 10), CapacityLevel::warning);
}

TEST(CapacityLevels, AFractionThatNoDiskHasIsCutToANumberThatFits) {
  EXPECT_EQ(Capacity::percent(0.9599), 95);
  EXPECT_EQ(Capacity::percent(1.5), 150);
  EXPECT_GT(Capacity::percent(9e18), 1'000'000);
}

TEST(CapacityLevels, AbsurdLimitsDoNotOverflow) {
  EXPECT_EQ(Capacity::level(gigabyte, INT64_MAX, 0), CapacityLevel::warning);
}

TEST(ImageCapacity, GrowthIsLimitedByTheDriveAndWhatTheImageOccupiesUnused) {
  ImageCapacity capacity;
  capacity.capacityBytes = 100 * gigabyte;
  capacity.usedBytes = 60 * gigabyte;
  capacity.driveFreeBytes = 20 * gigabyte;
  capacity.occupiedOnDrive = 70 * gigabyte;
  EXPECT_EQ(capacity.canStillGrow(), 30 * gigabyte);
  Capacity::judge(capacity, {});
  EXPECT_EQ(capacity.level, CapacityLevel::warning);
  EXPECT_THAT(
      capacity.messages,
      ElementsAre(
          "Das externe Laufwerk ist fast voll: die virtuelle Festplatte kann nur noch um 30 GB wachsen."));
}

TEST(ImageCapacity, ADriveWithMoreSpaceThanCanBeToldIsNoFinding) {
  ImageCapacity capacity;
  capacity.capacityBytes = 100 * gigabyte;
  capacity.usedBytes = 60 * gigabyte;
  capacity.driveFreeBytes = INT64_MAX;
  capacity.occupiedOnDrive = 70 * gigabyte;
  EXPECT_EQ(capacity.canStillGrow(), 40 * gigabyte);
  Capacity::judge(capacity, {});
  EXPECT_EQ(capacity.level, CapacityLevel::ok);
  EXPECT_THAT(capacity.messages, IsEmpty());
}

TEST(ImageCapacity, ADamagedImageMayClaimAnySize) {
  for (const std::int64_t claimed : {INT64_MIN, INT64_C(0), INT64_C(1), INT64_MAX}) {
    ImageCapacity capacity;
    capacity.capacityBytes = claimed;
    capacity.usedBytes = 600 * gigabyte;
    capacity.driveFreeBytes = gigabyte;
    Capacity::judge(capacity, {});
    EXPECT_GE(*capacity.canStillGrow(), 0);
    EXPECT_EQ(capacity.level, claimed < 1 ? CapacityLevel::ok : CapacityLevel::critical) << claimed;
  }
}

TEST(ImageCapacity, RoomEnoughOnTheDriveIsNoFinding) {
  ImageCapacity capacity;
  capacity.capacityBytes = 20 * gigabyte;
  capacity.usedBytes = 12 * gigabyte;
  capacity.driveFreeBytes = 8 * gigabyte;  // little, but all that the image can take
  Capacity::judge(capacity, {});
  EXPECT_EQ(capacity.level, CapacityLevel::ok);
  EXPECT_THAT(capacity.messages, IsEmpty());
}

TEST(ImageCapacity, FullImageOnAFullDriveHasTwoMessages) {
  ImageCapacity capacity;
  capacity.capacityBytes = 100 * gigabyte;
  capacity.usedBytes = 97 * gigabyte + 900'000'000;
  capacity.occupiedOnDrive = *capacity.usedBytes;
  capacity.driveFreeBytes = gigabyte;
  Capacity::judge(capacity, {});
  EXPECT_EQ(capacity.level, CapacityLevel::critical);
  EXPECT_THAT(
      capacity.messages,
      ElementsAre(
          "Die virtuelle Festplatte ist zu 97 % voll – Größe erhöhen.",
          "Das externe Laufwerk ist fast voll: die virtuelle Festplatte kann nur noch um 1 GB wachsen."));
}

TEST(ImageCapacity, WithoutADrivesFreeSpaceTheRoomInsideCounts) {
  ImageCapacity capacity;
  capacity.capacityBytes = 10;
  capacity.usedBytes = 4;
  EXPECT_EQ(capacity.canStillGrow(), 6);
  capacity.usedBytes = 12;
  EXPECT_EQ(capacity.canStillGrow(), 0) << "never negative";
}

TEST(ImageCapacity, UnmountedImageIsUnknownAndFine) {
  TempHome home;
  TempFolder folder;
  Relocation relocation;
  relocation.sourcePath = folder / "Quelle";
  relocation.storagePath = folder / "Fotos.sparsebundle";
  writeFile(relocation.storagePath + "/bands/0", std::string(100'000, 'x'));
  writeFile(relocation.storagePath + "/Info.plist",
            "<plist version=\"1.0\"><dict><key>size</key><integer>4398046511104</integer></dict></plist>");
  ImageCapacity capacity = Capacity::image(relocation, {});
  EXPECT_EQ(capacity.usedBytes, std::nullopt);
  EXPECT_EQ(capacity.fraction(), std::nullopt);
  EXPECT_EQ(capacity.canStillGrow(), std::nullopt);
  EXPECT_EQ(capacity.capacityBytes, 4398046511104);
  EXPECT_GE(capacity.occupiedOnDrive, 100'000);
  EXPECT_TRUE(capacity.driveFreeBytes.has_value());
  EXPECT_EQ(capacity.level, CapacityLevel::ok);
  EXPECT_THAT(capacity.messages, IsEmpty());
}

TEST(ImageCapacity, MissingImageIsAllUnknown) {
  Relocation relocation;
  relocation.sourcePath = "/nirgends/a";
  relocation.storagePath = "/nirgends/b.sparsebundle";
  EXPECT_EQ(Capacity::image(relocation, {}), ImageCapacity{});
}

TEST(VolumeCapacity, InternalDiskComesFirstAndEachDriveOnce) {
  TempFolder memory("/dev/shm");
  Relocation link;
  link.kind = RelocationKind::symlink;
  link.storagePath = memory.path();
  Relocation image;
  image.storagePath = memory / "Fotos.sparsebundle";
  Relocation restored = image;
  restored.storagePath = "/proc/x";
  restored.state = RelocationState::restored;
  Relocation absent = image;
  absent.storagePath = "/nirgends/Fotos.sparsebundle";

  auto volumes = Capacity::volumes({link, image, restored, absent}, {});
  ASSERT_EQ(volumes.size(), 2u);
  EXPECT_TRUE(volumes[0].isInternal);
  EXPECT_EQ(volumes[0].name, "Interne Festplatte");
  EXPECT_EQ(volumes[0].mountPoint, Platform::internalVolume());
  EXPECT_GT(volumes[0].totalBytes, volumes[0].freeBytes);
  EXPECT_EQ(volumes[1].mountPoint, "/dev/shm");
  EXPECT_EQ(volumes[1].name, "shm");
  EXPECT_FALSE(volumes[1].isInternal);
}

TEST(VolumeCapacity, AnImageCountsForTheFolderThatHoldsItAndALinkForItsTarget) {
  Relocation image;
  image.storagePath = "/dev/shm/gibt es nicht.sparsebundle";
  Relocation link;
  link.kind = RelocationKind::symlink;
  link.storagePath = "/dev/shm";
  for (const Relocation& relocation : {image, link}) {
    auto volumes = Capacity::volumes({relocation}, {});
    ASSERT_EQ(volumes.size(), 2u) << relocation.storagePath;
    EXPECT_EQ(volumes[1].mountPoint, "/dev/shm");
  }
}

TEST(VolumeCapacity, LimitsDifferForInternalAndExternal) {
  TempFolder memory("/dev/shm");
  Relocation link;
  link.kind = RelocationKind::symlink;
  link.storagePath = memory.path();
  CapacityThresholds thresholds;
  thresholds.internalWarnFreeGB = thresholds.internalCriticalFreeGB = 0;
  thresholds.externalWarnFreeGB = thresholds.externalCriticalFreeGB = 1'000'000;
  auto volumes = Capacity::volumes({link}, thresholds);
  ASSERT_EQ(volumes.size(), 2u);
  EXPECT_EQ(volumes[0].level, CapacityLevel::ok);
  EXPECT_EQ(volumes[1].level, CapacityLevel::critical);
}

TEST(VolumeCapacity, FractionOfAnEmptyVolumeIsZero) {
  EXPECT_EQ(VolumeCapacity{}.fraction(), 0);
  VolumeCapacity half;
  half.totalBytes = 10;
  half.freeBytes = 5;
  EXPECT_EQ(half.fraction(), 0.5);
}

}  // namespace
}  // namespace fernwahrung
