// Starting a program from a test, independent of the runner under test.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace fernwahrung {

struct ProgramResult {
  int status = 0;  // the exit code; 128 plus the signal's number for a death by signal
  std::string out;
  std::string err;
};

struct ProgramOptions {
  std::string input = {};                                             // standard input
  std::vector<std::pair<std::string, std::string>> environment = {};  // on top of the present one
  std::string folder = {};  // working folder; empty for the present one
};

/// Searches PATH and the system's administration folders for argv[0]. Throws std::system_error when the
/// program can't be started. Waits for its end.
///   runProgram({"cp", "-a", from, to}).status
ProgramResult runProgram(const std::vector<std::string>& argv, const ProgramOptions& options = {});

/// The same for a program that must succeed; throws std::runtime_error with its standard error otherwise.
std::string mustRun(const std::vector<std::string>& argv, const ProgramOptions& options = {});

/// The present environment with these variables set, as "NAME=value".
std::vector<std::string> environmentWith(const std::vector<std::pair<std::string, std::string>>& additions);

/// The program's full path, if it is installed.
std::optional<std::string> findProgram(const std::string& name);

/// Copies a program that was built into a folder, which is made, together with the stand-ins for the Mac's
/// tools, which it looks for beside itself in "host-tools". For a user who can't reach the folder of the
/// build, and for a test that replaces a tool. Gives the copy's path.
std::string copyProgramWithTools(const std::string& program, const std::string& folder);

/// In single quotes for sh.
std::string shellQuoted(std::string_view text);

}  // namespace fernwahrung
