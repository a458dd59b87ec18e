// The real executable, interrupted in the middle of a copy, and on a real terminal.
#include "support/Eventually.h"
#include "support/Files.h"
#include "support/Program.h"
#include "support/ScratchDrive.h"
#include "support/TempFolder.h"

#include "Foundation/FileDescriptor.h"
#include "Records/Journal.h"
#include "Records/RegistryStore.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <optional>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace fernwahrung {
namespace {

/// A program that runs beside the test; it does not outlive the object.
class Running {
 public:
  /// `prepare` runs in the child, right before the program.
  Running(const std::vector<std::string>& argv, const std::function<void()>& prepare) {
    std::vector<char*> pointers;
    for (const std::string& argument : argv) pointers.push_back(const_cast<char*>(argument.c_str()));
    pointers.push_back(nullptr);
    pid_ = ::fork();
    if (pid_ == 0) {
      for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) std::signal(signal, SIG_DFL);
      prepare();
      ::execv(pointers[0], pointers.data());
      ::_exit(127);
    }
  }
  ~Running() {
    if (pid_ <= 0) return;
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
  }
  Running(const Running&) = delete;
  Running& operator=(const Running&) = delete;

  void signal(int number) const { ::kill(pid_, number); }
  /// The exit code; 128 and the signal's number for a death by signal.
  int wait() {
    int status = 0;
    ::waitpid(pid_, &status, 0);
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }

 private:
  pid_t pid_ = -1;
};

class HelperSignalTest : public testing::Test {
 protected:
  void SetUp() override {
    if (const auto reason = ScratchDrive::unavailable()) GTEST_SKIP() << *reason;
    drive_.emplace(ScratchDrive::Options{.bytes = 3LL << 30});
    writeFile(source_ + "/a", "12345");
    writeFile(source_ + "/b/c", "67890");
    storage_ = *drive_ / "ziel";
    makeFolder(storage_);
    // The program finds its tools beside itself. The first copy begins and then waits for a word; a later one
    // is that of the Trash, which lies on another volume. With the folder the waiting ends too.
    makeFolder(folder_ / "bin/host-tools");
    std::filesystem::copy_file(FERNWAHRUNG_HELPER, helper_);
    writeFile(folder_ / "bin/host-tools/ditto",
              "#!/bin/sh\n"
              "cd " +
                  shellQuoted(folder_.path()) +
                  "\n"
                  "if [ ! -e started ]; then\n"
                  "  cp \"$1/a\" \"$2/a\"\n"
                  "  : > started\n"
                  "  while [ -e started ] && [ ! -e go ]; do sleep 0.02; done\n"
                  "fi\n"
                  "exec cp -a \"$1/.\" \"$2\"\n",
              0755);
  }

  std::vector<std::string> relocate(const std::vector<std::string>& more = {}) const {
    std::vector<std::string> argv = {helper_,     "relocate", "--source", source_,
                                     "--storage", storage_,   "--kind",   "symlink"};
    argv.insert(argv.end(), more.begin(), more.end());
    return argv;
  }
  /// Standard streams of the child: nothing to read, files to write to.
  void redirect() const {
    ::dup2(::open("/dev/null", O_RDONLY), STDIN_FILENO);
    ::dup2(::open((folder_ / "out").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDOUT_FILENO);
    ::dup2(::open((folder_ / "err").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDERR_FILENO);
  }
  bool waitForCopy() const {
    return eventually([this] { return exists(folder_ / "started"); });
  }
  void letCopyGoOn() const { writeFile(folder_ / "go", ""); }

  void expectAsBefore() const {
    EXPECT_EQ(readFile(source_ + "/a"), "12345");
    EXPECT_EQ(readFile(source_ + "/b/c"), "67890");
    EXPECT_EQ(namesIn(folder_ / "quellen"), std::vector<std::string>{"daten"});
    EXPECT_EQ(namesIn(storage_), std::vector<std::string>{});
    EXPECT_EQ(RegistryStore::load().relocations.size(), 0U);
    EXPECT_EQ(Journal::unfinished().size(), 0U);
    const auto finished = Journal::finishedJournals(10);
    ASSERT_EQ(finished.size(), 1U);
    EXPECT_EQ(finished[0].result(), "zurückgerollt");
  }
  void expectRelocated() const {
    EXPECT_TRUE(std::filesystem::is_symlink(source_));
    EXPECT_EQ(readFile(source_ + "/b/c"), "67890");
    EXPECT_EQ(RegistryStore::load().relocations.size(), 1U);
  }

  TempHome home_;
  TempFolder folder_;
  std::optional<ScratchDrive> drive_;
  std::string source_ = folder_ / "quellen/daten";
  std::string storage_;
  std::string helper_ = folder_ / "bin/fernwahrung";
};

TEST_F(HelperSignalTest, ASignalDuringTheCopyRollsBack) {
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    removeEverything(folder_ / "started");
    removeEverything(home_ / "journal");
    Running helper(relocate({"--json"}), [this] { redirect(); });
    ASSERT_TRUE(waitForCopy()) << readFile(folder_ / "err");
    helper.signal(number);
    EXPECT_EQ(helper.wait(), 130) << number;
    EXPECT_EQ(readFile(folder_ / "err"), "Vorgang abgebrochen.\n");
    EXPECT_EQ(readFile(folder_ / "out"), "");
    expectAsBefore();
  }
}

TEST_F(HelperSignalTest, ASignalDuringTheFirstCheckBeginsNothing) {
  writeFile(folder_ / "bin/host-tools/lsof",
            "#!/bin/sh\ncd " + shellQuoted(folder_.path()) + "\n: > checking\nexec sleep 5\n", 0755);
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    removeEverything(folder_ / "checking");
    Running helper(relocate({"--json"}), [this] { redirect(); });
    ASSERT_TRUE(eventually([this] { return exists(folder_ / "checking"); }));
    helper.signal(number);
    EXPECT_EQ(helper.wait(), 130) << number;
    EXPECT_EQ(readFile(folder_ / "err"), "\nVorgang abgebrochen.\n");
    EXPECT_EQ(readFile(folder_ / "out"), "");
    EXPECT_FALSE(exists(home_ / "journal"));
    EXPECT_EQ(namesIn(storage_), std::vector<std::string>{});
  }
}

