// What takes a drive of its own, which only root can mount.
#include "../HostTest.h"
#include "support/Files.h"
#include "support/NastyTree.h"
#include "support/ScratchDrive.h"
#include "support/TreeManifest.h"

#include "Foundation/FileDescriptor.h"
#include "Foundation/PathString.h"
#include "Foundation/PropertyList.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/mount.h>
#include <system_error>

namespace fernwahrung::host {
namespace {

struct ImageOnDrive : ImageTest {
  const std::string image = imagePath();
};

TEST_F(ImageOnDrive, CreateLeavesNothingBehindOnAFullOne) {
  ScratchDrive drive({.fileSystem = ScratchDrive::FileSystem::ext4});
  drive.fill(1 << 20);
  const ProgramResult result = create(drive / "Bild.sparsebundle", 28610);
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.err, "");
  EXPECT_FALSE(exists(drive / "Bild.sparsebundle"));
}

// Once the volume is gone nobody looks for what could not be written.
TEST_F(ImageOnDrive, DetachKeepsAVolumeWhoseDataTheDriveDoesNotTake) {
  ScratchDrive drive({.fileSystem = ScratchDrive::FileSystem::ext4});
  const std::string external = drive / "Bild.sparsebundle";
  makeAttached(external, mountPoint, 400);
  drive.fill(4 << 20);
  writeFile(mountPoint + "/big", std::string(64 << 20, 'x'));
  const ProgramResult result = detach(mountPoint);
  EXPECT_EQ(result.status, 1) << result.out << result.err;
  EXPECT_NE(result.err.find("hdiutil: couldn't unmount"), std::string::npos) << result.err;
  EXPECT_TRUE(isMounted(mountPoint));
}

TEST_F(ImageOnDrive, DetachLeavesOtherVolumesAlone) {
  const ScratchDrive drive({.fileSystem = ScratchDrive::FileSystem::ext4});
  EXPECT_EQ(detach(drive.path()).status, 1);
  EXPECT_EQ(detach(drive.device()).status, 1);
  EXPECT_TRUE(isMounted(drive.path()));
}

TEST_F(ImageOnDrive, ListDoesNotTakeOtherLoopDevicesForImages) {
  const ScratchDrive drive({.fileSystem = ScratchDrive::FileSystem::ext4});
  const std::string list = runTool("hdiutil", {"info", "-plist"}).out;
  EXPECT_EQ(list.find(drive.path()), std::string::npos) << list;
  EXPECT_EQ(list.find(drive.backingFile()), std::string::npos) << list;
}

TEST_F(ImageOnDrive, ListTellsTheTruthAfterThePullingOfADrive) {
  for (const auto fileSystem : {ScratchDrive::FileSystem::btrfs, ScratchDrive::FileSystem::ext4}) {
    if (auto reason = ScratchDrive::unavailable(fileSystem)) GTEST_SKIP() << *reason;
    ScratchDrive drive({.fileSystem = fileSystem});
    const std::string external = drive / "Bild.sparsebundle";
    makeAttached(external, mountPoint);
    EXPECT_NE(runTool("hdiutil", {"info", "-plist"}).out.find(external), std::string::npos);
    drive.pull();
    const std::string list = runTool("hdiutil", {"info", "-plist"}).out;
    EXPECT_EQ(list.find(external), std::string::npos) << list;
    EXPECT_EQ(list.find(mountPoint), std::string::npos) << "under another name: " << list;
    EXPECT_TRUE(isMounted(mountPoint)) << "the volume itself is still there";
    const ProgramResult detached = detach(mountPoint);
    EXPECT_EQ(detached.status, 0) << detached.err;
    EXPECT_FALSE(isMounted(mountPoint));
    drive.remount();
    EXPECT_EQ(attach(external, mountPoint).status, 0);
    EXPECT_NE(runTool("hdiutil", {"info", "-plist"}).out.find(external), std::string::npos);
    EXPECT_EQ(detach(mountPoint).status, 0);
  }
}

/// A file system laid over the drive for as long as the object lives.
class Cover {
 public:
  explicit Cover(const std::string& place) : place_(place) {
    if (::mount("none", place.c_str(), "tmpfs", 0, nullptr) != 0)
      throw std::system_error(errno, std::generic_category(), place);
  }
  ~Cover() { ::umount2(place_.c_str(), MNT_DETACH); }
  Cover(const Cover&) = delete;
  Cover& operator=(const Cover&) = delete;

 private:
  std::string place_;
};

TEST_F(ImageOnDrive, ListDoesNotTakeAnotherFileOfTheSamePathForTheImage) {
  const ScratchDrive drive({.fileSystem = ScratchDrive::FileSystem::ext4});
  const std::string external = drive / "Bild.sparsebundle";
  makeAttached(external, mountPoint);
  {
    const Cover cover(drive.path());
    ASSERT_EQ(create(external).status, 0);
    const std::string list = runTool("hdiutil", {"info", "-plist"}).out;
    EXPECT_EQ(list.find(external), std::string::npos) << list;
    EXPECT_EQ(list.find(mountPoint), std::string::npos) << list;
    makeFolder(folder / "elsewhere");
    EXPECT_EQ(attach(external, folder / "elsewhere").status, 0);
    EXPECT_TRUE(isMounted(folder / "elsewhere"));
    EXPECT_EQ(detach(folder / "elsewhere").status, 0);
    EXPECT_TRUE(isMounted(mountPoint));
  }
  EXPECT_NE(runTool("hdiutil", {"info", "-plist"}).out.find(external), std::string::npos);
  EXPECT_EQ(detach(mountPoint).status, 0);
}

struct Disk : testing::Test {
  void SetUp() override {
    if (auto reason = ScratchDrive::unavailable()) GTEST_SKIP() << *reason;
  }

