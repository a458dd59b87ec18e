#include "Foundation/ChildProcess.h"

#include "Foundation/BlockingCalls.h"
#include "Foundation/Errors.h"
#include "Foundation/Host.h"
#include "Foundation/HostTools.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/wait.h>
#include <system_error>
#include <utility>

namespace fernwahrung {

namespace {

FileDescriptor openNullDevice() {
  FileDescriptor fd(::open("/dev/null", O_RDWR | O_CLOEXEC));
  if (!fd) throw SystemError("Das Nullgerät kann nicht geöffnet werden", "/dev/null", errno);
  return fd;
}

std::string readOutput(int fd) {
  auto bytes = readToEnd(fd);
  if (!bytes) throw SystemError("Die Ausgabe eines Programms kann nicht gelesen werden", "", errno);
  return std::move(*bytes);
}

std::int32_t statusOf(int waitStatus) {
  return WIFSIGNALED(waitStatus) ? WTERMSIG(waitStatus) : WEXITSTATUS(waitStatus);
}

}  // namespace

FileDescriptor ChildProcess::start(Drain& drain) {
  auto [readEnd, writeEnd] = Host::makePipe();
  drain.readEnd = std::move(readEnd);
  const auto read = [&drain] {
    try {
      drain.bytes = readOutput(drain.readEnd.get());
    } catch (...) {
      drain.failure = std::current_exception();
    }
    // A child that still writes must get an error, not block for ever.
    drain.readEnd.reset();
  };
  try {
    drain.thread = std::thread(read);
  } catch (const std::system_error& error) {
    throw SystemError("Das Programm kann nicht gestartet werden", "", error.code().value());
  }
  return std::move(writeEnd);
}

void ChildProcess::finish(Drain& drain) {
  if (!drain.thread.joinable()) return;
  BlockingCalls::announce("wait for a program");
  drain.thread.join();
}

std::string ChildProcess::take(Drain& drain) {
  finish(drain);
  if (drain.failure) std::rethrow_exception(std::exchange(drain.failure, nullptr));
  return std::exchange(drain.bytes, {});
}

ChildProcess::ChildProcess(const std::string& executable, const std::vector<std::string>& arguments,
                           Stream standardOutput, Stream standardError) {
  // The write ends outlive the start in this process and no longer: the readers see the end when the child's
  // own copies are closed.
  FileDescriptor outputEnd;
  FileDescriptor errorEnd;
  try {
    const auto nullDevice = openNullDevice();
    if (standardOutput == Stream::captured) outputEnd = start(output_);
    if (standardError == Stream::captured) errorEnd = start(error_);
    pid_ = Host::spawn(HostTools::locate(executable), arguments, nullDevice.get(),
                       outputEnd ? outputEnd.get() : nullDevice.get(),
                       errorEnd ? errorEnd.get() : nullDevice.get());
  } catch (...) {
    outputEnd.reset();
    errorEnd.reset();
    finish(output_);
    finish(error_);
    throw;
  }
}

ChildProcess::~ChildProcess() {
  try {
    wait();
  } catch (const SystemError&) {
    // Someone else has taken the child's status; there is nothing left to wait for.
  }
  finish(output_);
  finish(error_);
}

std::optional<std::int32_t> ChildProcess::poll() {
  return status_ ? status_ : reap(WNOHANG);
}

std::int32_t ChildProcess::wait() {
  if (status_) return *status_;
  BlockingCalls::announce("wait for a program");
  return reap(0).value();
}

std::optional<std::int32_t> ChildProcess::reap(int options) {
  int waitStatus = 0;
  pid_t ended = -1;
  do {
    ended = ::waitpid(pid_, &waitStatus, options);
  } while (ended < 0 && errno == EINTR);
  if (ended < 0) throw SystemError("Das Ende eines Programms kann nicht festgestellt werden", "", errno);
  if (ended == 0) return std::nullopt;
  status_ = statusOf(waitStatus);
  return status_;
}

void ChildProcess::terminate() {
  // Once it was waited for, its number may belong to another process.
  if (!status_) ::kill(-pid_, SIGTERM);
}

std::string ChildProcess::takeOutput() {
  return take(output_);
}

std::string ChildProcess::takeError() {
  return take(error_);
}

}  // namespace fernwahrung
