#include "Places.h"
#include "support/Files.h"
#include "support/TempFolder.h"

#include "Platform/FileChanges.h"
#include "Platform/FileInfo.h"
#include "Platform/Volume.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace fernwahrung {
namespace {

TEST(Volume, FactsAgreeWithEachOther) {
  const TempFolder folder;
  const auto facts = Platform::volumeFacts(folder.path());
  ASSERT_TRUE(facts);
  EXPECT_FALSE(facts->type.empty());
  EXPECT_GT(facts->blockSize, 0);
  EXPECT_GT(facts->availableBlocks, 0);
  EXPECT_GE(facts->freeBlocks, facts->availableBlocks);
  EXPECT_GE(facts->blocks, facts->freeBlocks);
}

TEST(Volume, TheMountPointIsAFolderOnTheSameVolume) {
  const TempFolder folder;
  const auto facts = Platform::volumeFacts(folder.path());
  ASSERT_TRUE(facts);
  const auto mountPoint = Platform::fileInfo(facts->mountPoint);
  ASSERT_TRUE(mountPoint);
  EXPECT_EQ(mountPoint->type, FileType::directory);
  EXPECT_EQ(mountPoint->device, Platform::fileInfo(folder.path())->device);
  EXPECT_EQ(Platform::volumeFacts(facts->mountPoint)->mountPoint, facts->mountPoint);
}

TEST(Volume, AFileHasTheFactsOfItsFolder) {
  const TempFolder folder;
  writeFile(folder / "file", "");
  EXPECT_EQ(Platform::volumeFacts(folder / "file")->mountPoint,
            Platform::volumeFacts(folder.path())->mountPoint);
}

TEST(Volume, ALinkHasTheFactsOfWhatItNames) {
  const TempFolder folder;
  const contract::CloningFolder drive;
  ASSERT_FALSE(Platform::makeSymlink(drive.path(), folder / "link"));
  EXPECT_EQ(Platform::volumeFacts(folder / "link")->mountPoint,
            Platform::volumeFacts(drive.path())->mountPoint);
}

TEST(Volume, AFolderThatCanNotBeReadHasFacts) {
  const TempFolder folder;
  makeFolder(folder / "secret");
  ASSERT_EQ(::chmod((folder / "secret").c_str(), 0), 0);
  EXPECT_EQ(contract::asOrdinaryUser([&] {
              return Platform::volumeFacts(folder / "secret") ? std::string() : std::string("no facts");
            }),
            "");
}

TEST(Volume, WhatIsMissingHasNone) {
  const TempFolder folder;
  EXPECT_FALSE(Platform::volumeFacts(folder / "missing"));
  EXPECT_FALSE(Platform::capacityForImportantUsage(folder / "missing"));
  ASSERT_FALSE(Platform::makeSymlink("nowhere", folder / "dangling"));
  EXPECT_FALSE(Platform::volumeFacts(folder / "dangling"));
}

TEST(Volume, TheInternalVolumeIsMountedWhereItIsNamed) {
  const auto facts = Platform::volumeFacts(Platform::internalVolume());
  ASSERT_TRUE(facts);
  EXPECT_EQ(facts->mountPoint, Platform::internalVolume());
}

TEST(Volume, OnlyTheMountPointItselfIsAVolumesRoot) {
  const TempFolder folder;
  const contract::CloningFolder drive;
  makeFolder(drive / "inside");
  writeFile(folder / "file", "");
  const std::string mountPoint = Platform::volumeFacts(drive.path())->mountPoint;
  ASSERT_FALSE(Platform::makeSymlink(mountPoint, folder / "link"));
  // A system that can't tell says so for every path, and FileOps goes by the mount point.
  const bool isKnown = Platform::isVolumeRoot(mountPoint).has_value();
  EXPECT_EQ(Platform::isVolumeRoot(mountPoint).value_or(true), true);
  for (const std::string& path : {drive / "inside", folder / "link", folder / "file", folder.path()}) {
    EXPECT_EQ(Platform::isVolumeRoot(path).has_value(), isKnown) << path;
    EXPECT_FALSE(Platform::isVolumeRoot(path).value_or(false)) << path;
  }
  EXPECT_FALSE(Platform::isVolumeRoot(folder / "missing").value_or(false));
}

TEST(Volume, TheCapacityIsNoMoreThanTheVolumeHolds) {
  const auto facts = Platform::volumeFacts(Platform::internalVolume());
  const auto capacity = Platform::capacityForImportantUsage(Platform::internalVolume());
  ASSERT_TRUE(facts && capacity);
  EXPECT_GT(*capacity, 0);
  EXPECT_LE(*capacity, facts->blocks * facts->blockSize);
}

TEST(Volume, BytesWrittenAreNoLongerFree) {
  const contract::CloningFolder drive;
  const auto before = Platform::volumeFacts(drive.path());
  writeFile(drive / "file", "");
  ASSERT_FALSE(Platform::writeAndFlush(drive / "file", std::string(64 << 20, 'x')));
  const auto after = Platform::volumeFacts(drive.path());
  ASSERT_TRUE(before && after);
  EXPECT_LE(after->freeBlocks * after->blockSize, before->freeBlocks * before->blockSize - (60 << 20));
}

}  // namespace
}  // namespace fernwahrung
