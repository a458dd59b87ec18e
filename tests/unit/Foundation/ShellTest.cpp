#include "support/Files.h"
#include "support/TempFolder.h"

#include "Foundation/Errors.h"
#include "Foundation/Paths.h"
#include "Foundation/Shell.h"
#include "Foundation/Text.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace fernwahrung {
namespace {

using namespace std::string_literals;

constexpr Shell::Options quiet{.check = false, .log = false};

class ShellTest : public testing::Test {
 protected:
  static ShellResult sh(const std::string& script, Shell::Options options = quiet) {
    return Shell::run("/bin/sh", {"-c", script}, options);
  }
  /// The log's messages without their heads.
  static std::vector<std::string> logged() {
    std::vector<std::string> messages;
    if (!exists(Paths::logFile())) return messages;
    for (const auto& line : Text::split(readFile(Paths::logFile()), '\n')) {
      const auto head = line.find("] ");
      messages.push_back(head == std::string::npos ? line : line.substr(head + 2));
    }
    return messages;
  }
  TempHome home;
};

using Lines = std::vector<std::string>;

TEST_F(ShellTest, success) {
  const auto result = sh("printf out; printf err >&2");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.stdoutBytes, "out");
  EXPECT_EQ(result.out(), "out");
  EXPECT_EQ(result.stderrText, "err");
}

TEST_F(ShellTest, exitCodesWithoutCheck) {
  for (const int code : {1, 2, 127, 255}) EXPECT_EQ(sh("exit " + std::to_string(code)).status, code);
}

TEST_F(ShellTest, deathBySignal) {
  EXPECT_EQ(sh("kill -TERM $$").status, SIGTERM);
  EXPECT_EQ(sh("kill -KILL $$").status, SIGKILL);
  EXPECT_THROW(sh("kill -KILL $$", {.check = true, .log = false}), ShellError);
}

TEST_F(ShellTest, checkThrowsWithEverything) {
  try {
    sh("printf ' Ressource ist belegt\n\n' >&2; exit 16", {.check = true, .log = false});
    FAIL() << "the failure went unseen";
  } catch (const ShellError& error) {
    EXPECT_EQ(error.status(), 16);
    EXPECT_EQ(error.stderrText(), " Ressource ist belegt\n\n");
    EXPECT_EQ(error.command(), "/bin/sh -c \"printf ' Ressource ist belegt\n\n' >&2; exit 16\"");
    EXPECT_EQ(error.what(), "Befehl fehlgeschlagen (Code 16): " + error.command() + "\nRessource ist belegt");
  }
}

TEST_F(ShellTest, standardErrorOfWhiteSpaceHasNoSecondLine) {
  for (const auto* text : {"", "\n", " \t\r\n ", "\f\v", "\u00A0\n", "\u0085", "\u2028\u2003"}) {
    EXPECT_STREQ(ShellError("/bin/x y", 3, text).what(), "Befehl fehlgeschlagen (Code 3): /bin/x y");
  }
  EXPECT_STREQ(ShellError("/bin/x y", 3, "\na\nb\n").what(),
               "Befehl fehlgeschlagen (Code 3): /bin/x y\na\nb");
}

TEST_F(ShellTest, aMissingExecutableThrowsTheSystemsError) {
  for (const bool check : {false, true}) {
    try {
      Shell::run(home / "missing", {}, {.check = check, .log = false});
      FAIL() << "started";
    } catch (const SystemError& error) {
      EXPECT_EQ(error.code(), ENOENT);
    }
  }
  EXPECT_EQ(logged(), Lines{});
}

TEST_F(ShellTest, aMissingExecutableIsLoggedAsStartedAndNoMore) {
  const auto missing = home / "missing";
  EXPECT_THROW(Shell::run(missing, {"x"}, {.check = true, .log = true}), SystemError);
  EXPECT_EQ(logged(), Lines{"$ " + missing + " x"});
}

TEST_F(ShellTest, aFileThatMayNotBeRunThrowsTheSystemsError) {
  writeFile(home / "plain", "#!/bin/sh\n", 0644);
  EXPECT_THROW(Shell::run(home / "plain", {}, quiet), SystemError);
}

