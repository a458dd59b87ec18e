// The one way in which the core starts a short external command and waits for it.
#pragma once

#include <cstdint>
#include <exception>
#include <string>
#include <vector>

namespace fernwahrung {

struct ShellResult {
  /// The exit code, or the number of the signal that ended the process.
  std::int32_t status = 0;
  /// The exact bytes of standard output.
  std::string stdoutBytes;
  /// Standard error as text; invalid UTF-8 is repaired.
  std::string stderrText;

  /// Standard output as text; invalid UTF-8 is repaired.
  std::string out() const;
};

/// A command that ended with a status other than 0.
class ShellError : public std::exception {
 public:
  ShellError(std::string command, std::int32_t status, std::string stderrText);

  const std::string& command() const { return command_; }
  std::int32_t status() const { return status_; }
  /// Untrimmed.
  const std::string& stderrText() const { return stderr_; }
  /// "Befehl fehlgeschlagen (Code {status}): {command}", and the trimmed standard error on a second line if
  /// any.
  const char* what() const noexcept override { return description_.c_str(); }

 private:
  std::string command_;
  std::int32_t status_;
  std::string stderr_;
  std::string description_;
};

namespace Shell {

struct Options {
  /// A status other than 0 throws ShellError.
  bool check;
  /// The command line goes to the log.
  bool log;
};

/// Runs `executable` (an absolute path of the Mac; HostTools tells where it lies on this machine) and blocks
/// until it has ended and closed its output. No shell, no search through PATH, standard input is the null
/// device, LC_ALL is C, the whole output is held in memory. Throws SystemError when the process can't be
/// started, whatever `check` says. Any thread, any number at once.
///   Shell::run("/usr/bin/hdiutil", {"info", "-plist"}, {.check = true, .log = false}).stdoutBytes
ShellResult run(const std::string& executable, const std::vector<std::string>& arguments, Options options);

/// As the log shows it: joined by blanks, elements that hold a blank in double quotes.
std::string commandLine(const std::string& executable, const std::vector<std::string>& arguments);

}  // namespace Shell
}  // namespace fernwahrung