TEST_F(HelperSignalTest, ASecondSignalChangesNothing) {
  Running helper(relocate(), [this] { redirect(); });
  ASSERT_TRUE(waitForCopy()) << readFile(folder_ / "err");
  for (int i = 0; i < 50; ++i) helper.signal(i % 2 == 0 ? SIGINT : SIGTERM);
  EXPECT_EQ(helper.wait(), 130);
  EXPECT_EQ(readFile(folder_ / "err"), "Vorgang abgebrochen.\n");
  expectAsBefore();
}

TEST_F(HelperSignalTest, ASignalThatABackgroundJobIgnoresIsHeededAllTheSame) {
  Running helper(relocate(), [this] {
    redirect();
    std::signal(SIGINT, SIG_IGN);
  });
  ASSERT_TRUE(waitForCopy()) << readFile(folder_ / "err");
  helper.signal(SIGINT);
  EXPECT_EQ(helper.wait(), 130);
  expectAsBefore();
}

TEST_F(HelperSignalTest, UnderNohupAClosedTerminalChangesNothing) {
  Running helper(relocate(), [this] {
    redirect();
    std::signal(SIGHUP, SIG_IGN);
  });
  ASSERT_TRUE(waitForCopy()) << readFile(folder_ / "err");
  helper.signal(SIGHUP);
  letCopyGoOn();
  EXPECT_EQ(helper.wait(), 0) << readFile(folder_ / "err");
  expectRelocated();
}

TEST_F(HelperSignalTest, AReaderThatGoesAwayDoesNotEndTheOperation) {
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  Running helper(relocate({"--verbose"}), [&] {
    redirect();
    ::dup2(ends[1], STDOUT_FILENO);
    ::dup2(ends[1], STDERR_FILENO);
    ::close(ends[0]);
    ::close(ends[1]);
  });
  ::close(ends[0]);
  ::close(ends[1]);
  ASSERT_TRUE(waitForCopy()) << readFile(folder_ / "err");
  letCopyGoOn();
  EXPECT_EQ(helper.wait(), 1);
  expectRelocated();
}

TEST_F(HelperSignalTest, MeanwhileASecondOneFindsTheLock) {
  Running helper(relocate(), [this] { redirect(); });
  ASSERT_TRUE(waitForCopy()) << readFile(folder_ / "err");
  makeFolder(folder_ / "andere");
  const ProgramResult second = runProgram(
      {helper_, "relocate", "--source", folder_ / "andere", "--storage", storage_, "--kind", "symlink"});
  EXPECT_EQ(second.status, 3);
  EXPECT_EQ(second.out, "");
  EXPECT_EQ(second.err, "Es läuft bereits ein anderer Vorgang (App oder Kommandozeile). Bitte warten.\n");
  EXPECT_EQ(runProgram({helper_, "rollback", "--all"}).status, 3);
  EXPECT_NE(runProgram({helper_, "journals"}).out.find("Gerade läuft ein Vorgang"), std::string::npos);
  letCopyGoOn();
  EXPECT_EQ(helper.wait(), 0);
  expectRelocated();
}