TEST_F(ShellTest, neitherCheckNorLogLeavesNoLine) {
  EXPECT_EQ(sh("echo x >&2; exit 1").status, 1);
  EXPECT_EQ(logged(), Lines{});
}

TEST_F(ShellTest, logWithoutCheckLogsTheFailureAndReturns) {
  EXPECT_EQ(sh("echo ' no such disk ' >&2; exit 1", {.check = false, .log = true}).status, 1);
  EXPECT_EQ(logged(),
            (Lines{"$ /bin/sh -c \"echo ' no such disk ' >&2; exit 1\"", "  -> Code 1: no such disk"}));
}

TEST_F(ShellTest, checkWithoutLogLogsTheFailureOnly) {
  EXPECT_THROW(sh("exit 9", {.check = true, .log = false}), ShellError);
  EXPECT_EQ(logged(), Lines{"  -> Code 9: "});
}

TEST_F(ShellTest, successIsLoggedByItsCommandOnly) {
  sh("echo warning >&2", {.check = true, .log = true});
  EXPECT_EQ(logged(), Lines{"$ /bin/sh -c \"echo warning >&2\""});
}

TEST_F(ShellTest, theCommandIsLoggedBeforeItRuns) {
  const auto result = sh("cat '" + Paths::logFile() + "'", {.check = true, .log = true});
  EXPECT_NE(result.out().find("] $ /bin/sh -c "), std::string::npos);
}

TEST_F(ShellTest, commandLine) {
  EXPECT_EQ(Shell::commandLine("/usr/bin/hdiutil", {"info", "-plist"}), "/usr/bin/hdiutil info -plist");
  EXPECT_EQ(Shell::commandLine("/My Tool", {"a b", "c\"d", "", "e\tf", "g \" h"}),
            "\"/My Tool\" \"a b\" c\"d  e\tf \"g \" h\"");
  EXPECT_EQ(Shell::commandLine("/x", {}), "/x");
}

TEST_F(ShellTest, argumentsReachTheProcessAsTheyAre) {
  const std::vector<std::string> arguments = {
      "a b", "", "\"quoted\"", "'single'", "$HOME `id` \\n *", "ä„“", "-n", "a\nb", "\xFF\xFE", "%s", "--"};
  std::vector<std::string> words = {"-c", R"(for word; do printf '<%s>\n' "$word"; done)", "dump"};
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::string expected;
  for (const auto& argument : arguments) expected += "<" + argument + ">\n";
  EXPECT_EQ(Shell::run("/bin/sh", words, quiet).stdoutBytes, expected);
}

TEST_F(ShellTest, anArgumentWithABlankIsQuotedInTheLogOnly) {
  const auto result =
      Shell::run("/usr/bin/printf", {"%s|", "Meine Bilder", "x"}, {.check = true, .log = true});
  EXPECT_EQ(result.out(), "Meine Bilder|x|");
  EXPECT_EQ(logged(), Lines{"$ /usr/bin/printf %s| \"Meine Bilder\" x"});
}

TEST_F(ShellTest, longArgumentVectors) {
  std::vector<std::string> words = {"-c", "echo $#", "x"};
  words.insert(words.end(), 20'000, "argument with blanks");
  EXPECT_EQ(Shell::run("/bin/sh", words, quiet).out(), "20000\n");
}

TEST_F(ShellTest, anArgumentListTheSystemRefuses) {
  EXPECT_THROW(Shell::run("/bin/sh", {"-c", std::string(300'000'000, 'x')}, quiet), SystemError);
}

TEST_F(ShellTest, aMillionLinesOnBothStreams) {
  const auto result = sh("seq 1000000 >&2 & seq 1000000; wait");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.stdoutBytes.size(), 6'888'896u);
  EXPECT_EQ(result.stdoutBytes, result.stderrText);
  EXPECT_TRUE(result.stdoutBytes.ends_with("999999\n1000000\n"));
}

