#include "support/Eventually.h"
#include "support/Files.h"
#include "support/ScopedEnvironment.h"
#include "support/TempFolder.h"

#include "Foundation/ChildProcess.h"
#include "Foundation/OperationLock.h"
#include "Foundation/Text.h"

#include <atomic>
#include <csignal>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace fernwahrung {
namespace {

constexpr auto busy = "Es läuft bereits ein anderer Vorgang (App oder Kommandozeile). Bitte warten.";

/// A process that takes the lock and holds it until it is killed.
class Holder {
 public:
  Holder() {
    int ready[2];
    if (::pipe(ready) != 0) return;
    pid_ = ::fork();
    if (pid_ == 0) {
      const OperationLock lock;
      if (::write(ready[1], "x", 1) != 1) ::_exit(1);
      while (true) ::pause();
    }
    ::close(ready[1]);
    char byte = 0;
    holds_ = ::read(ready[0], &byte, 1) == 1;
    ::close(ready[0]);
  }
  ~Holder() { kill(); }
  void kill() {
    if (pid_ <= 0) return;
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
    pid_ = -1;
  }
  bool holds() const { return holds_; }

 private:
  pid_t pid_ = -1;
  bool holds_ = false;
};

TEST(OperationLock, aSecondOneInTheSameProcessFails) {
  const TempHome home;
  const OperationLock lock;
  try {
    const OperationLock second;
    FAIL() << "two operations at once";
  } catch (const LockBusyError& error) {
    EXPECT_EQ(error.kind(), FernwahrungError::Case::message);
    EXPECT_STREQ(error.what(), busy);
  }
}

TEST(OperationLock, theBusyErrorIsAFernwahrungError) {
  const TempHome home;
  const OperationLock lock;
  EXPECT_THROW(OperationLock(), FernwahrungError);
}

TEST(OperationLock, isFreeAgainAfterItsScope) {
  const TempHome home;
  {
    const OperationLock lock;
    EXPECT_TRUE(OperationLock::isHeldElsewhere());
  }
  EXPECT_FALSE(OperationLock::isHeldElsewhere());
  EXPECT_NO_THROW(OperationLock());
}

TEST(OperationLock, aFailedAttemptLeavesTheHolderAlone) {
  const TempHome home;
  const OperationLock lock;
  EXPECT_THROW(OperationLock(), LockBusyError);
  EXPECT_FALSE(!OperationLock::isHeldElsewhere());
  EXPECT_THROW(OperationLock(), LockBusyError);
}

TEST(OperationLock, theFileStaysAndIsEmpty) {
  const TempHome home;
  const auto before = ::umask(022);
  { const OperationLock lock; }
  ::umask(before);
  EXPECT_EQ(readFile(home / "lock"), "");
  struct stat info {};
  ASSERT_EQ(::stat((home / "lock").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0644u);
}

TEST(OperationLock, theSupportFolderIsCreated) {
  const TempFolder folder;
  const ScopedEnvironment home("FERNWAHRUNG_HOME", folder / "a/b");
  const OperationLock lock;
  EXPECT_TRUE(exists(folder / "a/b/lock"));
}

TEST(OperationLock, anotherProcessHoldsIt) {
  const TempHome home;
  const Holder holder;
  ASSERT_TRUE(holder.holds());
  EXPECT_TRUE(OperationLock::isHeldElsewhere());
  EXPECT_THROW(OperationLock(), LockBusyError);
}

TEST(OperationLock, killingTheHolderFreesItAtOnce) {
  const TempHome home;
  Holder holder;
  ASSERT_TRUE(holder.holds());
  holder.kill();
  EXPECT_FALSE(OperationLock::isHeldElsewhere());
  EXPECT_NO_THROW(OperationLock());
}

TEST(OperationLock, aProgramThatOutlivesItsHolderDoesNotKeepIt) {
  const TempHome home;
  int ready[2];
  ASSERT_EQ(::pipe(ready), 0);
  const auto holder = ::fork();
  if (holder == 0) {
    const OperationLock lock;
    const ChildProcess program("/bin/sh", {"-c", "echo $$ > '" + (home / "pid") + "'; exec sleep 600"},
                               ChildProcess::Stream::null, ChildProcess::Stream::null);
    if (::write(ready[1], "x", 1) != 1) ::_exit(1);
    while (true) ::pause();
  }
  ::close(ready[1]);
  char byte = 0;
  const bool started = ::read(ready[0], &byte, 1) == 1;
  ::close(ready[0]);
  std::optional<long long> program;
  EXPECT_TRUE(eventually([&] {
    return exists(home / "pid") && (program = Text::toInteger(Text::trimmed(readFile(home / "pid"))));
  }));
  ::kill(holder, SIGKILL);
  ::waitpid(holder, nullptr, 0);
  EXPECT_TRUE(started);
  EXPECT_FALSE(OperationLock::isHeldElsewhere());
  ASSERT_TRUE(program);
  EXPECT_EQ(::kill(-static_cast<pid_t>(*program), SIGKILL), 0) << "the program has ended too early";
}

TEST(OperationLock, aForkedProcessDoesNotKeepIt) {
  const TempHome home;
  auto lock = std::make_unique<OperationLock>();
  const auto child = ::fork();  // shares the open file description
  if (child == 0) {
    while (true) ::pause();
  }
  lock.reset();
  EXPECT_FALSE(OperationLock::isHeldElsewhere());
  ::kill(child, SIGKILL);
  ::waitpid(child, nullptr, 0);
}

TEST(OperationLock, aLockFileThatCannotBeOpened) {
  const TempHome home;
  makeFolder(home / "lock");
  try {
    const OperationLock lock;
    FAIL() << "a folder was locked";
  } catch (const LockBusyError&) {
    FAIL() << "reported as busy";
  } catch (const FernwahrungError& error) {
    EXPECT_STREQ(error.what(), "Sperrdatei kann nicht geöffnet werden.");
  }
  EXPECT_FALSE(OperationLock::isHeldElsewhere());
}

TEST(OperationLock, aSupportFolderThatCannotBeMade) {
  const TempFolder folder;
  writeFile(folder / "file", "x");
  const ScopedEnvironment home("FERNWAHRUNG_HOME", folder / "file");
  EXPECT_THROW(OperationLock(), SystemError);
  EXPECT_FALSE(OperationLock::isHeldElsewhere());
}

TEST(OperationLock, askingBeforeTheFileExistsCreatesNothing) {
  const TempHome home;
  EXPECT_FALSE(OperationLock::isHeldElsewhere());
  EXPECT_TRUE(namesIn(home.path()).empty());
}

TEST(OperationLock, askingDoesNotTakeIt) {
  const TempHome home;
  { const OperationLock lock; }
  EXPECT_FALSE(OperationLock::isHeldElsewhere());
  EXPECT_NO_THROW(OperationLock());
}

TEST(OperationLock, noDescriptorStaysOpen) {
  const TempHome home;
  { const OperationLock lock; }
  const auto before = namesIn("/dev/fd").size();
  for (int round = 0; round < 20; ++round) {
    const OperationLock lock;
    EXPECT_THROW(OperationLock(), LockBusyError);
    EXPECT_TRUE(OperationLock::isHeldElsewhere());
  }
  EXPECT_EQ(namesIn("/dev/fd").size(), before);
}

TEST(OperationLock, ofManyThreadsOneHoldsIt) {
  const TempHome home;
  std::atomic<int> inside = 0;
  std::atomic<int> together = 0;
  std::atomic<int> taken = 0;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 6; ++thread) {
    threads.emplace_back([&] {
      for (int round = 0; round < 200; ++round) {
        try {
          const OperationLock lock;
          if (++inside != 1) ++together;
          std::this_thread::yield();
          ++taken;
          --inside;
        } catch (const LockBusyError&) {
          std::this_thread::yield();
        }
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(together, 0);
  EXPECT_GT(taken, 0);
}

}  // namespace
}  // namespace fernwahrung
