#include "support/Files.h"
#include "support/ScopedEnvironment.h"
#include "support/TempFolder.h"

#include "Foundation/Errors.h"
#include "Foundation/Host.h"

#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <optional>
#include <pwd.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fernwahrung {
namespace {

struct Ended {
  std::string output;
  int status = 0;
};

FileDescriptor null() {
  return FileDescriptor(::open("/dev/null", O_RDWR | O_CLOEXEC));
}

std::string readAll(int fd) {
  std::string text;
  char buffer[4096];
  for (ssize_t count; (count = ::read(fd, buffer, sizeof buffer)) > 0;) {
    text.append(buffer, static_cast<std::size_t>(count));
  }
  return text;
}

Ended run(const std::string& program, const std::vector<std::string>& arguments) {
  auto [readEnd, writeEnd] = Host::makePipe();
  const FileDescriptor nothing = null();
  const pid_t child = Host::spawn(program, arguments, nothing.get(), writeEnd.get(), writeEnd.get());
  writeEnd.reset();
  Ended ended{readAll(readEnd.get())};
  ::waitpid(child, &ended.status, 0);
  return ended;
}

Ended shell(const std::string& script) {
  return run("/bin/sh", {"-c", script});
}

TEST(Host, ArgumentsReachTheProgramAsTheyAre) {
  EXPECT_EQ(run("/bin/sh", {"-c", R"(printf '<%s>' "$0" "$@")", "a b", "", "'\"$x*", "ä\n"}).output,
            "<a b><><'\"$x*><ä\n>");
}

TEST(Host, TheProgramsNameIsInFront) {
  EXPECT_EQ(
      run("/bin/sh", {"-c", "ps -o args= -p $$ 2>/dev/null || cat /proc/$$/cmdline"}).output.substr(0, 7),
      "/bin/sh");
}

TEST(Host, TheExitStatusIsTheChilds) {
  EXPECT_EQ(WEXITSTATUS(shell("exit 7").status), 7);
}

TEST(Host, TheLanguageIsAlwaysC) {
  const ScopedEnvironment german("LC_ALL", "de_DE.UTF-8");
  const ScopedEnvironment other("FERNWAHRUNG_TEST_VALUE", "kept");
  EXPECT_EQ(shell("echo $LC_ALL $FERNWAHRUNG_TEST_VALUE; env | grep -c ^LC_ALL=").output, "C kept\n1\n");
}

TEST(Host, TheChildLeadsAProcessGroup) {
  auto [readEnd, writeEnd] = Host::makePipe();
  const FileDescriptor nothing = null();
  const pid_t child =
      Host::spawn("/bin/sh", {"-c", "read line"}, readEnd.get(), nothing.get(), nothing.get());
  EXPECT_EQ(::getpgid(child), child);
  EXPECT_NE(::getpgrp(), child);
  writeEnd.reset();
  ::waitpid(child, nullptr, 0);
}

TEST(Host, SignalsAreDefaultAndUnblocked) {
  sigset_t blocked, before;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGTERM);
  ::pthread_sigmask(SIG_BLOCK, &blocked, &before);
  const auto oldHandler = ::signal(SIGPIPE, SIG_IGN);
  const auto oldInterrupt = ::signal(SIGINT, SIG_IGN);
  const Ended ended = shell("exec cat /proc/self/status");
  const Ended killed = shell("kill -TERM $$; echo survived");
  ::signal(SIGINT, oldInterrupt);
  ::signal(SIGPIPE, oldHandler);
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  // The two signals above the first 31 are the C library's own.
  for (const char* field : {"SigBlk:", "SigIgn:", "SigCgt:"}) {
    const auto place = ended.output.find(field);
    ASSERT_NE(place, std::string::npos);
    EXPECT_EQ(std::stoull(ended.output.substr(place + 7, 32), nullptr, 16) & 0x7FFFFFFF, 0u) << field;
  }
  EXPECT_TRUE(WIFSIGNALED(killed.status) && WTERMSIG(killed.status) == SIGTERM);
  EXPECT_EQ(killed.output, "");
}

