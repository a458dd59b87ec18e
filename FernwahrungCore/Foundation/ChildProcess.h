// A started external program. Shell builds on it; the long copy, which polls and cancels, uses it directly.
#pragma once

#include "Foundation/FileDescriptor.h"

#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <sys/types.h>
#include <thread>
#include <vector>

namespace fernwahrung {

/// The child has the null device as standard input, a process group of its own (a Ctrl-C at the terminal
/// reaches only this program, which then cancels in its own way), default signal handling, LC_ALL=C, and no
/// descriptor but the three standard ones. Each captured stream is drained by a thread of its own that runs
/// before the launch.
class ChildProcess {
 public:
  enum class Stream { null, captured };

  /// `executable` is the Mac's absolute path. Throws SystemError when it can't be started; nothing is left
  /// behind.
  ChildProcess(const std::string& executable, const std::vector<std::string>& arguments,
               Stream standardOutput, Stream standardError);
  /// Waits for a child that was not waited for.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  /// The status if the child has ended by now. Like wait() it throws SystemError when somebody else has taken
  /// it.
  std::optional<std::int32_t> poll();
  /// Blocks until the child has ended; the exit code, or the number of the signal that ended it.
  std::int32_t wait();
  /// Asks the child's process group to end (SIGTERM).
  void terminate();

  /// After the child's end: blocks until the captured stream has reached its end, and gives its bytes. Throws
  /// SystemError when it could not be read to the end.
  std::string takeOutput();
  std::string takeError();

 private:
  struct Drain {
    FileDescriptor readEnd;
    std::string bytes;
    std::exception_ptr failure;
    std::thread thread;
  };
  /// Starts the reader, and gives the end that the child writes to.
  static FileDescriptor start(Drain& drain);
  static void finish(Drain& drain);
  static std::string take(Drain& drain);
  std::optional<std::int32_t> reap(int options);

  pid_t pid_ = -1;
  std::optional<std::int32_t> status_;
  Drain output_;
  Drain error_;
};

}  // namespace fernwahrung
