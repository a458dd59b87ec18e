// What /proc tells of processes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace fernwahrung::host {

struct ProcessRecord {
  pid_t pid = 0;
  pid_t parent = 0;
  uid_t user = 0;            // the effective one
  std::int64_t started = 0;  // seconds since 1970
  std::string executable;    // the full path where it may be known; else what the process calls itself
};

namespace ProcessTable {

/// Nothing when there is no such process.
std::optional<ProcessRecord> read(pid_t pid);
/// All of them, by ascending pid.
std::vector<pid_t> pids();

struct Stat {
  std::string name;
  pid_t parent = 0;
  std::uint64_t startTicks = 0;  // since the machine was started

  bool operator==(const Stat&) const = default;
};
/// The text of "/proc/PID/stat", in which the name may hold blanks and parentheses.
std::optional<Stat> parseStat(std::string_view text);

/// The effective user in the text of "/proc/PID/status".
std::optional<uid_t> parseUser(std::string_view text);

/// When the machine was started, in the text of "/proc/stat".
std::optional<std::int64_t> parseBootTime(std::string_view text);

}  // namespace ProcessTable
}  // namespace fernwahrung::host
