#include "FernwahrungApp/Platform/EndSignals.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>

namespace fernwahrung {
namespace {

constexpr std::array endSignals = {SIGTERM, SIGINT, SIGHUP};

// A signal handler can reach nothing but what is static.
int readEnd = -1;
int writeEnd = -1;
std::array<struct sigaction, endSignals.size()> before;

void note(int) {
  const int saved = errno;
  const char byte = 0;
  // A full pipe holds a wake-up already.
  [[maybe_unused]] ssize_t written = ::write(writeEnd, &byte, 1);
  errno = saved;
}

void setUp(int descriptor) {
  ::fcntl(descriptor, F_SETFD, FD_CLOEXEC);
  ::fcntl(descriptor, F_SETFL, ::fcntl(descriptor, F_GETFL) | O_NONBLOCK);
}

}  // namespace

EndSignals::EndSignals() {
  int ends[2];
  if (::pipe(ends) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
  readEnd = ends[0];
  writeEnd = ends[1];
  setUp(readEnd);
  setUp(writeEnd);
  notifier_ = std::make_unique<QSocketNotifier>(readEnd, QSocketNotifier::Read);
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
  notifier_.reset();
  ::close(readEnd);
  ::close(writeEnd);
}

void EndSignals::read() {
  char bytes[64];
  while (::read(readEnd, bytes, sizeof bytes) > 0) {
  }
  emit asked();
}

}  // namespace fernwahrung
