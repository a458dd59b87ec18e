#include "support/Eventually.h"
#include "support/Files.h"
#include "support/KillAt.h"
#include "support/Program.h"
#include "support/ScratchDrive.h"
#include "support/TempFolder.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace fernwahrung {
namespace {

const char* const roleVariable = "FERNWAHRUNG_TEST_ROLE_FOLDER";

/// This executable, started with the variable set, is a program of its own: four threads that each make a
/// file and start a tool that makes another.
bool playRole() {
  const char* folder = std::getenv(roleVariable);
  if (!folder) return false;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([folder, i] {
      const std::string path = std::string(folder) + "/own-" + std::to_string(i);
      ::close(::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
      std::string program = "mkdir", argument = std::string(folder) + "/tool-" + std::to_string(i);
      char* const arguments[] = {program.data(), argument.data(), nullptr};
      pid_t child = -1;
      if (::posix_spawnp(&child, "mkdir", nullptr, nullptr, arguments, environ) == 0)
        ::waitpid(child, nullptr, 0);
    });
  }
  for (std::thread& thread : threads) thread.join();
  ::_exit(0);
}
const bool roleWasPlayed = playRole();

class KillAtTest : public testing::Test {
 protected:
  void SetUp() override {
    if (auto reason = KillAt::unavailable()) GTEST_SKIP() << *reason;
  }
  KillAt::Options shell(const std::string& script, int at = 0, KillAt::Mode mode = KillAt::Mode::main) const {
    return {.argv = {"sh", "-c", "cd " + shellQuoted(folder_.path()) + "\n" + script},
            .killAt = at,
            .mode = mode};
  }
  KillAt::Options threads(int at, KillAt::Mode mode, const std::string& folder) const {
    return {.argv = {std::filesystem::read_symlink("/proc/self/exe")},
            .environment = {{roleVariable, folder}},
            .killAt = at,
            .mode = mode};
  }

