#include "HostTest.h"
#include "support/Eventually.h"
#include "support/Files.h"

#include "Foundation/Text.h"

#include <csignal>
#include <ctime>
#include <filesystem>
#include <sys/wait.h>
#include <unistd.h>

namespace fernwahrung::host {
namespace {

ProgramResult ps(pid_t pid) {
  return runTool("ps", {"-p", std::to_string(pid), "-o", "ppid=,uid=,lstart=,comm="});
}

/// A process that runs until the object goes.
class Running {
 public:
  explicit Running(const std::string& program) : pid_(::fork()) {
    if (pid_ != 0) return;
    ::execl(program.c_str(), program.c_str(), "600", nullptr);
    ::_exit(127);
  }
  ~Running() { end(); }
  Running(const Running&) = delete;
  Running& operator=(const Running&) = delete;

  pid_t pid() const { return pid_; }
  bool isRunning(const std::string& program) const {
    std::error_code error;
    return std::filesystem::read_symlink("/proc/" + std::to_string(pid_) + "/exe", error) == program;
  }
  void end() {
    if (pid_ > 0) {
      ::kill(pid_, SIGKILL);
      ::waitpid(pid_, nullptr, 0);
    }
    pid_ = -1;
  }

 private:
  pid_t pid_;
};

TEST(Ps, TellsParentUserStartAndFullPath) {
  const ProgramResult result = ps(::getpid());
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  const auto words = Text::split(Text::trimmed(result.out), ' ');
  ASSERT_EQ(words.size(), 8U) << result.out;
  EXPECT_EQ(words[0], std::to_string(::getppid()));
  EXPECT_EQ(words[1], std::to_string(::geteuid()));
  EXPECT_EQ(words[7], std::filesystem::read_symlink("/proc/self/exe").string());
}

TEST(Ps, WritesTheStartAsTheSystemsOwnToolDoes) {
  const auto words = Text::split(Text::trimmed(ps(::getpid()).out), ' ');
  std::tm parts{};
  const std::string start = words[2] + " " + words[3] + " " + words[4] + " " + words[5] + " " + words[6];
  ASSERT_NE(::strptime(start.c_str(), "%a %b %e %H:%M:%S %Y", &parts), nullptr) << start;
  parts.tm_isdst = -1;
  const std::string own = Text::trimmed(mustRun(
      {"/bin/ps", "-p", std::to_string(::getpid()), "-o", "lstart="}, {.environment = {{"LC_ALL", "C"}}}));
  std::tm ownParts{};
  ASSERT_NE(::strptime(own.c_str(), "%a %b %e %H:%M:%S %Y", &ownParts), nullptr) << own;
  ownParts.tm_isdst = -1;
  EXPECT_NEAR(static_cast<double>(std::mktime(&parts)), static_cast<double>(std::mktime(&ownParts)), 2);
}

TEST(Ps, TellsTheSameOfTheSameProcess) {
  const std::string first = ps(::getpid()).out;
  for (int i = 0; i < 20; ++i) EXPECT_EQ(ps(::getpid()).out, first);
}

TEST(Ps, TellsThatAProcessIsGone) {
  Running process("/bin/sleep");
  const pid_t pid = process.pid();
  EXPECT_EQ(ps(pid).status, 0);
  process.end();
  const ProgramResult result = ps(pid);
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out, "");
}

TEST(Ps, TellsPathsWithAnyName) {
  const TempFolder folder;
  const std::string program = folder / "Meine App) (x 1 2.app/Contents/MacOS/a) (b 1 Größe mit Leerzeichen";
  makeFolder(std::filesystem::path(program).parent_path());
  mustRun({"cp", "/bin/sleep", program});
  const Running process(program);
  ASSERT_TRUE(eventually([&] { return process.isRunning(program); }));
  const std::string line = ps(process.pid()).out;
  EXPECT_TRUE(line.ends_with(" " + program + "\n")) << line;
  EXPECT_EQ(Text::trimmed(line).rfind(std::to_string(::getpid()) + " ", 0), 0U) << line;
  removeEverything(program);
  EXPECT_TRUE(ps(process.pid()).out.ends_with(" " + program + "\n")) << "also of a removed program";
}

TEST(Ps, KeepsToOneLineWhateverThePath) {
  const TempFolder folder;
  const std::string program = folder / "line\nfeed";
  mustRun({"cp", "/bin/sleep", program});
  const Running process(program);
  ASSERT_TRUE(eventually([&] { return process.isRunning(program); }));
  EXPECT_TRUE(ps(process.pid()).out.ends_with("/line?feed\n"));
}

TEST(Ps, TellsOfOthersProcessesWhatMayBeKnown) {
  const ProgramResult result = ps(1);
  EXPECT_EQ(result.status, 0);
  const auto words = Text::split(Text::trimmed(result.out), ' ');
  ASSERT_GE(words.size(), 8U) << result.out;
  EXPECT_EQ(words[0], "0");
  EXPECT_EQ(words[1], "0");
}

TEST(Ps, ListsAllProcesses) {
  const Running process("/bin/sleep");
  ASSERT_TRUE(
      eventually([&] { return !process.isRunning(std::filesystem::read_symlink("/proc/self/exe")); }));
  const ProgramResult result = runTool("ps", {"-axo", "pid=,ppid=,comm="});
  EXPECT_EQ(result.status, 0);
  bool found = false;
  for (const std::string& line : Text::split(result.out, '\n')) {
    const auto words = Text::split(line, ' ');
    ASSERT_GE(words.size(), 3U) << line;
    EXPECT_TRUE(Text::toInteger(words[0]) && Text::toInteger(words[1])) << line;
    if (words[0] != std::to_string(process.pid())) continue;
    found = true;
    EXPECT_EQ(words[1], std::to_string(::getpid()));
    EXPECT_TRUE(words[2].ends_with("/sleep")) << line;
  }
  EXPECT_TRUE(found);
}

TEST(Ps, RefusesWhatItDoesNotKnow) {
  for (const std::vector<std::string>& arguments : {std::vector<std::string>{},
                                                    {"-p"},
                                                    {"-p", "x", "-o", "pid="},
                                                    {"-p", "-1", "-o", "pid="},
                                                    {"-p", "1", "-o", "rss="},
                                                    {"-p", "1", "-o", ""},
                                                    {"-p", "99999999999", "-o", "pid="},
                                                    {"aux"}}) {
    const ProgramResult result = runTool("ps", arguments);
    EXPECT_EQ(result.status, 1) << testing::PrintToString(arguments);
    EXPECT_NE(result.err, "");
    EXPECT_EQ(result.out, "");
  }
}

TEST(Mdutil, TellsThatThereIsNoIndex) {
  const ProgramResult result = runTool("mdutil", {"-i", "on", "/somewhere"});
  EXPECT_EQ(result.out, "/somewhere:\n\tIndexing and searching disabled.\n");
  EXPECT_NE(result.status, 0);
  EXPECT_EQ(runTool("mdutil", {"-s"}).status, 1);
}

}  // namespace
}  // namespace fernwahrung::host
