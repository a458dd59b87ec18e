// Images that the kernel itself holds. Attaching and detaching is killed at each changing call. A traced
// program can't use FUSE's helper, which gains rights by being started, so only root's way can be tested like
// this.
#include "../HostTest.h"
#include "support/Eventually.h"
#include "support/Files.h"
#include "support/KillAt.h"

namespace fernwahrung::host {
namespace {

using Listed = std::vector<std::pair<std::string, std::vector<std::string>>>;

/// FUSE knows only the name from the beginning.
struct Kernel : ImageTest {
  const std::string image = imagePath();
};

TEST_F(Kernel, FollowsAnImageThatWasRenamed) {
  makeAttached(image, mountPoint);
  mustRun({"mv", image, imagePath("new name")});
  EXPECT_EQ(listed(), (Listed{{imagePath("new name"), {mountPoint}}}));
  EXPECT_EQ(detach(mountPoint).status, 0);
  EXPECT_TRUE(isReleased(imagePath("new name")));
}

struct Kill : ImageTest {
  const std::string image = imagePath();
};

/// Each call is followed by a look at the kernel's own tables, and by an attach that must work.
void expectConsistent(const Kill& test, const std::string& context) {
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

TEST_F(Kill, OfAttachOrDetachLeavesNothingThatLies) {
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
