// What only happens to an ordinary user.
#include "../HostTest.h"
#include "linux/ProcessTable.h"
#include "support/Eventually.h"
#include "support/Files.h"

#include <csignal>
#include <sys/stat.h>
#include <unistd.h>

namespace fernwahrung::host {
namespace {

using Listed = std::vector<std::pair<std::string, std::vector<std::string>>>;

struct FuseImage : ImageTest {
  const std::string image = imagePath();
};

TEST_F(FuseImage, IsNotListedWhenItsProcessWasKilled) {
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

TEST(DittoOfUser, TellsWhatItMayNotRead) {
  const TempFolder folder;
  const std::string source = folder / "source";
  const std::string copy = folder / "copy";
  writeFile(source + "/a", "bytes");
  writeFile(source + "/secret file", "bytes", 0);
  writeFile(source + "/secret folder/file", "bytes");
  ASSERT_EQ(::chmod((source + "/secret folder").c_str(), 0), 0);
  const ProgramResult result = runTool("ditto", {source, copy});
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.err.find("ditto: " + source + "/secret file: Permission denied\n"), std::string::npos);
  EXPECT_NE(result.err.find("ditto: " + source + "/secret folder: Permission denied\n"), std::string::npos);
  EXPECT_EQ(readFile(copy + "/a"), "bytes");
}

}  // namespace
}  // namespace fernwahrung::host
