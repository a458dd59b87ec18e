#include "linux/SystemProgram.h"

#include "linux/Tools.h"

#include "Foundation/Errors.h"
#include "Foundation/FileDescriptor.h"
#include "Foundation/PathString.h"
#include "Foundation/Text.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fernwahrung::host {
namespace {

std::string locate(const std::string& name) {
  // An ordinary user's PATH often lacks the folders of administration.
  static constexpr std::array folders = {"/usr/sbin", "/sbin", "/usr/bin", "/bin"};
  for (const char* folder : folders) {
    std::string path = PathString::join(folder, name);
    if (::access(path.c_str(), X_OK) == 0) return path;
  }
  throw Failure(name + " is not installed");
}

[[noreturn]] void become(const std::string& path, std::vector<char*>& argv, int output, int keptOpen) {
  const int null = ::open("/dev/null", O_RDONLY);
  ::dup2(null, STDIN_FILENO);
  if (null > STDERR_FILENO) ::close(null);
  ::dup2(output, STDOUT_FILENO);
  ::dup2(output, STDERR_FILENO);
  if (keptOpen >= 0) ::fcntl(keptOpen, F_SETFD, 0);
  ::setenv("LC_ALL", "C", 1);
  ::execv(path.c_str(), argv.data());
  ::_exit(127);
}

std::string readToEnd(int fd) {
  std::string text;
  for (char buffer[4096];;) {
    const ssize_t count = ::read(fd, buffer, sizeof buffer);
    if (count > 0) {
      text.append(buffer, static_cast<std::size_t>(count));
    } else if (count == 0 || errno != EINTR) {
      return text;
    }
  }
}

int waitFor(pid_t child) {
  int status = 0;
  while (::waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) throw Failure("waitpid: " + errnoText(errno));
  }
  return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

}  // namespace

std::string ProgramOutcome::lastLine() const {
  std::string last;
  for (const std::string& line : Text::split(output, '\n')) {
    if (std::string words = Text::trimmed(line); !words.empty()) last = std::move(words);
  }
  return last;
}

ProgramOutcome runProgram(const std::string& name, const std::vector<std::string>& arguments, int keptOpen) {
  const std::string path = locate(name);
  std::vector<std::string> words = {name};
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<char*> argv;
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);

  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) throw Failure(name + ": " + errnoText(errno));
  const FileDescriptor readEnd(ends[0]);
  FileDescriptor writeEnd(ends[1]);
  const pid_t child = ::fork();
  if (child < 0) throw Failure(name + ": " + errnoText(errno));
  if (child == 0) become(path, argv, writeEnd.get(), keptOpen);
  writeEnd.reset();
  ProgramOutcome outcome;
  outcome.output = readToEnd(readEnd.get());
  outcome.status = waitFor(child);
  return outcome;
}

}  // namespace fernwahrung::host