  static nlohmann::json info(const std::string& path, int status = 0) {
    const ProgramResult result = runTool("diskutil", {"info", "-plist", path});
    EXPECT_EQ(result.status, status) << result.out << result.err;
    return PropertyList::parse(result.out);
  }
};

TEST_F(Disk, IsNamedForEachVolumeOnIt) {
  for (const auto fileSystem : {ScratchDrive::FileSystem::btrfs, ScratchDrive::FileSystem::ext4}) {
    const ScratchDrive drive({.fileSystem = fileSystem});
    const auto facts = info(drive.path());
    EXPECT_EQ(facts.at("ParentWholeDisk"), PathString::lastComponent(drive.device()));
    EXPECT_EQ(facts.at("DeviceNode"), drive.device());
    EXPECT_EQ(facts.at("MountPoint"), drive.path());
    EXPECT_EQ(info(drive.device()).at("MountPoint"), drive.path());
  }
}

TEST_F(Disk, OfTwoDrivesIsNotTheSame) {
  const ScratchDrive one({.fileSystem = ScratchDrive::FileSystem::ext4});
  const ScratchDrive other({.fileSystem = ScratchDrive::FileSystem::ext4});
  EXPECT_NE(info(one.path()).at("ParentWholeDisk"), info(other.path()).at("ParentWholeDisk"));
}

TEST_F(Disk, OfWhatIsNoVolumeIsAnErrorInAPropertyList) {
  const auto facts = info("/nowhere", 1);
  EXPECT_EQ(facts.at("Error"), true);
  EXPECT_NE(facts.at("ErrorMessage"), "");
  EXPECT_EQ(runTool("diskutil", {"info", "/"}).status, 1) << "without -plist";
}

TEST_F(Disk, IsEjectedUnlessItIsInUse) {
  const ScratchDrive drive({.fileSystem = ScratchDrive::FileSystem::ext4});
  {
    writeFile(drive / "file", "bytes");
    const FileDescriptor fd(::open((drive / "file").c_str(), O_RDONLY | O_CLOEXEC));
    const ProgramResult busy = runTool("diskutil", {"eject", drive.path()});
    EXPECT_EQ(busy.status, 1);
    EXPECT_NE(busy.err.find("Resource busy"), std::string::npos) << busy.err;
    EXPECT_TRUE(ImageTest::isMounted(drive.path()));
  }
  EXPECT_EQ(runTool("diskutil", {"eject", drive.path()}).status, 0);
  EXPECT_FALSE(ImageTest::isMounted(drive.path()));
  EXPECT_FALSE(exists(drive.path())) << "its place below /Volumes goes as well";
  EXPECT_EQ(runTool("diskutil", {"eject", drive.path()}).status, 1);
}

struct DittoOnDrive : testing::Test {
  TempFolder folder;
  const std::string source = folder / "source";
};

TEST_F(DittoOnDrive, CopiesToDrivesWithAndWithoutSharedBlocks) {
  makeNastyTree(source);
  for (const auto fileSystem : {ScratchDrive::FileSystem::btrfs, ScratchDrive::FileSystem::ext4}) {
    if (auto reason = ScratchDrive::unavailable(fileSystem)) GTEST_SKIP() << *reason;
    const ScratchDrive drive({.fileSystem = fileSystem});
    for (const char* name : {"first", "second"}) {
      const std::string from = name == std::string("first") ? source : drive / "first";
      const ProgramResult result = runTool("ditto", {from, drive / name});
      EXPECT_EQ(result.status, 0) << result.err;
      EXPECT_EQ(diff(TreeManifest::of(source), TreeManifest::of(drive / name)), "");
    }
  }
}

TEST_F(DittoOnDrive, SharesBlocksWhereTheFileSystemCan) {
  if (auto reason = ScratchDrive::unavailable()) GTEST_SKIP() << *reason;
  const ScratchDrive drive;
  writeFile(drive / "file", std::string(64 << 20, 'x'));
  mustRun({"sync", "-f", drive.path()});
  const auto before = drive.availableBytes();
  ASSERT_EQ(runTool("ditto", {drive / "file", drive / "copy"}).status, 0);
  mustRun({"sync", "-f", drive.path()});
  EXPECT_GT(drive.availableBytes(), before - (16 << 20));
  EXPECT_EQ(readFile(drive / "copy"), readFile(drive / "file"));
}

TEST_F(DittoOnDrive, TellsAFullDrive) {
  if (auto reason = ScratchDrive::unavailable(ScratchDrive::FileSystem::ext4)) GTEST_SKIP() << *reason;
  ScratchDrive drive({.fileSystem = ScratchDrive::FileSystem::ext4});
  drive.fill(4 << 20);
  writeFile(source + "/big", std::string(64 << 20, 'x'));
  const ProgramResult result = runTool("ditto", {source, drive / "copy"});
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.err.find("No space left on device"), std::string::npos) << result.err;
}

}  // namespace
}  // namespace fernwahrung::host
