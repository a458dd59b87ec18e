// A started external program. Shell builds on it; the long copy, which polls and cancels, uses it directly.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "Foundation/FileDescriptor.h"

namespace fernwahrung {

/// The child has the null device as standard input, a process group of its own (a Ctrl-C at the terminal reaches only
/// this program, which then cancels in its own way), default signal handling, LC_ALL=C, and no descriptor but the
/// three standard ones. Each captured stream is drained by a thread of its own that runs before the launch.
class ChildProcess {
 public:
  enum class Stream { null, captured };

  /// `executable` is the Mac's absolute path. Throws SystemError when it can't be started; nothing is left behind.
  ChildProcess(const std::string& executable, const std::vector<std::string>& arguments, Stream standardOutput,
               Stream standardError);
  /// Waits for a child that was not waited for.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  /// The status if the child has ended by now.
  std::optional<std::int32_t> poll();
  /// Blocks until the child has ended; the exit code, or the number of the signal that ended it.
  std::int32_t wait();
  /// Asks the child's process group to end (SIGTERM).
  void terminate();

  /// After the child's end: blocks until the captured streams have reached their end, and gives their bytes.
  std::string takeOutput();
  std::string takeError();

 private:
  struct Drain {
    FileDescriptor readEnd;
    std::string bytes;
    std::thread thread;
  };
  void finish(Drain& drain);

  pid_t pid_ = -1;
  std::optional<std::int32_t> status_;
  Drain output_;
  Drain error_;
};

}  // namespace fernwahrung
