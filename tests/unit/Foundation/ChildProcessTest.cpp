#include "support/Eventually.h"
#include "support/Files.h"
#include "support/TempFolder.h"

#include "Foundation/ChildProcess.h"
#include "Foundation/Errors.h"
#include "Foundation/HostTools.h"
#include "Foundation/Text.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <memory>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fernwahrung {
namespace {

using Stream = ChildProcess::Stream;

class ChildProcessTest : public testing::Test {
 protected:
  static ChildProcess start(const std::string& script, Stream output = Stream::captured,
                            Stream error = Stream::captured) {
    return ChildProcess("/bin/sh", {"-c", script}, output, error);
  }
  TempFolder folder;
};

bool hasChildren() {
  return ::waitpid(-1, nullptr, WNOHANG) != -1 || errno != ECHILD;
}

TEST_F(ChildProcessTest, givesStatusAndBothStreams) {
  auto child = start("printf out; printf err >&2; exit 7");
  EXPECT_EQ(child.wait(), 7);
  EXPECT_EQ(child.takeOutput(), "out");
  EXPECT_EQ(child.takeError(), "err");
}

TEST_F(ChildProcessTest, waitAgainGivesTheSame) {
  auto child = start("exit 3");
  EXPECT_EQ(child.wait(), 3);
  EXPECT_EQ(child.wait(), 3);
  EXPECT_EQ(child.poll(), 3);
}

TEST_F(ChildProcessTest, pollIsNothingWhileItRuns) {
  auto child = start("while [ ! -e '" + (folder / "go") + "' ]; do sleep 0.01; done; exit 5");
  EXPECT_EQ(child.poll(), std::nullopt);
  writeFile(folder / "go", "");
  std::optional<std::int32_t> status;
  EXPECT_TRUE(eventually([&] { return (status = child.poll()).has_value(); }));
  EXPECT_EQ(status, 5);
}

TEST_F(ChildProcessTest, deathBySignalGivesItsNumber) {
  EXPECT_EQ(start("kill -KILL $$").wait(), SIGKILL);
  EXPECT_EQ(start("kill -SEGV $$").wait(), SIGSEGV);
}

TEST_F(ChildProcessTest, terminateReachesTheWholeGroup) {
  auto child = start("sleep 600 & echo $!; wait");
  child.terminate();
  EXPECT_EQ(child.wait(), SIGTERM);
  // The end of the stream tells that the sleeping program is gone too: it held the other end.
  (void)child.takeOutput();
}

TEST_F(ChildProcessTest, terminateAfterTheEndIsHarmless) {
  auto child = start("exit 0");
  EXPECT_EQ(child.wait(), 0);
  child.terminate();
  EXPECT_EQ(child.wait(), 0);
}

TEST_F(ChildProcessTest, streamsThatAreNotCapturedGoNowhere) {
  auto child = start("echo lost; echo lost >&2; [ -w /dev/fd/1 ] || [ ! -t 1 ]", Stream::null, Stream::null);
  EXPECT_EQ(child.wait(), 0);
  EXPECT_EQ(child.takeOutput(), "");
  EXPECT_EQ(child.takeError(), "");
}

TEST_F(ChildProcessTest, oneStreamCaptured) {
  auto child = start("echo lost; echo kept >&2", Stream::null, Stream::captured);
  EXPECT_EQ(child.wait(), 0);
  EXPECT_EQ(child.takeError(), "kept\n");
}

TEST_F(ChildProcessTest, standardInputIsAtItsEnd) {
  auto child = start("cat; echo end");
  EXPECT_EQ(child.wait(), 0);
  EXPECT_EQ(child.takeOutput(), "end\n");
}

TEST_F(ChildProcessTest, aProcessGroupOfItsOwn) {
  auto child = start("ps -o pid=,pgid= -p $$");
  ASSERT_EQ(child.wait(), 0);
  const auto numbers = Text::split(Text::trimmed(child.takeOutput()), ' ');
  ASSERT_EQ(numbers.size(), 2u);
  EXPECT_EQ(numbers[0], numbers[1]);
  EXPECT_NE(numbers[1], std::to_string(::getpgrp()));
}

TEST_F(ChildProcessTest, theLanguageIsC) {
  auto child = start("echo $LC_ALL");
  child.wait();
  EXPECT_EQ(child.takeOutput(), "C\n");
}

TEST_F(ChildProcessTest, signalsHaveTheirDefaultHandling) {
  // A child of a process that ignores a signal would ignore it too.
  const auto old = std::signal(SIGUSR1, SIG_IGN);
  sigset_t blocked;
  sigset_t before;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGUSR1);
  ::pthread_sigmask(SIG_BLOCK, &blocked, &before);
  EXPECT_EQ(start("kill -USR1 $$; exit 0").wait(), SIGUSR1);
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  std::signal(SIGUSR1, old);
}

TEST_F(ChildProcessTest, theChildHasTheThreeStandardDescriptorsOnly) {
  const FileDescriptor open(::open("/dev/null", O_RDONLY));
  const FileDescriptor high(::fcntl(open.get(), F_DUPFD, 200));
  ASSERT_TRUE(open && high);
  // The listing itself opens one more.
  auto child = ChildProcess("/bin/ls", {"/dev/fd"}, Stream::captured, Stream::captured);
  ASSERT_EQ(child.wait(), 0) << child.takeError();
  EXPECT_EQ(child.takeOutput(), "0\n1\n2\n3\n");
}

