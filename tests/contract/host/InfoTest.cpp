// The list of attached images stays true whatever happens to processes, files and drives.
#include "HostTest.h"
#include "linux/ProcessTable.h"
#include "support/Eventually.h"
#include "support/Files.h"
#include "support/KillAt.h"
#include "support/ScratchDrive.h"

#include <csignal>
#include <unistd.h>

namespace fernwahrung::host {
namespace {

using Listed = std::vector<std::pair<std::string, std::vector<std::string>>>;

struct Info : ImageTest {
  const std::string image = imagePath();
};

TEST_F(Info, ListsSeveralImagesWithTheirPlaces) {
  makeAttached(image, mountPoint);
  makeAttached(imagePath("other"), folder / "other");
  Listed images = listed();
  std::sort(images.begin(), images.end());
  EXPECT_EQ(images, (Listed{{image, {mountPoint}}, {imagePath("other"), {folder / "other"}}}));
}

TEST_F(Info, DoesNotListAnImageWhoseFileWasRemoved) {
  makeAttached(image, mountPoint);
  mustRun({"rm", "-r", image});
  EXPECT_EQ(listed(), Listed{});
  ASSERT_EQ(create(image).status, 0);
  EXPECT_EQ(listed(), Listed{}) << "the new image of that name is not the one that is mounted";
  EXPECT_EQ(detach(mountPoint).status, 0);
  EXPECT_FALSE(isMounted(mountPoint));
  EXPECT_EQ(attach(image, mountPoint).status, 0);
}

TEST_F(Info, FollowsAnImageThatWasRenamed) {
  if (!isRoot()) GTEST_SKIP() << "FUSE knows only the name from the beginning";
  makeAttached(image, mountPoint);
  mustRun({"mv", image, imagePath("new name")});
  EXPECT_EQ(listed(), (Listed{{imagePath("new name"), {mountPoint}}}));
  EXPECT_EQ(detach(mountPoint).status, 0);
  EXPECT_TRUE(isReleased(imagePath("new name")));
}

TEST_F(Info, DoesNotTakeOtherLoopDevicesForImages) {
  if (!isRoot()) GTEST_SKIP() << "only root can mount a drive";
  const ScratchDrive drive({.fileSystem = ScratchDrive::FileSystem::ext4});
  const std::string list = runTool("hdiutil", {"info", "-plist"}).out;
  EXPECT_EQ(list.find(drive.path()), std::string::npos) << list;
  EXPECT_EQ(list.find(drive.backingFile()), std::string::npos) << list;
}

TEST_F(Info, TellsTheTruthAfterThePullingOfADrive) {
  if (!isRoot()) GTEST_SKIP() << "only root can mount a drive";
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

TEST_F(Info, DoesNotListAnImageWhoseProcessWasKilled) {
  if (isRoot()) GTEST_SKIP() << "root's images have no process";
  makeAttached(image, mountPoint);
  pid_t worker = 0;
  for (const pid_t pid : ProcessTable::pids()) {
    const auto process = ProcessTable::read(pid);
    if (process && process->user == ::geteuid() && process->executable.ends_with("/fuse2fs") &&
        readFile("/proc/" + std::to_string(pid) + "/cmdline").find(image) != std::string::npos)
      worker = pid;
  }
  ASSERT_NE(worker, 0);
  ASSERT_EQ(::kill(worker, SIGKILL), 0);
  ASSERT_TRUE(eventually([&] { return isReleased(image); }));
  EXPECT_EQ(listed(), Listed{});
  EXPECT_TRUE(isMounted(mountPoint)) << "the kernel keeps a mount that nobody answers for";
  EXPECT_EQ(detach(mountPoint).status, 0);
  EXPECT_FALSE(isMounted(mountPoint));
  EXPECT_EQ(attach(image, mountPoint).status, 0);
  EXPECT_EQ(listed(), (Listed{{image, {mountPoint}}}));
}

/// Each call is followed by a look at the kernel's own tables, and by an attach that must work.
void expectConsistent(const Info& test, const std::string& context) {
  SCOPED_TRACE(context);
  ASSERT_TRUE(eventually([&] { return test.isMounted(test.mountPoint) || test.isReleased(test.image); }))
      << "a loop device was left behind";
  if (test.isMounted(test.mountPoint)) {
    EXPECT_EQ(test.listed(), (Listed{{test.image, {test.mountPoint}}}));
  } else {
    EXPECT_EQ(test.listed(), Listed{});
  }
  const ProgramResult attached = test.attach(test.image, test.mountPoint);
  EXPECT_EQ(attached.status, 0) << attached.err;
  EXPECT_EQ(test.listed(), (Listed{{test.image, {test.mountPoint}}}));
  EXPECT_EQ(readFile(test.mountPoint + "/file"), "bytes");
}

TEST_F(Info, StaysTrueWhenAttachOrDetachIsKilledAtAnyCall) {
  if (!isRoot())
    GTEST_SKIP() << "a traced program can't use FUSE's helper, which gains rights by being started";
  if (auto reason = KillAt::unavailable()) GTEST_SKIP() << *reason;
  makeAttached(image, mountPoint);
  writeFile(mountPoint + "/file", "bytes");
  std::vector<std::string> attachArgv = attachVector(image, mountPoint);
  attachArgv.insert(attachArgv.begin(), toolPath("hdiutil"));
  const std::vector<std::string> detachArgv = {toolPath("hdiutil"), "detach", mountPoint, "-quiet"};
  int kills = 0;
  for (const auto& argv : {attachArgv, detachArgv}) {
    for (int n = 1;; ++n) {
      if (argv == attachArgv) {
        ASSERT_EQ(detach(mountPoint).status, 0);
      }
      const KillAt::Result run = KillAt::run({.argv = argv, .killAt = n});
      expectConsistent(*this, run.killed ? argv[1] + " killed before " + run.call : "not killed");
      if (!run.killed) break;
      ++kills;
    }
  }
  EXPECT_GE(kills, 4);
}

}  // namespace
}  // namespace fernwahrung::host
