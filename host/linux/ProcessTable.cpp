#include "linux/ProcessTable.h"

#include "linux/Files.h"

#include "Foundation/Text.h"
#include "Platform/FileInfo.h"

#include <algorithm>
#include <filesystem>
#include <unistd.h>

namespace fernwahrung::host::ProcessTable {
namespace {

std::string folderOf(pid_t pid) {
  return "/proc/" + std::to_string(pid);
}

/// The number behind the word at the beginning of a line.
std::optional<long long> numberAfter(std::string_view text, std::string_view word, std::size_t position) {
  for (const std::string& line : Text::split(text, '\n')) {
    if (!line.starts_with(word)) continue;
    const auto fields = Text::split(Text::replacingAll(line.substr(word.size()), "\t", " "), ' ');
    return position < fields.size() ? Text::toInteger(fields[position]) : std::nullopt;
  }
  return std::nullopt;
}

/// One line for ps, whatever the path holds.
std::string printable(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c == '\n' || c == '\r'; }, '?');
  return text;
}

std::string withoutDeletedMark(std::string path) {
  constexpr std::string_view mark = " (deleted)";
  if (path.ends_with(mark) && !Platform::fileInfo(path)) path.resize(path.size() - mark.size());
  return path;
}

std::string executableOf(pid_t pid, const std::string& name) {
  if (auto path = Platform::linkText(folderOf(pid) + "/exe")) return printable(withoutDeletedMark(*path));
  // Others' processes don't show their executable; their first argument often is its path.
  const std::string arguments = fileText(folderOf(pid) + "/cmdline").value_or("");
  const std::string first = arguments.substr(0, arguments.find('\0'));
  if (first.starts_with('/')) return printable(first);
  return printable(name);
}

}  // namespace

std::optional<Stat> parseStat(std::string_view text) {
  const std::size_t open = text.find('(');
  const std::size_t close = text.rfind(')');
  if (open == std::string_view::npos || close == std::string_view::npos || close < open) return std::nullopt;
  // Behind the name: state, parent, … and the start as the twenty-second field of all.
  const auto fields = Text::split(Text::trimmed(text.substr(close + 1)), ' ');
  if (fields.size() < 20) return std::nullopt;
  const auto parent = Text::toInteger(fields[1]);
  const auto ticks = Text::toInteger(fields[19]);
  if (!parent || !ticks || *ticks < 0) return std::nullopt;
  return Stat{std::string(text.substr(open + 1, close - open - 1)), static_cast<pid_t>(*parent),
              static_cast<std::uint64_t>(*ticks)};
}

std::optional<uid_t> parseUser(std::string_view text) {
  const auto user = numberAfter(text, "Uid:", 1);
  if (!user || *user < 0) return std::nullopt;
  return static_cast<uid_t>(*user);
}

std::optional<std::int64_t> parseBootTime(std::string_view text) {
  return numberAfter(text, "btime ", 0);
}

std::optional<ProcessRecord> read(pid_t pid) {
  const auto stat = parseStat(fileText(folderOf(pid) + "/stat").value_or(""));
  const auto user = parseUser(fileText(folderOf(pid) + "/status").value_or(""));
  const auto boot = parseBootTime(fileText("/proc/stat").value_or(""));
  if (!stat || !user || !boot) return std::nullopt;
  const auto ticksPerSecond = static_cast<std::uint64_t>(::sysconf(_SC_CLK_TCK));
  return ProcessRecord{.pid = pid,
                       .parent = stat->parent,
                       .user = *user,
                       .started = *boot + static_cast<std::int64_t>(stat->startTicks / ticksPerSecond),
                       .executable = executableOf(pid, stat->name)};
}

std::vector<pid_t> pids() {
  std::vector<pid_t> found;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator("/proc", error)) {
    if (const auto pid = Text::toInteger(entry.path().filename().string()))
      found.push_back(static_cast<pid_t>(*pid));
  }
  std::sort(found.begin(), found.end());
  return found;
}

}  // namespace fernwahrung::host::ProcessTable
