#include "FernwahrungApp/Platform/EndSignals.h"

#include "Foundation/Host.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <tuple>
#include <unistd.h>

namespace fernwahrung {
namespace {

constexpr std::array endSignals = {SIGTERM, SIGINT, SIGHUP};

// A signal handler can reach nothing but what is static.
int handlersEnd = -1;
std::array<struct sigaction, endSignals.size()> before;

void note(int) {
  const int saved = errno;
  const char byte = 0;
  // A full pipe holds a wake-up already.
  [[maybe_unused]] ssize_t written = ::write(handlersEnd, &byte, 1);
  errno = saved;
}

void neverWait(const FileDescriptor& end) {
  ::fcntl(end.get(), F_SETFL, ::fcntl(end.get(), F_GETFL) | O_NONBLOCK);
}

}  // namespace

EndSignals::EndSignals() {
  std::tie(readEnd_, writeEnd_) = Host::makePipe();
  neverWait(readEnd_);
  neverWait(writeEnd_);
  handlersEnd = writeEnd_.get();
  notifier_ = std::make_unique<QSocketNotifier>(readEnd_.get(), QSocketNotifier::Read);
  connect(notifier_.get(), &QSocketNotifier::activated, this, &EndSignals::read);

  struct sigaction action = {};
  action.sa_handler = note;
  action.sa_flags = SA_RESTART;
  sigemptyset(&action.sa_mask);
  for (std::size_t i = 0; i < endSignals.size(); ++i) {
    ::sigaction(endSignals[i], nullptr, &before[i]);
    if (endSignals[i] == SIGHUP && before[i].sa_handler == SIG_IGN) continue;
    ::sigaction(endSignals[i], &action, nullptr);
  }
}

EndSignals::~EndSignals() {
  for (std::size_t i = 0; i < endSignals.size(); ++i) ::sigaction(endSignals[i], &before[i], nullptr);
}

void EndSignals::read() {
  char bytes[64];
  while (::read(readEnd_.get(), bytes, sizeof bytes) > 0) {
  }
  emit asked();
}

}  // namespace fernwahrung
