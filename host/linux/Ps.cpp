#include "linux/ProcessTable.h"
#include "linux/Tools.h"

#include "Foundation/Text.h"

#include <array>
#include <ctime>
#include <fmt/format.h>
#include <iostream>

namespace fernwahrung::host {
namespace {

/// As date and ps write it, in the C locale whatever the caller's is.
std::string startText(const ProcessRecord& process) {
  const std::time_t started = process.started;
  std::tm parts{};
  char text[32] = "";
  std::strftime(text, sizeof text, "%a %b %e %H:%M:%S %Y", ::localtime_r(&started, &parts));
  return text;
}

struct Column {
  std::string_view keyword;
  std::string (*text)(const ProcessRecord&);
};
constexpr std::array columns = {
    Column{"pid=", [](const ProcessRecord& process) { return fmt::format("{:>5}", process.pid); }},
    Column{"ppid=", [](const ProcessRecord& process) { return fmt::format("{:>5}", process.parent); }},
    Column{"uid=", [](const ProcessRecord& process) { return fmt::format("{:>5}", process.user); }},
    Column{"lstart=", startText},
    Column{"comm=", [](const ProcessRecord& process) { return process.executable; }},
};

[[noreturn]] void refuse() {
  throw Failure("usage: ps -p pid -o keywords | ps -axo keywords");
}

const Column& columnNamed(const std::string& keyword) {
  for (const Column& column : columns) {
    if (column.keyword == keyword) return column;
  }
  throw Failure("ps: " + keyword + ": keyword not found");
}

std::vector<Column> chosenColumns(const std::string& keywords) {
  std::vector<Column> chosen;
  for (const std::string& keyword : Text::split(keywords, ',')) chosen.push_back(columnNamed(keyword));
  if (chosen.empty()) refuse();
  return chosen;
}

void printLine(const ProcessRecord& process, const std::vector<Column>& chosen) {
  std::vector<std::string> texts;
  for (const Column& column : chosen) texts.push_back(column.text(process));
  std::cout << Text::join(texts, " ") << '\n';
}

}  // namespace

int ps(const Arguments& arguments) {
  std::vector<pid_t> pids;
  if (arguments.size() == 4 && arguments[0] == "-p" && arguments[2] == "-o") {
    const auto pid = Text::toInteger<pid_t>(arguments[1]);
    if (!pid || *pid <= 0) refuse();
    pids.push_back(*pid);
  } else if (arguments.size() == 2 && arguments[0] == "-axo") {
    pids = ProcessTable::pids();
  } else {
    refuse();
  }
  const std::vector<Column> chosen = chosenColumns(arguments.back());
  bool any = false;
  for (const pid_t pid : pids) {
    if (const auto process = ProcessTable::read(pid)) {
      printLine(*process, chosen);
      any = true;
    }
  }
  std::cout.flush();
  return any ? 0 : 1;
}

}  // namespace fernwahrung::host
