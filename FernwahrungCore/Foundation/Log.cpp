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

void rotateIfTooLarge(const std::string& file) {
  struct stat info {};
  if (::stat(file.c_str(), &info) == 0 && info.st_size > rotationSize) {
    std::rename(file.c_str(), (file + ".1").c_str());
  }
}

/// One write call per line, at the file's end, so that the lines of two processes never mix.
void append(const std::string& file, const std::string& line) {
  BlockingCalls::announce("log");
  const FileDescriptor fd(::open(file.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644));
  if (!fd) return;
  while (::write(fd.get(), line.data(), line.size()) < 0 && errno == EINTR) {
  }
}

}  // namespace

void write(std::string_view message) noexcept {
  try {
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
