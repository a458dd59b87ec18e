// The programs of the Linux system that do the work: those of e2fsprogs and of FUSE.
#pragma once

#include <string>
#include <vector>

namespace fernwahrung::host {

struct ProgramOutcome {
  int status = 0;      // the exit code; 128 plus the signal's number for a death by signal
  std::string output;  // both streams, in the order of writing

  /// The last line that says something, for an error message.
  std::string lastLine() const;
};

/// Runs a program from the system's folders ("e2fsck") and waits until it has ended and closed its output.
/// Standard input is the null device, LC_ALL is C. `keptOpen` is a descriptor that the program inherits, and
/// with it the lock on the image: work that outlives a killed stand-in still keeps others away. -1 for none.
/// Throws Failure when there is no such program or it can't be started.
ProgramOutcome runProgram(const std::string& name, const std::vector<std::string>& arguments,
                          int keptOpen = -1);

}  // namespace fernwahrung::host
