#include "support/Eventually.h"

#include "Foundation/FileDescriptor.h"
#include "Foundation/Host.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <thread>

namespace fernwahrung {
namespace {

std::atomic<int> signals = 0;

/// While it lives, SIGUSR1 interrupts a waiting system call.
class Interrupting {
 public:
  Interrupting() {
    struct sigaction action {};
    action.sa_handler = [](int) { ++signals; };  // without SA_RESTART
    ::sigaction(SIGUSR1, &action, &before_);
    signals = 0;
  }
  ~Interrupting() { ::sigaction(SIGUSR1, &before_, nullptr); }

 private:
  struct sigaction before_ {};
};

/// The bytes that lie in the pipe.
int waiting(int pipe) {
  int count = 0;
  ::ioctl(pipe, FIONREAD, &count);
  return count;
}

TEST(FileDescriptor, aWriteThatWasCutShortGoesOnWithTheRest) {
  const Interrupting interrupting;
  auto [readEnd, writeEnd] = Host::makePipe();
  const std::string text(1 << 20, 'x');
  bool wrote = false;
  std::thread writer([&, end = std::move(writeEnd)] { wrote = writeAll(end.get(), text + "end"); });
  // The pipe is full, so the call has carried a part, and the signal makes it return that part's length.
  const bool full = eventually([&, fd = readEnd.get()] { return waiting(fd) >= 1 << 16; });
  ::pthread_kill(writer.native_handle(), SIGUSR1);
  const bool interrupted = eventually([] { return signals > 0; });
  const auto read = readToEnd(readEnd.get());
  writer.join();
  EXPECT_TRUE(full && interrupted);
  EXPECT_TRUE(wrote);
  EXPECT_EQ(read, text + "end");
}

TEST(FileDescriptor, aReadThatWasInterruptedBeginsAgain) {
  const Interrupting interrupting;
  auto [readEnd, writeEnd] = Host::makePipe();
  std::optional<std::string> read;
  std::thread reader([&, end = std::move(readEnd)] { read = readToEnd(end.get()); });
  ASSERT_TRUE(writeAll(writeEnd.get(), "first "));
  // With nothing left in the pipe the reader waits, or is about to.
  EXPECT_TRUE(eventually([&, fd = writeEnd.get()] { return waiting(fd) == 0; }));
  for (int round = 1; round <= 20; ++round) {
    ::pthread_kill(reader.native_handle(), SIGUSR1);
    EXPECT_TRUE(eventually([&] { return signals >= round; }));
  }
  EXPECT_TRUE(writeAll(writeEnd.get(), "second"));
  writeEnd.reset();
  reader.join();
  EXPECT_EQ(read, "first second");
}

TEST(FileDescriptor, whatFailsLeavesItsReason) {
  errno = 0;
  EXPECT_EQ(readToEnd(-1), std::nullopt);
  EXPECT_EQ(errno, EBADF);
  const FileDescriptor folder(::open("/", O_RDONLY | O_CLOEXEC));
  EXPECT_EQ(readToEnd(folder.get()), std::nullopt);
  EXPECT_EQ(errno, EISDIR);
  errno = 0;
  EXPECT_FALSE(writeAll(folder.get(), "x"));
  EXPECT_EQ(errno, EBADF);
}

}  // namespace
}  // namespace fernwahrung
