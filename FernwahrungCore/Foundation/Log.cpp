#include "Foundation/Log.h"

#include "Foundation/BlockingCalls.h"
#include "Foundation/Clock.h"
#include "Foundation/Dates.h"
#include "Foundation/FileDescriptor.h"
#include "Foundation/PathString.h"
#include "Foundation/Paths.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <fmt/format.h>
#include <mutex>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fernwahrung::Log {

namespace {

constexpr off_t rotationSize = 5'000'000;

std::mutex lock;

void makeFolderOf(const std::string& file) {
  try {
    Paths::ensure(PathString::parent(file));
  } catch (const std::exception&) {
    // Opening the file will fail in turn, and the line is lost.
  }
}

bool isTooLarge(const std::string& file) {
  struct stat info {};
  return ::stat(file.c_str(), &info) == 0 && info.st_size > rotationSize;
}

void rotateIfTooLarge(const std::string& file) {
  if (!isTooLarge(file)) return;
  // Two processes may come here at once, and the second must not put the first one's new log over the old
  // generation. Who finds the folder locked leaves the renaming to the other; where a file system has no such
  // locks, the risk is taken.
  const FileDescriptor folder(::open(PathString::parent(file).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (folder && ::flock(folder.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) return;
  if (isTooLarge(file)) std::rename(file.c_str(), (file + ".1").c_str());
}

/// One write call per line, at the file's end, so that the lines of two processes never mix; more calls only
/// where the system takes less than the line.
void append(const std::string& file, const std::string& line) {
  const FileDescriptor fd(::open(file.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644));
  if (fd) writeAll(fd.get(), line);
}

}  // namespace

void write(std::string_view message) noexcept {
  try {
    BlockingCalls::announce("log");
    const std::scoped_lock guard(lock);
    const auto file = Paths::logFile();
    makeFolderOf(file);
    rotateIfTooLarge(file);
    append(file, fmt::format("{} [{}] {}\n", Dates::logStamp(Clock::now()), ::getpid(), message));
  } catch (...) {
    // Logging must never harm the operation that logs.
  }
}

}  // namespace fernwahrung::Log