TEST(Host, OnlyTheThreeStandardDescriptorsAreInherited) {
  const FileDescriptor inheritable(::open("/dev/null", O_RDONLY));
  ASSERT_EQ(::fcntl(inheritable.get(), F_GETFD), 0);
  const FileDescriptor high(::fcntl(inheritable.get(), F_DUPFD, 200));
  // ls itself opens one to read the folder.
  EXPECT_EQ(shell("exec ls /proc/self/fd").output, "0\n1\n2\n3\n");
}

TEST(Host, StandardDescriptorsMayBeGivenInAnyOrder) {
  auto [readEnd, writeEnd] = Host::makePipe();
  // A child of its own, so that the descriptors of the test stay as they are.
  const pid_t middle = ::fork();
  if (middle == 0) {
    ::dup2(writeEnd.get(), 0);
    ::dup2(::open("/dev/null", O_RDONLY), 1);
    try {
      // Input lies at 1, output and errors at 0.
      const pid_t child = Host::spawn("/bin/sh", {"-c", "cat; echo out; echo err >&2"}, 1, 0, 0);
      int status = 0;
      ::waitpid(child, &status, 0);
      ::_exit(status == 0 ? 0 : 1);
    } catch (const std::exception&) {
      ::_exit(2);
    }
  }
  writeEnd.reset();
  EXPECT_EQ(readAll(readEnd.get()), "out\nerr\n");
  int status = 0;
  ::waitpid(middle, &status, 0);
  EXPECT_EQ(status, 0);
}

TEST(Host, AMissingProgramIsAnErrorWithItsCode) {
  const FileDescriptor nothing = null();
  const int before = ::dup(0);
  ::close(before);
  try {
    Host::spawn("/missing/program", {}, nothing.get(), nothing.get(), nothing.get());
    FAIL() << "nothing was thrown";
  } catch (const SystemError& error) {
    EXPECT_EQ(error.code(), ENOENT);
    EXPECT_EQ(error.what(),
              "Das Programm kann nicht gestartet werden: /missing/program (" + error.reason() + ")");
  }
  EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
  const int after = ::dup(0);
  ::close(after);
  EXPECT_EQ(after, before);
}

TEST(Host, AFileThatIsNoProgramIsAnError) {
  const TempFolder folder;
  writeFile(folder / "text", "no program", 0644);
  const FileDescriptor nothing = null();
  for (const std::string& path : {folder / "text", folder.path()}) {
    try {
      Host::spawn(path, {}, nothing.get(), nothing.get(), nothing.get());
      FAIL() << "nothing was thrown";
    } catch (const SystemError& error) {
      EXPECT_EQ(error.code(), EACCES);
    }
  }
}

TEST(Host, AnUnusableDescriptorIsAnError) {
  const FileDescriptor nothing = null();
  EXPECT_THROW(Host::spawn("/bin/sh", {"-c", "exit 0"}, nothing.get(), -1, nothing.get()), SystemError);
}

TEST(Host, APipesEndsAreNotInherited) {
  const auto [readEnd, writeEnd] = Host::makePipe();
  EXPECT_EQ(::fcntl(readEnd.get(), F_GETFD), FD_CLOEXEC);
  EXPECT_EQ(::fcntl(writeEnd.get(), F_GETFD), FD_CLOEXEC);
  ASSERT_EQ(::write(writeEnd.get(), "x", 1), 1);
  char byte = 0;
  ASSERT_EQ(::read(readEnd.get(), &byte, 1), 1);
  EXPECT_EQ(byte, 'x');
}

TEST(Host, TheHomeIsTheSystemsAndNotTheVariables) {
  const ScopedEnvironment variable("HOME", "/somewhere/else");
  EXPECT_EQ(Host::homeDirectory(), ::getpwuid(::getuid())->pw_dir);
  Host::setHomeDirectoryForTesting("/test home");
  EXPECT_EQ(Host::homeDirectory(), "/test home");
  Host::setHomeDirectoryForTesting("");
  EXPECT_EQ(Host::homeDirectory(), ::getpwuid(::getuid())->pw_dir);
}

}  // namespace
}  // namespace fernwahrung
