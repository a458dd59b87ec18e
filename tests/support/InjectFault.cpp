#include "support/InjectFault.h"

namespace fernwahrung::InjectFault {

std::optional<std::string> unavailable() {
  static const std::optional<std::string> reason = []() -> std::optional<std::string> {
    if (!findProgram("strace")) return "strace is not installed";
    const ProgramResult result =
        run({"cat", "/dev/zero"}, {.calls = "read", .error = "EIO", .paths = {"/dev/zero"}});
    if (result.status != 1) return "this machine does not let processes be traced: " + result.err;
    return std::nullopt;
  }();
  return reason;
}

ProgramResult run(const std::vector<std::string>& argv, const Fault& fault, ProgramOptions options) {
  std::vector<std::string> command = {"strace", "-f", "-qq", "-o", "/dev/null"};
  for (const std::string& path : fault.paths) {
    command.emplace_back("-P");
    command.push_back(path);
  }
  command.insert(command.end(), {"-e", "trace=" + fault.calls, "-e",
                                 "inject=" + fault.calls + ":error=" + fault.error + ":when=" + fault.when});
  command.insert(command.end(), argv.begin(), argv.end());
  // The leak checker of an instrumented program would be a second tracer, which can not be.
  options.environment.insert(options.environment.begin(), {"ASAN_OPTIONS", "detect_leaks=0"});
  return runProgram(command, options);
}

}  // namespace fernwahrung::InjectFault