TEST_F(ShellTest, oneStreamFullBeforeTheOtherBegins) {
  const auto result = sh("seq 200000 >&2; seq 10");
  EXPECT_TRUE(result.stderrText.ends_with("200000\n"));
  EXPECT_EQ(result.out(), "1\n2\n3\n4\n5\n6\n7\n8\n9\n10\n");
}

TEST_F(ShellTest, standardInputIsAtItsEnd) {
  EXPECT_EQ(sh("cat | wc -c | tr -d ' '").out(), "0\n");
}

TEST_F(ShellTest, outputThatIsNoUtf8) {
  const auto result = sh(R"(printf 'a\377b\303'; printf 'c\200' >&2)");
  EXPECT_EQ(result.stdoutBytes,
            "a\xFF"
            "b\xC3");
  EXPECT_EQ(result.out(),
            "a\xEF\xBF\xBD"
            "b\xEF\xBF\xBD");
  EXPECT_EQ(result.stderrText, "c\xEF\xBF\xBD");
}

TEST_F(ShellTest, outputWithZeroBytes) {
  EXPECT_EQ(sh(R"(printf 'a\000b')").stdoutBytes, "a\0b"s);
}

TEST_F(ShellTest, noDescriptorAndNoZombieIsLeft) {
  sh("true");
  const auto descriptors = namesIn("/dev/fd").size();
  for (int round = 0; round < 50; ++round) {
    sh("echo x; exit " + std::to_string(round % 2));
    EXPECT_THROW(Shell::run(home / "missing", {}, quiet), SystemError);
  }
  EXPECT_EQ(namesIn("/dev/fd").size(), descriptors);
  EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
}

TEST_F(ShellTest, otherChildrenOfTheProcessAreLeftAlone) {
  const auto child = ::fork();
  if (child == 0) ::_exit(42);
  for (int round = 0; round < 10; ++round) sh("true");
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(WEXITSTATUS(status), 42);
}

TEST_F(ShellTest, manyThreadsAtOnce) {
  const auto descriptors = namesIn("/dev/fd").size();
  std::vector<std::thread> threads;
  std::atomic<int> wrong = 0;
  for (int thread = 0; thread < 16; ++thread) {
    threads.emplace_back([&wrong, thread] {
      for (int round = 0; round < 10; ++round) {
        const auto number = std::to_string(thread * 100 + round);
        const auto result =
            sh("seq 3000; echo " + number + "; echo " + number + " >&2; exit " + std::to_string(thread));
        if (result.status != thread || result.stderrText != number + "\n" ||
            !result.stdoutBytes.ends_with("\n3000\n" + number + "\n")) {
          ++wrong;
        }
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(namesIn("/dev/fd").size(), descriptors);
  EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
}

TEST_F(ShellTest, aSlowCallDoesNotHoldUpAnother) {
  // The first ends only after the second has run.
  const auto go = home / "go";
  std::thread slow([&] { sh("while [ ! -e '" + go + "' ]; do sleep 0.01; done"); });
  EXPECT_EQ(sh("echo x; : > '" + go + "'").out(), "x\n");
  slow.join();
}

TEST_F(ShellTest, signalsThatInterruptCallsDoNoHarm) {
  // Without SA_RESTART, so that each waiting system call returns with EINTR.
  struct sigaction action {};
  struct sigaction before {};
  action.sa_handler = [](int) {};
  ::sigaction(SIGUSR2, &action, &before);
  std::atomic<bool> done = false;
  const auto target = ::pthread_self();
  std::thread nuisance([&] {
    while (!done) {
      ::pthread_kill(target, SIGUSR2);
      ::kill(::getpid(), SIGUSR2);
      std::this_thread::yield();
    }
  });
  for (int round = 0; round < 20; ++round) {
    const auto result = sh("seq 20000; exit 6");
    EXPECT_EQ(result.status, 6);
    EXPECT_EQ(result.stdoutBytes.size(), 108'894u);
  }
  done = true;
  nuisance.join();
  ::sigaction(SIGUSR2, &before, nullptr);
}

}  // namespace
}  // namespace fernwahrung
