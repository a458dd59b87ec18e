#include "support/KillAt.h"

#include "support/Program.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/fs.h>
#include <linux/loop.h>
#include <linux/openat2.h>
#include <linux/seccomp.h>
#include <signal.h>
#include <stdexcept>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace fernwahrung {
namespace {

/// Where a system call's arguments name what it changes.
enum class Shape {
  path,          // (path, …)
  twoPaths,      // (path, path)
  secondPath,    // (text, path)
  at,            // (folder, path, …)
  twoAt,         // (folder, path, folder, path)
  textAt,        // (text, folder, path)
  descriptor,    // (descriptor, …)
  sourceTarget,  // (source, target) of a mount
  nothing
};

/// Whether every call counts, or what tells.
enum class When { always, flagsInSecond, flagsInThird, openHow, command };

struct Call {
  long number;
  const char* name;
  Shape shape;
  When when = When::always;
};

constexpr unsigned writingFlags = O_WRONLY | O_RDWR | O_CREAT | O_TRUNC;

/// The older calls don't exist on every architecture.
const Call changingCalls[] = {
#ifdef SYS_open
    {SYS_open, "open", Shape::path, When::flagsInSecond},
    {SYS_creat, "creat", Shape::path},
    {SYS_rename, "rename", Shape::twoPaths},
    {SYS_mkdir, "mkdir", Shape::path},
    {SYS_rmdir, "rmdir", Shape::path},
    {SYS_unlink, "unlink", Shape::path},
    {SYS_symlink, "symlink", Shape::secondPath},
    {SYS_link, "link", Shape::twoPaths},
    {SYS_mknod, "mknod", Shape::path},
    {SYS_chmod, "chmod", Shape::path},
    {SYS_chown, "chown", Shape::path},
    {SYS_lchown, "lchown", Shape::path},
#endif
#ifdef SYS_renameat
    {SYS_renameat, "renameat", Shape::twoAt},
#endif
#ifdef SYS_fchmodat2
    {SYS_fchmodat2, "fchmodat2", Shape::at},
#endif
    {SYS_openat, "openat", Shape::at, When::flagsInThird},
    {SYS_openat2, "openat2", Shape::at, When::openHow},
    {SYS_renameat2, "renameat2", Shape::twoAt},
    {SYS_mkdirat, "mkdirat", Shape::at},
    {SYS_unlinkat, "unlinkat", Shape::at},
    {SYS_symlinkat, "symlinkat", Shape::textAt},
    {SYS_linkat, "linkat", Shape::twoAt},
    {SYS_mknodat, "mknodat", Shape::at},
    {SYS_mount, "mount", Shape::sourceTarget},
    {SYS_umount2, "umount2", Shape::path},
    {SYS_move_mount, "move_mount", Shape::twoAt},
    {SYS_fsmount, "fsmount", Shape::nothing},
    {SYS_ioctl, "ioctl", Shape::descriptor, When::command},
    {SYS_fchmod, "fchmod", Shape::descriptor},
    {SYS_fchmodat, "fchmodat", Shape::at},
    {SYS_fchown, "fchown", Shape::descriptor},
    {SYS_fchownat, "fchownat", Shape::at},
    {SYS_setxattr, "setxattr", Shape::path},
    {SYS_lsetxattr, "lsetxattr", Shape::path},
    {SYS_fsetxattr, "fsetxattr", Shape::descriptor},
    {SYS_removexattr, "removexattr", Shape::path},
    {SYS_lremovexattr, "lremovexattr", Shape::path},
    {SYS_fremovexattr, "fremovexattr", Shape::descriptor},
    {SYS_fsync, "fsync", Shape::descriptor},
    {SYS_fdatasync, "fdatasync", Shape::descriptor},
    {SYS_sync_file_range, "sync_file_range", Shape::descriptor},
    {SYS_syncfs, "syncfs", Shape::descriptor},
    {SYS_truncate, "truncate", Shape::path},
    {SYS_ftruncate, "ftruncate", Shape::descriptor},
    {SYS_fallocate, "fallocate", Shape::descriptor},
};

struct Command {
  unsigned long value;
  const char* name;
};
const Command changingCommands[] = {
    {FS_IOC_SETFLAGS, "FS_IOC_SETFLAGS"},
    {FS_IOC_FSSETXATTR, "FS_IOC_FSSETXATTR"},
    {FICLONE, "FICLONE"},
    {FICLONERANGE, "FICLONERANGE"},
    {LOOP_SET_FD, "LOOP_SET_FD"},
    {LOOP_CLR_FD, "LOOP_CLR_FD"},
    {LOOP_SET_STATUS, "LOOP_SET_STATUS"},
    {LOOP_SET_STATUS64, "LOOP_SET_STATUS64"},
    {LOOP_CHANGE_FD, "LOOP_CHANGE_FD"},
    {LOOP_SET_CAPACITY, "LOOP_SET_CAPACITY"},
    {LOOP_SET_DIRECT_IO, "LOOP_SET_DIRECT_IO"},
    {LOOP_SET_BLOCK_SIZE, "LOOP_SET_BLOCK_SIZE"},
    {LOOP_CONFIGURE, "LOOP_CONFIGURE"},
    {LOOP_CTL_ADD, "LOOP_CTL_ADD"},
    {LOOP_CTL_REMOVE, "LOOP_CTL_REMOVE"},
    {LOOP_CTL_GET_FREE, "LOOP_CTL_GET_FREE"},
};

/// Lets all calls pass without a stop but those that may change something.
std::vector<sock_filter> filterProgram() {
  std::vector<sock_filter> program;
  const auto add = [&](std::uint16_t code, std::uint32_t value, std::uint8_t ifTrue = 0,
                       std::uint8_t ifFalse = 0) {
    program.push_back({code, ifTrue, ifFalse, value});
  };
  const auto load = [&](std::size_t offset) {
    add(BPF_LD | BPF_W | BPF_ABS, static_cast<std::uint32_t>(offset));
  };
  const auto lowHalfOfArgument = [](int index) {
    return offsetof(seccomp_data, args) + 8 * static_cast<std::size_t>(index);
  };
  for (const Call& call : changingCalls) {
    load(offsetof(seccomp_data, nr));
    const std::size_t jump = program.size();
    add(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(call.number));
    if (call.when == When::flagsInSecond || call.when == When::flagsInThird) {
      load(lowHalfOfArgument(call.when == When::flagsInSecond ? 1 : 2));
      add(BPF_JMP | BPF_JSET | BPF_K, writingFlags, 1, 0);
      add(BPF_RET | BPF_K, SECCOMP_RET_ALLOW);
    } else if (call.when == When::command) {
      load(lowHalfOfArgument(1));
      for (const Command& command : changingCommands) {
        add(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(command.value), 0, 1);
        add(BPF_RET | BPF_K, SECCOMP_RET_TRACE);
      }
      add(BPF_RET | BPF_K, SECCOMP_RET_ALLOW);
    }
    add(BPF_RET | BPF_K, SECCOMP_RET_TRACE);
    program[jump].jf = static_cast<std::uint8_t>(program.size() - jump - 1);
  }
  add(BPF_RET | BPF_K, SECCOMP_RET_ALLOW);
  return program;
}

std::string textAt(pid_t process, std::uint64_t address) {
  std::string text;
  std::array<char, 256> piece{};
  while (text.size() < 8192) {
    // Never across a page's end: the next page may not be there.
    const std::size_t length = std::min<std::size_t>(piece.size(), 4096 - address % 4096);
    const iovec local{piece.data(), length};
    const iovec remote{reinterpret_cast<void*>(address), length};  // NOLINT(performance-no-int-to-ptr)
    if (::process_vm_readv(process, &local, 1, &remote, 1, 0) <= 0) return text;
    const std::size_t end = ::strnlen(piece.data(), length);
    text.append(piece.data(), end);
    if (end < length) return text;
    address += length;
  }
  return text;
}

std::string linkOf(const std::string& path) {
  std::error_code error;
  return std::filesystem::read_symlink(path, error);
}

std::string descriptorPath(pid_t process, std::uint64_t descriptor) {
  const int number = static_cast<int>(descriptor);
  const std::string folder = "/proc/" + std::to_string(process);
  return linkOf(number == AT_FDCWD ? folder + "/cwd" : folder + "/fd/" + std::to_string(number));
}

std::string pathAt(pid_t process, std::uint64_t folder, std::uint64_t address) {
  const std::string path = address == 0 ? "" : textAt(process, address);
  if (!path.empty() && path[0] == '/') return path;
  const std::string base = descriptorPath(process, folder);
  return path.empty() ? base : base + "/" + path;
}

std::string programName(pid_t process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/comm");
  std::string name;
  std::getline(file, name);
  return name;
}

std::string contents(const FileDescriptor& fd) {
  std::string bytes;
  std::array<char, 65536> piece{};
  ssize_t count = 0;
  while ((count = ::pread(fd.get(), piece.data(), piece.size(), static_cast<off_t>(bytes.size()))) > 0) {
    bytes.append(piece.data(), static_cast<std::size_t>(count));
  }
  return bytes;
}

int exitStatus(int status) {
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace

std::optional<std::string> KillAt::unavailable() {
  static const std::optional<std::string> reason = []() -> std::optional<std::string> {
    try {
      const Result result = run({.argv = {"sh", "-c", ": >/dev/full"}});
      if (result.total < 1) return "this machine does not let processes be traced";
      return std::nullopt;
    } catch (const std::exception& error) {
      return std::string("this machine does not let processes be traced: ") + error.what();
    }
  }();
  return reason;
}

KillAt::Result KillAt::run(const Options& options) {
  KillAt killAt(options);
  killAt.wait();
  if (!killAt.waitForTree(options.timeoutSeconds)) throw std::runtime_error("processes of the run don't end");
  return killAt.result();
}

KillAt::KillAt(Options options)
    : options_(std::move(options)),
      output_(::memfd_create("output", MFD_CLOEXEC)),
      error_(::memfd_create("error", MFD_CLOEXEC)),
      tracer_([this] { traceTree(); }) {
  std::unique_lock guard(lock_);
  changed_.wait(guard, [&] { return started_; });
  if (!startFailure_.empty()) {
    guard.unlock();
    tracer_.join();
    throw std::runtime_error(startFailure_);
  }
}

KillAt::~KillAt() {
  killTree();
  if (tracer_.joinable()) tracer_.join();
}

KillAt::Result KillAt::wait() {
  std::unique_lock guard(lock_);
  const auto limit = std::chrono::seconds(options_.timeoutSeconds);
  if (!changed_.wait_for(guard, limit, [&] { return mainEnded_; })) {
    guard.unlock();
    killTree();
    throw std::runtime_error(options_.argv.at(0) + " does not end");
  }
  guard.unlock();
  return result();
}

bool KillAt::waitForTree(int seconds) {
  std::unique_lock guard(lock_);
  return changed_.wait_for(guard, std::chrono::seconds(seconds), [&] { return treeEnded_; });
}

KillAt::Result KillAt::result() const {
  const std::lock_guard guard(lock_);
  Result result = result_;
  result.out = contents(output_);
  result.err = contents(error_);
  return result;
}

/// A tracee answers only to the thread that traces it, so this one does all of it, from the start to the last
/// end.
void KillAt::traceTree() {
  try {
    start();
  } catch (const std::exception& error) {
    const std::lock_guard guard(lock_);
    startFailure_ = error.what();
    started_ = true;
    changed_.notify_all();
    return;
  }
  for (;;) {
    int status = 0;
    const pid_t thread = ::waitpid(-1, &status, __WALL | __WNOTHREAD);
    if (thread < 0 && errno == EINTR) continue;
    if (thread < 0) break;
    if (WIFSTOPPED(status)) {
      handleStop(thread, status);
    } else {
      ended(thread, status);
    }
  }
  const std::lock_guard guard(lock_);
  mainEnded_ = true;
  treeEnded_ = true;
  changed_.notify_all();
}

void KillAt::start() {
  const std::optional<std::string> program = findProgram(options_.argv.at(0));
  if (!program) throw std::runtime_error(options_.argv[0] + " is not installed");
  std::vector<std::string> arguments = options_.argv;
  std::vector<char*> argumentPointers;
  for (std::string& argument : arguments) argumentPointers.push_back(argument.data());
  argumentPointers.push_back(nullptr);
  // The leak checker of an instrumented program would be a second tracer, which can not be.
  std::vector<std::pair<std::string, std::string>> additions = {{"ASAN_OPTIONS", "detect_leaks=0"}};
  additions.insert(additions.end(), options_.environment.begin(), options_.environment.end());
  std::vector<std::string> environment = environmentWith(additions);
  std::vector<char*> environmentPointers;
  for (std::string& entry : environment) environmentPointers.push_back(entry.data());
  environmentPointers.push_back(nullptr);
  std::vector<sock_filter> filter = filterProgram();
  const sock_fprog filterArgument{static_cast<unsigned short>(filter.size()), filter.data()};
  std::array<int, 2> go{};
  if (::pipe2(go.data(), O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "pipe2");
  const FileDescriptor goRead(go[0]);
  FileDescriptor goWrite(go[1]);
  const FileDescriptor input(::open("/dev/null", O_RDONLY | O_CLOEXEC));

  const pid_t child = ::fork();
  if (child < 0) throw std::system_error(errno, std::generic_category(), "fork");
  if (child == 0) {
    goWrite.reset();
    char byte = 0;
    if (::read(goRead.get(), &byte, 1) != 1) ::_exit(126);
    ::dup2(input.get(), 0);
    ::dup2(output_.get(), 1);
    ::dup2(error_.get(), 2);
    if (options_.setup) options_.setup();
    // Root needs no such promise, and without it set-id programs keep working.
    if (::geteuid() != 0 && ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) ::_exit(126);
    if (::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filterArgument) != 0) ::_exit(126);
    ::execve(program->c_str(), argumentPointers.data(), environmentPointers.data());
    ::_exit(127);
  }
  constexpr long traceOptions = PTRACE_O_TRACEFORK | PTRACE_O_TRACEVFORK | PTRACE_O_TRACECLONE |
                                PTRACE_O_TRACEEXEC | PTRACE_O_TRACESECCOMP | PTRACE_O_EXITKILL;
  if (::ptrace(PTRACE_SEIZE, child, nullptr, traceOptions) != 0) {
    const int code = errno;
    goWrite.reset();
    ::waitpid(child, nullptr, __WALL);
    throw std::system_error(code, std::generic_category(), "ptrace");
  }
  {
    const std::lock_guard guard(lock_);
    main_ = child;
    threads_.insert(child);
    started_ = true;
    changed_.notify_all();
  }
  if (::write(goWrite.get(), "g", 1) != 1) ::kill(child, SIGKILL);
}

void KillAt::handleStop(pid_t thread, int status) {
  bool killed = false;
  {
    const std::lock_guard guard(lock_);
    threads_.insert(thread);
    killed = killAll_;
  }
  if (killed) ::kill(thread, SIGKILL);
  const int event = status >> 16;
  const int signal = WSTOPSIG(status);
  if (event == PTRACE_EVENT_SECCOMP) {
    if (const auto call = changingCall(thread)) countCall(thread, *call);
  } else if (event == PTRACE_EVENT_EXEC) {
    if (mainRuns_) countCall(thread, "start " + linkOf("/proc/" + std::to_string(thread) + "/exe"));
    mainRuns_ = true;
  } else if (event == PTRACE_EVENT_STOP && signal != SIGTRAP) {
    ::ptrace(PTRACE_LISTEN, thread, nullptr, nullptr);
    return;
  }
  // A stop without an event is a signal on its way, which the program gets.
  ::ptrace(PTRACE_CONT, thread, nullptr, event == 0 ? static_cast<long>(signal) : 0L);
}

/// The stopped call has not been executed. No other process of the tree can execute a counted one meanwhile,
/// since each of them waits for this thread.
void KillAt::countCall(pid_t thread, const std::string& call) {
  bool kill = false;
  {
    const std::lock_guard guard(lock_);
    if (killAll_) return;
    const std::string described = call + " [" + programName(thread) + "]";
    ++result_.total;
    if (options_.recordCalls) result_.calls.push_back(described);
    if (result_.total == options_.killAt && !mainEnded_) {
      kill = true;
      result_.killed = true;
      result_.call = described;
    }
  }
  if (!kill) return;
  if (options_.mode == Mode::all) {
    killTree();
  } else {
    ::kill(main_, SIGKILL);
  }
}

void KillAt::ended(pid_t thread, int status) {
  const std::lock_guard guard(lock_);
  threads_.erase(thread);
  if (thread != main_) return;
  result_.status = exitStatus(status);
  mainEnded_ = true;
  changed_.notify_all();
}

void KillAt::killTree() {
  const std::lock_guard guard(lock_);
  killAll_ = true;
  for (const pid_t thread : threads_) ::kill(thread, SIGKILL);
}

bool KillAt::isIgnored(const std::string& path) const {
  static const std::array<std::string, 4> never = {"/dev/null", "/dev/tty", "/proc/", "/dev/pts/"};
  const auto begins = [&](const std::string& prefix) { return path.compare(0, prefix.size(), prefix) == 0; };
  return std::any_of(never.begin(), never.end(), begins) ||
         std::any_of(options_.ignoredPaths.begin(), options_.ignoredPaths.end(), begins);
}

/// The call a thread is stopped before, as text; nothing when it is none that counts.
std::optional<std::string> KillAt::changingCall(pid_t thread) const {
  __ptrace_syscall_info info{};
  if (::ptrace(PTRACE_GET_SYSCALL_INFO, thread, sizeof info, &info) <= 0) return std::nullopt;
  if (info.op != PTRACE_SYSCALL_INFO_SECCOMP) return std::nullopt;
  const auto& arguments = info.seccomp.args;
  const auto* call = std::find_if(
      std::begin(changingCalls), std::end(changingCalls),
      [&](const Call& candidate) { return static_cast<std::uint64_t>(candidate.number) == info.seccomp.nr; });
  if (call == std::end(changingCalls)) return std::nullopt;

  std::string name = call->name;
  if (call->when == When::openHow) {
    open_how how{};
    const iovec local{&how, sizeof how};
    const iovec remote{reinterpret_cast<void*>(arguments[2]),
                       sizeof how};  // NOLINT(performance-no-int-to-ptr)
    if (::process_vm_readv(thread, &local, 1, &remote, 1, 0) > 0 && (how.flags & writingFlags) == 0)
      return std::nullopt;
  } else if (call->when == When::command) {
    for (const Command& command : changingCommands) {
      if (static_cast<std::uint32_t>(command.value) == static_cast<std::uint32_t>(arguments[1])) {
        name += std::string(" ") + command.name;
      }
    }
  }
  std::string path, second;
  const auto here = static_cast<std::uint64_t>(AT_FDCWD);
  switch (call->shape) {
    case Shape::path:
      path = pathAt(thread, here, arguments[0]);
      break;
    case Shape::twoPaths:
      path = pathAt(thread, here, arguments[0]);
      second = pathAt(thread, here, arguments[1]);
      break;
    case Shape::secondPath:
      path = pathAt(thread, here, arguments[1]);
      break;
    case Shape::at:
      path = pathAt(thread, arguments[0], arguments[1]);
      break;
    case Shape::twoAt:
      path = pathAt(thread, arguments[0], arguments[1]);
      second = pathAt(thread, arguments[2], arguments[3]);
      break;
    case Shape::textAt:
      path = pathAt(thread, arguments[1], arguments[2]);
      break;
    case Shape::descriptor:
      path = descriptorPath(thread, arguments[0]);
      break;
    case Shape::sourceTarget:
      path = textAt(thread, arguments[0]);
      second = pathAt(thread, here, arguments[1]);
      break;
    case Shape::nothing:
      break;
  }
  if (isIgnored(path)) return std::nullopt;
  return name + " " + path + (second.empty() ? "" : " -> " + second);
}

}  // namespace fernwahrung
