#include "support/Program.h"

#include "Foundation/FileDescriptor.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

extern char** environ;

namespace fernwahrung {
namespace {

/// Without a name, so that it goes with its last descriptor.
FileDescriptor namelessFile(std::string_view bytes) {
  std::string pattern = std::filesystem::temp_directory_path() / "fernwahrung-stream-XXXXXX";
  FileDescriptor fd(::mkostemp(pattern.data(), O_CLOEXEC));
  if (!fd) throw std::system_error(errno, std::generic_category(), pattern);
  ::unlink(pattern.c_str());
  while (!bytes.empty()) {
    const ssize_t written = ::write(fd.get(), bytes.data(), bytes.size());
    if (written < 0) throw std::system_error(errno, std::generic_category(), "write");
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  ::lseek(fd.get(), 0, SEEK_SET);
  return fd;
}

std::string contents(const FileDescriptor& fd) {
  std::string bytes;
  char buffer[65536];
  ssize_t count = 0;
  while ((count = ::pread(fd.get(), buffer, sizeof buffer, static_cast<off_t>(bytes.size()))) > 0) {
    bytes.append(buffer, static_cast<std::size_t>(count));
  }
  return bytes;
}

}  // namespace

std::vector<std::string> environmentWith(const std::vector<std::pair<std::string, std::string>>& additions) {
  std::vector<std::string> environment;
  for (char** entry = environ; *entry; ++entry) {
    const std::string_view text(*entry);
    bool replaced = false;
    for (const auto& [name, value] : additions) {
      replaced = replaced || text.compare(0, name.size() + 1, name + "=") == 0;
    }
    if (!replaced) environment.emplace_back(text);
  }
  for (const auto& [name, value] : additions) environment.push_back(name + "=" + value);
  return environment;
}

ProgramResult runProgram(const std::vector<std::string>& argv, const ProgramOptions& options) {
  const std::optional<std::string> program = findProgram(argv.at(0));
  if (!program) throw std::system_error(ENOENT, std::generic_category(), argv[0]);
  std::vector<std::string> arguments = argv;
  std::vector<char*> pointers;
  for (std::string& argument : arguments) pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  std::vector<std::string> environment = environmentWith(options.environment);
  std::vector<char*> environmentPointers;
  for (std::string& entry : environment) environmentPointers.push_back(entry.data());
  environmentPointers.push_back(nullptr);

  const FileDescriptor input = namelessFile(options.input);
  const FileDescriptor output = namelessFile("");
  const FileDescriptor error = namelessFile("");
  const pid_t pid = ::fork();
  if (pid < 0) throw std::system_error(errno, std::generic_category(), "fork");
  if (pid == 0) {
    ::dup2(input.get(), 0);
    ::dup2(output.get(), 1);
    ::dup2(error.get(), 2);
    if (options.folder.empty() || ::chdir(options.folder.c_str()) == 0) {
      ::execve(program->c_str(), pointers.data(), environmentPointers.data());
    }
    ::_exit(127);
  }
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), contents(output),
          contents(error)};
}

std::string mustRun(const std::vector<std::string>& argv, const ProgramOptions& options) {
  ProgramResult result = runProgram(argv, options);
  if (result.status != 0) {
    std::string line;
    for (const std::string& argument : argv) line += argument + " ";
    throw std::runtime_error(line + "ended with status " + std::to_string(result.status) + ": " + result.err);
  }
  return std::move(result.out);
}

std::optional<std::string> findProgram(const std::string& name) {
  if (name.find('/') != std::string::npos) {
    return ::access(name.c_str(), X_OK) == 0 ? std::optional(name) : std::nullopt;
  }
  const char* path = std::getenv("PATH");
  std::istringstream folders(std::string(path ? path : "") +
                             ":/usr/local/sbin:/usr/sbin:/sbin:/usr/bin:/bin");
  for (std::string folder; std::getline(folders, folder, ':');) {
    const std::string candidate = folder + "/" + name;
    if (!folder.empty() && ::access(candidate.c_str(), X_OK) == 0) return candidate;
  }
  return std::nullopt;
}

std::string copyProgramWithTools(const std::string& program, const std::string& folder) {
  using std::filesystem::copy_options;
  const std::filesystem::path built = std::filesystem::path(program).parent_path();
  const std::filesystem::path copies = folder;
  const std::filesystem::path copy = copies / std::filesystem::path(program).filename();
  std::filesystem::create_directories(copies);
  std::filesystem::copy_file(program, copy);
  std::filesystem::copy_file(built / "fernwahrung-host", copies / "fernwahrung-host");
  // links to the file above, which stay links
  std::filesystem::copy(built / "host-tools", copies / "host-tools",
                        copy_options::recursive | copy_options::copy_symlinks);
  return copy;
}

std::string shellQuoted(std::string_view text) {
  std::string result = "'";
  for (const char character : text) {
    if (character == '\'') {
      result += "'\\''";
    } else {
      result += character;
    }
  }
  return result + "'";
}

}  // namespace fernwahrung
