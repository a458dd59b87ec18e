#include "support/Files.h"
#include "support/ScopedEnvironment.h"
#include "support/TempFolder.h"

#include "Foundation/Clock.h"
#include "Foundation/FileDescriptor.h"
#include "Foundation/Log.h"
#include "Foundation/Paths.h"
#include "Foundation/Text.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <regex>
#include <set>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace fernwahrung {
namespace {

off_t sizeOf(const std::string& path) {
  struct stat info {};
  return ::stat(path.c_str(), &info) == 0 ? info.st_size : -1;
}

/// A log of that many bytes that begins with a mark.
void writeLogOf(off_t size) {
  writeFile(Paths::logFile(), "first generation\n");
  ASSERT_EQ(::truncate(Paths::logFile().c_str(), size), 0);
}

std::string ownPrefix() {
  return "[" + std::to_string(::getpid()) + "] ";
}

TEST(Log, aLineHoldsDateProcessAndMessage) {
  const TempHome home;
  const auto time = *Dates::parseLogStamp("2026-11-15 10:09:15");
  const Clock::Override clock([time] { return time; }, [](double) {});
  Log::write("=== Fernwahren gestartet: „Größe“ {} %d");
  EXPECT_EQ(readFile(home / "fernwahrung.log"),
            "2026-11-15 10:09:15 " + ownPrefix() + "=== Fernwahren gestartet: „Größe“ {} %d\n");
}

TEST(Log, linesAreAppended) {
  const TempHome home;
  Log::write("one");
  Log::write("two");
  const std::regex form(
      R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d \[\d+\] one\n\d{4}-\d\d-\d\d \d\d:\d\d:\d\d \[\d+\] two\n)");
  EXPECT_TRUE(std::regex_match(readFile(home / "fernwahrung.log"), form))
      << readFile(home / "fernwahrung.log");
}

TEST(Log, theMessageIsNotEscaped) {
  const TempHome home;
  Log::write("a\nb\tc\xFF");
  EXPECT_TRUE(readFile(home / "fernwahrung.log").ends_with("] a\nb\tc\xFF\n"));
}

TEST(Log, anEmptyMessageIsALine) {
  const TempHome home;
  Log::write("");
  EXPECT_TRUE(readFile(home / "fernwahrung.log").ends_with("] \n"));
}

TEST(Log, theFolderIsCreated) {
  const TempFolder folder;
  const ScopedEnvironment home("FERNWAHRUNG_HOME", folder / "a/b");
  Log::write("x");
  EXPECT_TRUE(exists(folder / "a/b/fernwahrung.log"));
}

TEST(Log, exactlyFiveMillionBytesAreNotRotated) {
  const TempHome home;
  writeLogOf(5'000'000);
  Log::write("next");
  EXPECT_FALSE(exists(home / "fernwahrung.log.1"));
  EXPECT_GT(sizeOf(Paths::logFile()), 5'000'000);
  Log::write("after");
  EXPECT_TRUE(exists(home / "fernwahrung.log.1"));
}

TEST(Log, oneByteMoreIsRotatedByTheNextWrite) {
  const TempHome home;
  writeLogOf(5'000'001);
  Log::write("next");
  EXPECT_EQ(sizeOf(home / "fernwahrung.log.1"), 5'000'001);
  EXPECT_TRUE(readFile(home / "fernwahrung.log").ends_with("] next\n"));
  EXPECT_LT(sizeOf(home / "fernwahrung.log"), 100);
}

TEST(Log, aSecondRotationReplacesTheEarlierGeneration) {
  const TempHome home;
  writeFile(home / "fernwahrung.log.1", "older generation\n");
  writeLogOf(5'000'001);
  Log::write("next");
  EXPECT_TRUE(readFile(home / "fernwahrung.log.1").starts_with("first generation\n"));
  EXPECT_EQ(namesIn(home.path()).size(), 2u);
}

TEST(Log, aRotationThatFailsStillWritesTheLine) {
  const TempHome home;
  writeFile(home / "fernwahrung.log.1/in the way", "x");
  writeLogOf(5'000'001);
  Log::write("next");
  EXPECT_TRUE(readFile(home / "fernwahrung.log").ends_with("] next\n"));
  EXPECT_EQ(readFile(home / "fernwahrung.log.1/in the way"), "x");
}

TEST(Log, aFolderInTheLogsPlaceLosesTheLine) {
  const TempHome home;
  makeFolder(home / "fernwahrung.log");
  Log::write("lost");
  EXPECT_TRUE(namesIn(home / "fernwahrung.log").empty());
}

TEST(Log, aFileInTheFoldersPlaceLosesTheLine) {
  const TempFolder folder;
  writeFile(folder / "file", "x");
  const ScopedEnvironment home("FERNWAHRUNG_HOME", folder / "file");
  Log::write("lost");
  EXPECT_EQ(readFile(folder / "file"), "x");
}

TEST(Log, aFullDiskLosesTheLine) {
  if (::access("/dev/full", W_OK) != 0) GTEST_SKIP() << "this machine has no /dev/full";
  const TempHome home;
  ASSERT_EQ(::symlink("/dev/full", (home / "fernwahrung.log").c_str()), 0);
  Log::write("lost");
  ASSERT_EQ(::unlink((home / "fernwahrung.log").c_str()), 0);
  Log::write("kept");
  EXPECT_TRUE(readFile(home / "fernwahrung.log").ends_with("] kept\n"));
}

TEST(Log, aProcessWithoutFreeDescriptorsLosesTheLine) {
  const TempHome home;
  const auto child = ::fork();
  if (child == 0) {
    const rlimit none{3, 3};
    ::setrlimit(RLIMIT_NOFILE, &none);
    Log::write("lost");
    ::_exit(0);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  EXPECT_FALSE(exists(home / "fernwahrung.log"));
}

TEST(Log, noDescriptorStaysOpen) {
  const TempHome home;
  Log::write("first");
  const auto before = namesIn("/dev/fd").size();
  for (int line = 0; line < 50; ++line) Log::write("line");
  EXPECT_EQ(namesIn("/dev/fd").size(), before);
}

TEST(Log, linesOfManyThreadsStayWhole) {
  const TempHome home;
  const std::string payload(3000, 'x');
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 8; ++thread) {
    threads.emplace_back([&payload, thread] {
      for (int line = 0; line < 50; ++line) {
        Log::write(std::to_string(thread) + ":" + std::to_string(line) + ":" + payload);
      }
    });
  }
  for (auto& thread : threads) thread.join();

  std::set<std::string> seen;
  for (const auto& line : Text::split(readFile(home / "fernwahrung.log"), '\n')) {
    ASSERT_TRUE(line.ends_with(":" + payload));
    seen.insert(line.substr(line.find("] ") + 2));
  }
  EXPECT_EQ(seen.size(), 400u);
}

TEST(Log, linesOfManyProcessesStayWhole) {
  const TempHome home;
  const std::string payload(3000, 'x');
  std::vector<pid_t> children;
  for (int process = 0; process < 4; ++process) {
    const auto child = ::fork();
    if (child == 0) {
      for (int line = 0; line < 100; ++line) Log::write(std::to_string(line) + ":" + payload);
      ::_exit(0);
    }
    children.push_back(child);
  }
  for (const auto child : children) ASSERT_EQ(::waitpid(child, nullptr, 0), child);

  std::set<std::string> seen;
  for (const auto& line : Text::split(readFile(home / "fernwahrung.log"), '\n')) {
    ASSERT_TRUE(line.ends_with(":" + payload));
    seen.insert(line.substr(line.find('[')));
  }
  EXPECT_EQ(seen.size(), 400u);
}

TEST(Log, ofManyProcessesAtTheLimitOneRotates) {
  const TempHome home;
  const auto older = home / "fernwahrung.log.1";
  writeLogOf(5'000'001);
  std::vector<pid_t> children;
  for (int process = 0; process < 4; ++process) {
    const auto child = ::fork();
    if (child == 0) {
      for (int round = 0; round < 2000; ++round) {
        Log::write("line");
        // A log that was not yet full has taken the full one's place.
        if (const auto size = sizeOf(older); size >= 0 && size <= 5'000'000) ::_exit(1);
        const bool filled = ::truncate(Paths::logFile().c_str(), 5'000'001) == 0;
        if (!filled && errno != ENOENT) ::_exit(2);  // absent between another's renaming and next line
      }
      ::_exit(0);
    }
    children.push_back(child);
  }
  for (const auto child : children) {
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  }
}

TEST(Log, whileAnotherProcessRotatesTheLineGoesToTheLogThatIsThere) {
  const TempHome home;
  writeLogOf(5'000'001);
  {
    const FileDescriptor folder(::open(home.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    ASSERT_EQ(::flock(folder.get(), LOCK_EX), 0);
    Log::write("before");
    EXPECT_FALSE(exists(home / "fernwahrung.log.1"));
  }
  Log::write("after");
  EXPECT_TRUE(readFile(home / "fernwahrung.log.1").ends_with("] before\n"));
  EXPECT_TRUE(readFile(home / "fernwahrung.log").ends_with("] after\n"));
}

TEST(Log, aReadOnlyFolderLosesTheLine) {
  const TempFolder folder;
  ASSERT_EQ(::chmod(folder.path().c_str(), 0777), 0);
  makeFolder(folder / "home");
  ASSERT_EQ(::chmod((folder / "home").c_str(), 0555), 0);
  const ScopedEnvironment home("FERNWAHRUNG_HOME", folder / "home");
  const auto child = ::fork();
  if (child == 0) {
    // Root may write anywhere, so the line is written as nobody.
    if (::geteuid() == 0 && ::setuid(65534) != 0) ::_exit(2);
    Log::write("lost");
    ::_exit(0);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  EXPECT_TRUE(namesIn(folder / "home").empty());
}

}  // namespace
}  // namespace fernwahrung
