#include "helper/Interruption.h"

#include "Foundation/Host.h"

#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <tuple>
#include <unistd.h>
#include <utility>

namespace fernwahrung {

namespace {

// The handler may do nothing but write to a descriptor; the thread at the other end does the rest.
std::atomic<int> wakeUp = -1;
static_assert(std::atomic<int>::is_always_lock_free);

void noteSignal(int) {
  const int savedErrno = errno;
  const char byte = 0;
  // A full pipe means that the wish is known already.
  [[maybe_unused]] const auto written = ::write(wakeUp.load(), &byte, 1);
  errno = savedErrno;
}

}  // namespace

Interruption::Interruption(std::function<void()> wish) {
  std::tie(readEnd_, writeEnd_) = Host::makePipe();
  ::fcntl(writeEnd_.get(), F_SETFL, O_NONBLOCK);
  wakeUp = writeEnd_.get();
  thread_ = std::thread([this, wish = std::move(wish)] {
    char byte = 0;
    for (;;) {
      const auto count = ::read(readEnd_.get(), &byte, 1);
      if (count < 0 && errno == EINTR) continue;
      if (count <= 0) return;
      if (!cameIn_) wish();
      cameIn_ = true;
    }
  });
  struct sigaction action = {};
  action.sa_handler = noteSignal;
  action.sa_flags = SA_RESTART;
  sigemptyset(&action.sa_mask);  // a macro on the Mac
  for (std::size_t i = 0; i < signals.size(); ++i) {
    ::sigaction(signals[i], nullptr, &old_[i]);
    if (signals[i] == SIGHUP && old_[i].sa_handler == SIG_IGN) continue;
    ::sigaction(signals[i], &action, nullptr);
  }
}

Interruption::~Interruption() {
  // First nobody writes any more, then the thread meets the end of the pipe, having read all that came.
  struct sigaction ignore = {};
  ignore.sa_handler = SIG_IGN;
  for (const int signal : signals) ::sigaction(signal, &ignore, nullptr);
  wakeUp = -1;
  writeEnd_.reset();
  thread_.join();
  if (cameIn_) return;
  for (std::size_t i = 0; i < signals.size(); ++i) ::sigaction(signals[i], &old_[i], nullptr);
}

}  // namespace fernwahrung
