// One small image, made, mounted over a locked folder, filled, enlarged, shrunk and let go of.
#include "../platform/Places.h"
#include "support/Files.h"
#include "support/TempFolder.h"

#include "Foundation/FileDescriptor.h"
#include "Foundation/HostTools.h"
#include "Platform/FileChanges.h"
#include "Platform/FileInfo.h"
#include "Platform/Volume.h"
#include "Storage/DiskImage.h"
#include "Storage/FileOps.h"

#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace fernwahrung {
namespace {

constexpr std::int64_t mebibyte = 1 << 20;
constexpr DiskImage::AttachOptions hidden{.browsable = false, .readOnly = false};

struct Image : testing::Test {
  void SetUp() override {
    if (::access(HostTools::locate("/usr/bin/hdiutil").c_str(), X_OK) != 0)
      GTEST_SKIP() << "there is no hdiutil";
    if (const auto reason = contract::mountingUnavailable()) GTEST_SKIP() << *reason;
    makeFolder(mountPoint);
    ASSERT_NO_THROW(DiskImage::create(image, 200 * mebibyte, "Fernwahrung Selbsttest"));
  }

  void TearDown() override {
    if (FileOps::isMountPoint(mountPoint)) {
      EXPECT_NO_THROW(DiskImage::detach(mountPoint));
    }
  }

  TempFolder folder;
  const std::string image = folder / "Bild mit Ümlaut.sparsebundle";
  const std::string mountPoint = folder / "Ort mit Leerzeichen";
};

TEST_F(Image, ANewOneIsAFolderThatTakesLittleRoomAndKnowsItsSize) {
  EXPECT_TRUE(isFolder(image));
  EXPECT_EQ(DiskImage::capacityBytes(image), 200 * mebibyte);
  EXPECT_GT(DiskImage::occupiedBytes(image), 0);
  EXPECT_LT(DiskImage::occupiedBytes(image), 100 * mebibyte);
  EXPECT_FALSE(DiskImage::attachment(image));
}

TEST_F(Image, IsMountedOverAnEmptyFolder) {
  const AttachedImage attached = DiskImage::attach(image, mountPoint, hidden);
  EXPECT_EQ(attached.mountPoints, std::vector<std::string>{mountPoint});
  EXPECT_TRUE(FileOps::isMountPoint(mountPoint));
  EXPECT_EQ(Platform::volumeFacts(mountPoint)->mountPoint, mountPoint);
  const auto type = FileOps::fileSystemType(mountPoint);
  EXPECT_TRUE(type == "apfs" || type == "hfs") << type.value_or("none");
}

TEST_F(Image, IsMountedOverAnEmptyFolderThatIsLocked) {
  ASSERT_FALSE(Platform::setImmutable(mountPoint, true));
  ASSERT_NO_THROW(DiskImage::attach(image, mountPoint, hidden));
  EXPECT_FALSE(Platform::isImmutable(mountPoint)) << "the root of the image is not the folder beneath it";
  EXPECT_FALSE(Platform::createFile(mountPoint + "/written"));
  DiskImage::detach(mountPoint);
  EXPECT_TRUE(Platform::isImmutable(mountPoint));
  EXPECT_EQ(namesIn(mountPoint), std::vector<std::string>{});
}

TEST_F(Image, IsListedWhileAttachedAndNoLongerAfterwards) {
  DiskImage::attach(image, mountPoint, hidden);
  const auto attached = DiskImage::attachment(image);
  ASSERT_TRUE(attached);
  EXPECT_EQ(attached->mountPoints, std::vector<std::string>{mountPoint});
  EXPECT_FALSE(attached->deviceEntries.empty());
  DiskImage::detach(mountPoint);
  EXPECT_FALSE(DiskImage::attachment(image));
  EXPECT_FALSE(FileOps::isMountPoint(mountPoint));
}

TEST_F(Image, KeepsWhatWasWrittenWhenMountedElsewhere) {
  DiskImage::attach(image, mountPoint, hidden);
  writeFile(mountPoint + "/Datei", "bytes");
  DiskImage::detach(mountPoint);
  makeFolder(folder / "elsewhere");
  DiskImage::attach(image, folder / "elsewhere", {.browsable = false, .readOnly = true});
  EXPECT_EQ(readFile(folder / "elsewhere/Datei"), "bytes");
  EXPECT_TRUE(Platform::createFile(folder / "elsewhere/new")) << "mounted read-only";
  DiskImage::detach(folder / "elsewhere");
}

TEST_F(Image, IsAVolumeOfItsOwn) {
  DiskImage::attach(image, mountPoint, hidden);
  writeFile(mountPoint + "/inside", "bytes");
  EXPECT_EQ(Platform::renameExclusive(mountPoint + "/inside", folder / "outside").value(), EXDEV);
  EXPECT_NE(Platform::fileInfo(mountPoint)->device, Platform::fileInfo(folder.path())->device);
}

TEST_F(Image, CanNotBeDetachedWhileAFileInItIsOpen) {
  DiskImage::attach(image, mountPoint, hidden);
  writeFile(mountPoint + "/open", "bytes");
  {
    const FileDescriptor fd(::open((mountPoint + "/open").c_str(), O_RDONLY | O_CLOEXEC));
    EXPECT_ANY_THROW(DiskImage::detach(mountPoint));
    EXPECT_EQ(readFile(mountPoint + "/open"), "bytes");
  }
  EXPECT_NO_THROW(DiskImage::detach(mountPoint));
}

TEST_F(Image, GrowsAndShrinksWithinItsLimits) {
  const ImageLimits before = DiskImage::limits(image);
  EXPECT_LE(before.minimumBytes, before.currentBytes);
  EXPECT_LE(before.currentBytes, before.maximumBytes);
  DiskImage::resize(image, 400 * mebibyte);
  EXPECT_EQ(DiskImage::capacityBytes(image), 400 * mebibyte);
  DiskImage::resize(image, 300 * mebibyte);
  EXPECT_EQ(DiskImage::capacityBytes(image), 300 * mebibyte);
}

TEST_F(Image, IsCompactedWithoutLosingAByte) {
  const std::string big(40 * mebibyte, 'x');
  DiskImage::attach(image, mountPoint, hidden);
  writeFile(mountPoint + "/big", big);
  writeFile(mountPoint + "/kept", "bytes");
  ASSERT_FALSE(Platform::unlink(mountPoint + "/big"));
  DiskImage::detach(mountPoint);
  const std::int64_t before = DiskImage::occupiedBytes(image);
  ASSERT_NO_THROW(DiskImage::compact(image));
  EXPECT_LE(DiskImage::occupiedBytes(image), before);
  DiskImage::attach(image, mountPoint, hidden);
  EXPECT_EQ(readFile(mountPoint + "/kept"), "bytes");
}

TEST_F(Image, PassesTheCheckOfItsFileSystem) {
  EXPECT_NO_THROW(DiskImage::verifyFileSystem(image));
  EXPECT_FALSE(DiskImage::attachment(image));
}

TEST_F(Image, IsNotMadeWhereAFileLies) {
  EXPECT_ANY_THROW(DiskImage::create(image, 200 * mebibyte, "Fernwahrung Selbsttest"));
}

}  // namespace
}  // namespace fernwahrung