TEST_F(HelperSignalTest, AKilledOneIsRolledBackByTheNext) {
  Running helper(relocate(), [this] { redirect(); });
  ASSERT_TRUE(waitForCopy()) << readFile(folder_ / "err");
  helper.signal(SIGKILL);
  EXPECT_EQ(helper.wait(), 128 + SIGKILL);
  EXPECT_NE(runProgram({helper_, "journals"}).out.find("„fernwahrung rollback ID“"), std::string::npos);
  const ProgramResult rollback = runProgram({helper_, "rollback"});
  EXPECT_EQ(rollback.status, 0) << rollback.err;
  EXPECT_EQ(rollback.out, "Fernwahren „daten“: Der unterbrochene Vorgang wurde zurückgerollt.\n");
  expectAsBefore();
  // The copy tool of the killed run lives on until it is told to end, and makes what it then can.
  letCopyGoOn();
}

/// The near end of a terminal that a program believes to sit at.
class Terminal {
 public:
  Terminal() : master_(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    ::grantpt(master_.get());
    ::unlockpt(master_.get());
    name_ = ::ptsname(master_.get());
    // Held open, so that reading does not end before the program has begun.
    far_ = FileDescriptor(::open(name_.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
    winsize size = {};
    size.ws_row = 24;
    size.ws_col = 100;
    ::ioctl(far_.get(), TIOCSWINSZ, &size);
    reader_ = std::thread([this] {
      char bytes[4096];
      for (;;) {
        const auto count = ::read(master_.get(), bytes, sizeof bytes);
        if (count <= 0) return;
        const std::lock_guard guard(lock_);
        shown_.append(bytes, static_cast<std::size_t>(count));
      }
    });
  }
  ~Terminal() {
    far_.reset();
    reader_.join();
  }
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  /// In the child: a session of its own, with this as its terminal.
  void becomeControlling() const {
    ::setsid();
    const int terminal = ::open(name_.c_str(), O_RDWR);
    ::ioctl(terminal, TIOCSCTTY, 0);
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) ::dup2(terminal, fd);
  }
  void type(const std::string& keys) const {
    [[maybe_unused]] const auto written = ::write(master_.get(), keys.data(), keys.size());
  }
  bool shows(const std::string& text) {
    return eventually([&] {
      const std::lock_guard guard(lock_);
      return shown_.find(text) != std::string::npos;
    });
  }

 private:
  FileDescriptor master_;
  FileDescriptor far_;
  std::string name_;
  std::mutex lock_;
  std::string shown_;  // guarded by lock_
  std::thread reader_;
};

TEST_F(HelperSignalTest, OnATerminalItAsksShowsProgressAndHeedsControlC) {
  Terminal terminal;
  Running helper(relocate(), [&] { terminal.becomeControlling(); });
  ASSERT_TRUE(terminal.shows("Der Ordner kann ferngewahrt werden."));
  ASSERT_TRUE(terminal.shows("Jetzt fernwahren? [j/N]"));
  terminal.type("j\n");
  ASSERT_TRUE(waitForCopy());
  ASSERT_TRUE(terminal.shows("\r\x1b[K["));
  ASSERT_TRUE(terminal.shows("Kopiere … ca. "));
  terminal.type("\x03");
  EXPECT_EQ(helper.wait(), 130);
  EXPECT_TRUE(terminal.shows("Breche ab und stelle den Ausgangszustand wieder her …"));
  EXPECT_TRUE(terminal.shows("Vorgang abgebrochen."));
  expectAsBefore();
}

TEST_F(HelperSignalTest, ControlCAtTheQuestionBeginsNothing) {
  Terminal terminal;
  Running helper(relocate(), [&] { terminal.becomeControlling(); });
  ASSERT_TRUE(terminal.shows("Jetzt fernwahren? [j/N]"));
  terminal.type("\x03");
  EXPECT_EQ(helper.wait(), 130);
  EXPECT_TRUE(terminal.shows("Vorgang abgebrochen."));
  EXPECT_FALSE(exists(folder_ / "started"));
  EXPECT_EQ(Journal::finishedJournals(10).size(), 0U);
  EXPECT_EQ(readFile(source_ + "/a"), "12345");
}

TEST_F(HelperSignalTest, AWishToEndAtTheQuestionBeginsNothing) {
  Terminal terminal;
  Running helper(relocate(), [&] { terminal.becomeControlling(); });
  ASSERT_TRUE(terminal.shows("Jetzt fernwahren? [j/N]"));
  helper.signal(SIGTERM);
  EXPECT_EQ(helper.wait(), 130);
  EXPECT_TRUE(terminal.shows("Vorgang abgebrochen."));
  EXPECT_FALSE(exists(home_ / "journal"));
  EXPECT_EQ(readFile(source_ + "/a"), "12345");
}

}  // namespace
}  // namespace fernwahrung