TEST_F(ChildProcessTest, closedStandardDescriptorsDoNotConfuseIt) {
  const auto test = ::fork();
  if (test == 0) {
    ::close(0);
    ::close(1);
    ::close(2);
    auto child = start("cat; printf out; printf err >&2; exit 4");
    const bool right = child.wait() == 4 && child.takeOutput() == "out" && child.takeError() == "err";
    ::_exit(right ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(test, &status, 0), test);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

TEST_F(ChildProcessTest, aMissingProgramThrowsAndLeavesNothing) {
  const auto descriptors = namesIn("/dev/fd").size();
  for (int round = 0; round < 20; ++round) {
    try {
      const ChildProcess child(folder / "missing", {}, Stream::captured, Stream::captured);
      FAIL() << "started";
    } catch (const SystemError& error) {
      EXPECT_EQ(error.code(), ENOENT);
      EXPECT_NE(std::string(error.what()).find("missing"), std::string::npos);
    }
  }
  EXPECT_EQ(namesIn("/dev/fd").size(), descriptors);
  EXPECT_FALSE(hasChildren());
}

TEST_F(ChildProcessTest, aFileThatMayNotBeRunThrows) {
  writeFile(folder / "plain", "#!/bin/sh\n", 0644);
  try {
    const ChildProcess child(folder / "plain", {}, Stream::captured, Stream::captured);
    FAIL() << "started";
  } catch (const SystemError& error) {
    EXPECT_EQ(error.code(), EACCES);
  }
  EXPECT_THROW(ChildProcess(folder.path(), {}, Stream::null, Stream::null), SystemError);
  EXPECT_FALSE(hasChildren());
}

TEST_F(ChildProcessTest, withoutFreeDescriptorsItThrowsAndLeavesNothing) {
  // A sanitizer looks once at the type of each object an error is made of, and needs descriptors for it.
  EXPECT_EQ(SystemError("", "", EMFILE).code(), EMFILE);
  const auto test = ::fork();
  if (test == 0) {
    const auto allowDescriptors = [](rlim_t limit) {
      const rlimit allowed{limit, 4096};
      ::setrlimit(RLIMIT_NOFILE, &allowed);
    };
    int failures = 0;
    // From no free descriptor at all up to just not enough.
    for (rlim_t limit = 3; limit < 12; ++limit) {
      allowDescriptors(limit);
      try {
        auto child = start("exit 0");
        if (child.wait() != 0) ::_exit(2);
      } catch (const SystemError& failure) {
        // A sanitizer needs descriptors itself to see that this object is what it is said to be.
        allowDescriptors(64);
        if (failure.code() != EMFILE) ::_exit(4);
        ++failures;
      }
    }
    ::_exit(failures > 0 && !hasChildren() ? 0 : 3);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(test, &status, 0), test);
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST_F(ChildProcessTest, withoutAFreeThreadItThrowsAndLeavesNothing) {
  const auto test = ::fork();
  if (test == 0) {
    // The limit is none for root.
    if (::geteuid() == 0 && ::setuid(65534) != 0) ::_exit(2);
    const auto descriptors = namesIn("/dev/fd").size();
    const rlimit none{0, 0};
    ::setrlimit(RLIMIT_NPROC, &none);
    try {
      const auto child = start("exit 0");
      ::_exit(3);
    } catch (const SystemError& failure) {
      const bool clean = !hasChildren() && namesIn("/dev/fd").size() == descriptors;
      ::_exit(failure.code() == EAGAIN && clean ? 0 : 4);
    } catch (...) {
      ::_exit(5);
    }
  }
  int status = 0;
  ASSERT_EQ(::waitpid(test, &status, 0), test);
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST_F(ChildProcessTest, theDestructorWaits) {
  { const auto child = start("sleep 0.05; : > '" + (folder / "done") + "'"); }
  EXPECT_TRUE(exists(folder / "done"));
  EXPECT_FALSE(hasChildren());
}

TEST_F(ChildProcessTest, outputOfADescendantIsWaitedFor) {
  auto child =
      start("( while [ ! -e '" + (folder / "go") + "' ]; do sleep 0.01; done; echo late ) &\nexit 0");
  EXPECT_EQ(child.wait(), 0);
  writeFile(folder / "go", "");
  EXPECT_EQ(child.takeOutput(), "late\n");
}

TEST_F(ChildProcessTest, aChildThatSomebodyElseWaitedForIsNoSuccess) {
  auto child = start("exit 0");
  ASSERT_GT(::waitpid(-1, nullptr, 0), 0);
  EXPECT_THROW(child.wait(), SystemError);
  EXPECT_THROW(child.poll(), SystemError);
}

TEST_F(ChildProcessTest, aReplacedToolIsStarted) {
  writeFile(folder / "double", "#!/bin/sh\necho double \"$@\"\n", 0755);
  const HostTools::Replacement ditto("/usr/bin/ditto", folder / "double");
  ChildProcess child("/usr/bin/ditto", {"a b", "c"}, Stream::captured, Stream::null);
  EXPECT_EQ(child.wait(), 0);
  EXPECT_EQ(child.takeOutput(), "double a b c\n");
}

}  // namespace
}  // namespace fernwahrung
