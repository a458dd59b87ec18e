#include "helper/Run.h"

#include <csignal>
#include <iostream>
#include <string>
#include <sys/ioctl.h>
#include <unistd.h>
#include <vector>

namespace {

int terminalColumns() {
  winsize size = {};
  if (::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return 80;
  return size.ws_col;
}

}  // namespace

int main(int argc, char** argv) {
  // A reader that goes away must not end an operation half-way.
  std::signal(SIGPIPE, SIG_IGN);
  std::ios::sync_with_stdio(false);
  fernwahrung::Streams streams{.in = std::cin,
                               .out = std::cout,
                               .err = std::cerr,
                               .inputIsTerminal = ::isatty(STDIN_FILENO) == 1,
                               .errorIsTerminal = ::isatty(STDERR_FILENO) == 1,
                               .errorColumns = terminalColumns};
  const std::vector<std::string> arguments(argv + (argc > 0 ? 1 : 0), argv + argc);
  return static_cast<int>(fernwahrung::run(arguments, streams));
}
