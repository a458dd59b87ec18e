// Kills a program right before its N-th changing system call, by hand:
//   killat [--at N] [--all] [--list] PROGRAM [ARGUMENT …]
#include "support/KillAt.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>

int main(int count, char** arguments) {
  using fernwahrung::KillAt;
  KillAt::Options options;
  int index = 1;
  for (; index < count && arguments[index][0] == '-'; ++index) {
    if (std::strcmp(arguments[index], "--all") == 0) {
      options.mode = KillAt::Mode::all;
    } else if (std::strcmp(arguments[index], "--list") == 0) {
      options.recordCalls = true;
    } else if (std::strcmp(arguments[index], "--at") == 0 && index + 1 < count) {
      options.killAt = std::atoi(arguments[++index]);
    } else {
      break;
    }
  }
  options.argv.assign(arguments + index, arguments + count);
  if (options.argv.empty() || options.argv[0][0] == '-') {
    std::fprintf(stderr, "usage: killat [--at N] [--all] [--list] PROGRAM [ARGUMENT …]\n");
    return 2;
  }
  try {
    const KillAt::Result result = KillAt::run(options);
    std::fwrite(result.out.data(), 1, result.out.size(), stdout);
    std::fwrite(result.err.data(), 1, result.err.size(), stderr);
    int number = 0;
    for (const std::string& call : result.calls) std::fprintf(stderr, "%5d %s\n", ++number, call.c_str());
    std::fprintf(stderr, "%d changing calls, status %d%s%s\n", result.total, result.status,
                 result.killed ? ", killed before " : "", result.call.c_str());
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "killat: %s\n", error.what());
    return 1;
  }
}