  const TempFolder folder_;
};

TEST_F(KillAtTest, GivesStatusAndOutputOfAWholeRun) {
  const KillAt::Result result = KillAt::run(shell("echo out; echo err >&2; exit 7"));
  EXPECT_EQ(result.status, 7);
  EXPECT_FALSE(result.killed);
  EXPECT_EQ(result.out, "out\n");
  EXPECT_EQ(result.err, "err\n");
}

TEST_F(KillAtTest, CountsTheSameInEachRun) {
  const std::string script =
      "mkdir a; echo x >a/b; mv a/b a/c; ln -s x a/d; ln a/c a/e; chmod 600 a/c; sync a/c; rm -r a";
  const int total = KillAt::run(shell(script)).total;
  EXPECT_GT(total, 15);
  EXPECT_EQ(KillAt::run(shell(script)).total, total);
  EXPECT_EQ(KillAt::run(shell(script)).total, total);
}

TEST_F(KillAtTest, NamesEachKindOfCall) {
  KillAt::Options options = shell("mkdir a; : >a/b; mv a/b a/c; rmdir a; rm -r a; cat a 2>/dev/null; true");
  options.recordCalls = true;
  const std::string top = folder_.path();
  EXPECT_EQ(KillAt::run(options).calls,
            (std::vector<std::string>{
                "start /usr/bin/mkdir [mkdir]", "mkdir " + top + "/a [mkdir]", "openat " + top + "/a/b [sh]",
                "start /usr/bin/mv [mv]", "renameat2 " + top + "/a/b -> " + top + "/a/c [mv]",
                "start /usr/bin/rmdir [rmdir]", "rmdir " + top + "/a [rmdir]", "start /usr/bin/rm [rm]",
                "unlinkat " + top + "/a/c [rm]", "unlinkat " + top + "/a [rm]", "start /usr/bin/cat [cat]"}));
}

TEST_F(KillAtTest, KillsBeforeTheCallIsExecuted) {
  const std::string script = ": >1; : >2; : >3; : >4";
  for (int n = 1; n <= 4; ++n) {
    const TempFolder place;
    KillAt::Options options = shell("cd " + shellQuoted(place.path()) + "; " + script, n);
    const KillAt::Result result = KillAt::run(options);
    EXPECT_TRUE(result.killed);
    EXPECT_EQ(result.status, 128 + SIGKILL);
    EXPECT_EQ(result.call, "openat " + (place / std::to_string(n)) + " [sh]");
    EXPECT_EQ(namesIn(place.path()).size(), static_cast<std::size_t>(n - 1));
  }
  const KillAt::Result whole = KillAt::run(shell(script, 5));
  EXPECT_FALSE(whole.killed);
  EXPECT_EQ(whole.total, 4);
  EXPECT_EQ(whole.status, 0);
}

TEST_F(KillAtTest, DoesNotExecuteTheCallOfAKilledRename) {
  writeFile(folder_ / "from", "x");
  const KillAt::Options options = shell("mv from to", 2, KillAt::Mode::all);
  EXPECT_EQ(KillAt::run(options).call.compare(0, 9, "renameat2"), 0);
  EXPECT_TRUE(exists(folder_ / "from"));
  EXPECT_FALSE(exists(folder_ / "to"));
}

const char* const toolScript = "sh -c ': >first; : >second'; : >third; true";

TEST_F(KillAtTest, LetsTheToolsGoOnWhenOnlyTheMainProcessIsKilled) {
  const KillAt::Result result = KillAt::run(shell(toolScript, 2, KillAt::Mode::main));
  EXPECT_EQ(result.call, "openat " + (folder_ / "first") + " [sh]");
  EXPECT_EQ(result.status, 128 + SIGKILL);
  EXPECT_EQ(namesIn(folder_.path()), (std::vector<std::string>{"first", "second"}));
}

TEST_F(KillAtTest, EndsTheToolsAsWellAtAPowerCut) {
  const KillAt::Result result = KillAt::run(shell(toolScript, 2, KillAt::Mode::all));
  EXPECT_TRUE(result.killed);
  EXPECT_TRUE(namesIn(folder_.path()).empty());
}

TEST_F(KillAtTest, DoesNotStartTheProgramOfAKilledStart) {
  KillAt::run(shell("mkdir a; true", 1, KillAt::Mode::all));
  EXPECT_FALSE(exists(folder_ / "a"));
}

TEST_F(KillAtTest, ReturnsFromWaitWhileAnOrphanStillRuns) {
  ASSERT_EQ(::mkfifo((folder_ / "gate").c_str(), 0600), 0);
  KillAt::Options options = shell("(read line <gate; : >late) & : >early; wait", 1);
  KillAt run(options);
  const KillAt::Result result = run.wait();
  EXPECT_TRUE(result.killed);
  EXPECT_FALSE(run.waitForTree(0));
  EXPECT_FALSE(exists(folder_ / "late"));
  writeFile(folder_ / "gate", "go\n", 0600);
  EXPECT_TRUE(run.waitForTree());
  EXPECT_TRUE(exists(folder_ / "late"));
}

TEST_F(KillAtTest, KillsWhatIsLeftWhenItIsDestroyed) {
  const std::string file = folder_ / "id";
  {
    KillAt run(shell("sh -c 'echo $$ >id; exec sleep 86400' & wait"));
    ASSERT_TRUE(eventually([&] { return exists(file) && !readFile(file).empty(); }));
  }
  const pid_t child = std::stoi(readFile(file));
  EXPECT_TRUE(eventually([&] {
    std::error_code error;
    return std::filesystem::read_symlink("/proc/" + std::to_string(child) + "/exe", error).empty();
  }));
}

TEST_F(KillAtTest, StopsARunThatNeverEnds) {
  KillAt::Options options = shell("exec sleep 86400");
  options.timeoutSeconds = 1;
  EXPECT_THROW(KillAt::run(options), std::runtime_error);
}

TEST_F(KillAtTest, PassesSignalsAndStopsOn) {
  EXPECT_EQ(KillAt::run(shell("kill -TERM $$")).status, 128 + SIGTERM);
  EXPECT_EQ(KillAt::run(shell("trap 'exit 5' TERM; kill -TERM $$; exit 6")).status, 5);
  EXPECT_EQ(
      KillAt::run(
          shell(
              "main=$$; (until grep -q '^State:.*[Tt]' /proc/$main/status; do :; done; kill -CONT $main) & kill -STOP $$; exit 8"))
          .status,
      8);
}

TEST_F(KillAtTest, LeavesOutIgnoredPaths) {
  KillAt::Options options = shell(": >log; : >other; : >log");
  EXPECT_EQ(KillAt::run(options).total, 3);
  options.ignoredPaths = {folder_ / "log"};
  EXPECT_EQ(KillAt::run(options).total, 1);
}

TEST_F(KillAtTest, CountsThreadsAndSpawnedTools) {
  KillAt::Options options = threads(0, KillAt::Mode::main, folder_.path());
  options.recordCalls = true;
  const KillAt::Result result = KillAt::run(options);
  EXPECT_EQ(result.status, 0);
  // An instrumented program makes changing calls of its own.
  const auto ours = std::count_if(result.calls.begin(), result.calls.end(), [&](const std::string& call) {
    return call.find(folder_.path()) != std::string::npos || call.compare(0, 6, "start ") == 0;
  });
  EXPECT_EQ(ours, 12) << "four files, four starts, four folders";
  EXPECT_EQ(namesIn(folder_.path()).size(), 8U);
}

TEST_F(KillAtTest, KillsAllThreadsAtOnce) {
  for (int n = 1; n <= 12; ++n) {
    const TempFolder place;
    const KillAt::Result result = KillAt::run(threads(n, KillAt::Mode::all, place.path()));
    EXPECT_TRUE(result.killed) << n;
    EXPECT_EQ(result.total, n);
    EXPECT_LT(namesIn(place.path()).size(), static_cast<std::size_t>(n)) << result.call;
  }
}

TEST_F(KillAtTest, CountsLoopDevicesAndMounts) {
  if (auto reason = ScratchDrive::unavailable(ScratchDrive::FileSystem::ext4)) GTEST_SKIP() << *reason;
  writeFile(folder_ / "image", "");
  ASSERT_EQ(::truncate((folder_ / "image").c_str(), 16 << 20), 0);
  mustRun({"mkfs.ext4", "-q", "-F", folder_ / "image"});
  makeFolder(folder_ / "mounted");
  KillAt::Options options = shell("mount -o loop image mounted && umount mounted");
  options.recordCalls = true;
  const KillAt::Result whole = KillAt::run(options);
  ASSERT_EQ(whole.status, 0) << whole.err;
  const auto called = [&](const std::string& beginning) {
    return std::count_if(whole.calls.begin(), whole.calls.end(), [&](const std::string& call) {
      return call.compare(0, beginning.size(), beginning) == 0;
    });
  };
  EXPECT_GE(called("ioctl LOOP_"), 1);
  EXPECT_GE(called("mount ") + called("move_mount "), 1);
  EXPECT_EQ(called("umount2 " + (folder_ / "mounted")), 1);
  for (int n = 1; n <= whole.total; ++n) {
    options.killAt = n;
    options.mode = KillAt::Mode::all;
    const KillAt::Result result = KillAt::run(options);
    EXPECT_TRUE(result.killed);
    const bool mounted = Mounts::isMountPoint(folder_ / "mounted");
    EXPECT_TRUE(result.call.compare(0, 6, "mount ") != 0 || !mounted) << result.call;
    EXPECT_TRUE(result.call.compare(0, 8, "umount2 ") != 0 || mounted) << result.call;
    Mounts::release(folder_.path());
  }
}

}  // namespace
}  // namespace fernwahrung
