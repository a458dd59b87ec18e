#include "HostTest.h"
#include "support/Files.h"
#include "support/KillAt.h"

namespace fernwahrung::host {
namespace {

struct Compact : ImageTest {
  void SetUp() override {
    ImageTest::SetUp();
    if (IsSkipped()) return;
    makeAttached(image, mountPoint, 300);
    writeFile(mountPoint + "/kept", std::string(5 << 20, 'k'));
    writeFile(mountPoint + "/removed", std::string(60 << 20, 'r'));
    mustRun({"sync", "-f", mountPoint});
    removeEverything(mountPoint + "/removed");
    ASSERT_EQ(detach(mountPoint).status, 0);
  }

  void expectKept() {
    EXPECT_EQ(runProgram({"e2fsck", "-f", "-n", band(image)}).status, 0);
    ASSERT_EQ(attach(image, mountPoint).status, 0);
    EXPECT_EQ(namesIn(mountPoint), std::vector<std::string>{"kept"});
    EXPECT_EQ(readFile(mountPoint + "/kept"), std::string(5 << 20, 'k'));
    ASSERT_EQ(detach(mountPoint).status, 0);
  }

  const std::string image = imagePath();
};

TEST_F(Compact, GivesTheRoomOfRemovedFilesBack) {
  const auto before = allocatedBytes(image);
  ASSERT_GT(before, 60 << 20);
  const ProgramResult result = runTool("hdiutil", {"compact", image});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_LT(allocatedBytes(image), before - (59 << 20));
  expectKept();
}

TEST_F(Compact, OfAnAttachedImageIsRefused) {
  ASSERT_EQ(attach(image, mountPoint).status, 0);
  const ProgramResult result = runTool("hdiutil", {"compact", image});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "hdiutil: compact failed - Resource temporarily unavailable\n");
  EXPECT_EQ(readFile(mountPoint + "/kept").size(), 5U << 20);
}

TEST_F(Compact, RefusesWhatIsNoImage) {
  EXPECT_EQ(runTool("hdiutil", {"compact", imagePath("missing")}).err,
            "hdiutil: compact failed - No such file or directory\n");
  EXPECT_EQ(runTool("hdiutil", {"compact"}).status, 1);
}

TEST_F(Compact, KilledAtAnyCallKeepsAll) {
  if (auto reason = KillAt::unavailable()) GTEST_SKIP() << *reason;
  int kills = 0;
  for (int n = 1;; ++n) {
    const KillAt::Result run = KillAt::run(
        {.argv = {toolPath("hdiutil"), "compact", image}, .killAt = n, .mode = KillAt::Mode::all});
    SCOPED_TRACE("killed before " + run.call);
    expectKept();
    if (!run.killed) break;
    ++kills;
  }
  EXPECT_GT(kills, 3);
}

}  // namespace
}  // namespace fernwahrung::host
