#include "Foundation/Host.h"

#include "Foundation/BlockingCalls.h"
#include "Foundation/Errors.h"
#include "Foundation/PathString.h"
#include "Platform/FileChanges.h"
#include "Platform/SystemCalls.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <signal.h>
#include <spawn.h>
#include <unistd.h>

#ifdef __APPLE__
#include <crt_externs.h>
#else
extern char** environ;
#endif

namespace fernwahrung::Host {
namespace {

constexpr const char* notStarted = "Das Programm kann nicht gestartet werden";

std::mutex homeMutex;
std::string& homeForTesting() {
  static std::string directory;
  return directory;
}

char** environment() {
#ifdef __APPLE__
  return *_NSGetEnviron();
#else
  return environ;
#endif
}

/// Owns the two attribute objects of posix_spawn.
class SpawnRequest {
 public:
  SpawnRequest() {
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawnattr_init(&attributes);
  }
  ~SpawnRequest() {
    ::posix_spawnattr_destroy(&attributes);
    ::posix_spawn_file_actions_destroy(&actions);
  }
  SpawnRequest(const SpawnRequest&) = delete;
  SpawnRequest& operator=(const SpawnRequest&) = delete;

  posix_spawn_file_actions_t actions;
  posix_spawnattr_t attributes;
};

/// A copy of the descriptor above the standard ones, so that placing the three never overwrites one still
/// needed.
FileDescriptor aboveStandard(int fd, const std::string& program) {
  FileDescriptor copy(::fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
  if (!copy) throw SystemError(notStarted, program, errno);
  return copy;
}

int prepare(SpawnRequest& request, const FileDescriptor (&streams)[3]) {
  for (int target = STDIN_FILENO; target <= STDERR_FILENO; ++target) {
    if (const int error =
            ::posix_spawn_file_actions_adddup2(&request.actions, streams[target].get(), target)) {
      return error;
    }
  }
  short flags = POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK;
  if (const int error = System::keepStandardStreamsOnly(request.actions, flags)) return error;
  sigset_t all, none;
  sigfillset(&all);
  sigemptyset(&none);
  if (const int error = ::posix_spawnattr_setsigdefault(&request.attributes, &all)) return error;
  if (const int error = ::posix_spawnattr_setsigmask(&request.attributes, &none)) return error;
  if (const int error = ::posix_spawnattr_setpgroup(&request.attributes, 0)) return error;
  return ::posix_spawnattr_setflags(&request.attributes, flags);
}

std::vector<char*> nullTerminated(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

std::vector<std::string> childEnvironment() {
  std::vector<std::string> variables;
  for (char** variable = environment(); variable && *variable; ++variable) {
    if (std::strncmp(*variable, "LC_ALL=", 7) != 0) variables.emplace_back(*variable);
  }
  variables.emplace_back("LC_ALL=C");
  return variables;
}

}  // namespace

std::string homeDirectory() {
  {
    const std::lock_guard lock(homeMutex);
    if (!homeForTesting().empty()) return homeForTesting();
  }
  return System::homeDirectory();
}

void setHomeDirectoryForTesting(std::string directory) {
  const std::lock_guard lock(homeMutex);
  homeForTesting() = std::move(directory);
}

int makeDirectory(const std::string& path) {
  if (const auto error = Platform::makeDirectory(path, 0777)) return error.value();
  // Some file systems refuse to flush a folder, and this one is there all the same.
  static_cast<void>(Platform::flushDirectory(PathString::parent(path)));
  return 0;
}

std::pair<FileDescriptor, FileDescriptor> makePipe() {
  int ends[2];
  if (const int error = System::makePipe(ends)) {
    throw SystemError("Eine Leitung zu einem Programm kann nicht angelegt werden", "pipe", error);
  }
  return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

pid_t spawn(const std::string& program, const std::vector<std::string>& arguments, int standardInput,
            int standardOutput, int standardError) {
  BlockingCalls::announce("start a program");
  std::vector<std::string> words{program};
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<std::string> variables = childEnvironment();
  const FileDescriptor streams[] = {aboveStandard(standardInput, program),
                                    aboveStandard(standardOutput, program),
                                    aboveStandard(standardError, program)};
  SpawnRequest request;
  int error = prepare(request, streams);
  pid_t child = -1;
  if (error == 0) {
    error = ::posix_spawn(&child, program.c_str(), &request.actions, &request.attributes,
                          nullTerminated(words).data(), nullTerminated(variables).data());
  }
  if (error != 0) throw SystemError(notStarted, program, error);
  return child;
}

}  // namespace fernwahrung::Host
