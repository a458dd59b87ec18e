#pragma once

#include "Foundation/FileDescriptor.h"

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <sys/types.h>
#include <thread>
#include <utility>
#include <vector>

namespace fernwahrung {

/// Runs a program, counts the changing system calls of its whole process tree, and kills right before the
/// N-th.
///
/// Counted are: opening a file for writing or creating it, rename, mkdir, rmdir, unlink, symlink, link,
/// mknod; mount, umount, move_mount, fsmount; ioctl on inode flags, on loop devices and for clones; chmod,
/// chown and attributes; fsync and its kin; truncate and fallocate; and the start of each further program.
/// Not counted: write, times, and files below /proc and the null device. The count is the same in each run as
/// far as the program's own order is.
///
///   for (int n = 1;; ++n) {
///     const KillAt::Result run = KillAt::run({.argv = {helper, "relocate", …}, .killAt = n});
///     if (!run.killed) break;
///     … roll back and look; run.call says in messages where it died
///   }
class KillAt {
 public:
  enum class Mode {
    main,  // only the first process dies, its tools go on: the crash of a program
    all    // all processes die: a power cut, but for what the page cache still holds
  };
  struct Options {
    std::vector<std::string> argv;
    std::vector<std::pair<std::string, std::string>> environment = {};  // on top of the present one
    std::function<void()> setup = {};  // in the new process before the program, as after fork: no allocation
    int killAt = 0;                    // counted from 1; 0 for a run that is only counted
    Mode mode = Mode::main;
    std::vector<std::string> ignoredPaths = {};  // calls on paths that begin so are not counted
    bool recordCalls = false;                    // fills Result::calls
    int timeoutSeconds = 300;                    // then all is killed and wait() throws
  };
  struct Result {
    int status = 0;  // of the first process: the exit code, or 128 plus the signal's number
    bool killed = false;
    int total = 0;     // the changing calls so far
    std::string call;  // the one before which it was killed, "rename /a -> /b [cp]"
    std::vector<std::string> calls;
    std::string out;
    std::string err;
  };

  /// Why this machine can't trace; nothing when it can.
  static std::optional<std::string> unavailable();

  /// The whole run, until the last process of the tree has ended.
  static Result run(const Options& options);

  /// Starts the program. Throws std::system_error.
  explicit KillAt(Options options);
  /// Kills what is left of the tree.
  ~KillAt();
  KillAt(const KillAt&) = delete;
  KillAt& operator=(const KillAt&) = delete;

  /// Until the first process has ended; its tools may still run.
  Result wait();
  /// Until no process of the tree is left; false when that takes longer.
  bool waitForTree(int seconds = 60);
  /// As far as is known by now.
  Result result() const;

 private:
  void traceTree();
  void start();
  void handleStop(pid_t thread, int status);
  void countCall(pid_t thread, const std::string& call);
  void ended(pid_t thread, int status);
  void killTree();
  bool isIgnored(const std::string& path) const;
  std::optional<std::string> changingCall(pid_t thread) const;

  const Options options_;
  FileDescriptor output_;
  FileDescriptor error_;

  mutable std::mutex lock_;
  std::condition_variable changed_;
  Result result_;             // guarded by lock_
  std::set<pid_t> threads_;   // guarded by lock_
  std::string startFailure_;  // guarded by lock_
  bool started_ = false;      // guarded by lock_
  bool mainEnded_ = false;    // guarded by lock_
  bool treeEnded_ = false;    // guarded by lock_
  bool killAll_ = false;      // guarded by lock_
  pid_t main_ = -1;           // written before started_
  bool mainRuns_ = false;     // the tracing thread's own

  std::thread tracer_;
};

}  // namespace fernwahrung
