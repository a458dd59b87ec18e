#pragma once

#include "support/Program.h"

#include <optional>
#include <string>
#include <vector>

namespace fernwahrung {

/// System calls that fail although nothing is wrong with the machine.
/// Tools copy without read and write where they can, so a fault while copying names copy_file_range as well.
///   InjectFault::run({helper, "relocate", …}, {.calls = "read,pread64,copy_file_range", .error = "EIO",
///   .paths = {file}})
namespace InjectFault {

struct Fault {
  std::string calls;        // names with commas between, as strace knows them
  std::string error;        // "EIO", "ENOSPC"
  std::string when = "1+";  // "3": only the third; "3+": from the third on; counted for each thread
  std::vector<std::string> paths = {};  // only calls on exactly these; empty for all
};

/// Why it can't be done here; nothing when it can.
std::optional<std::string> unavailable();

/// Runs the program and all that it starts with the fault. A call that fails so is not executed. The result's
/// status is the program's.
ProgramResult run(const std::vector<std::string>& argv, const Fault& fault, ProgramOptions options = {});

}  // namespace InjectFault
}  // namespace fernwahrung
