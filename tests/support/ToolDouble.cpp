#include "support/ToolDouble.h"

#include "support/Eventually.h"
#include "support/Files.h"
#include "support/Program.h"

#include <cstdio>
#include <sys/stat.h>

namespace fernwahrung {
namespace {

/// Calls take their numbers by creating a folder, which only one of two can do.
std::string program(const std::string& folder) {
  return "#!/bin/sh\n"
         "double=" +
         shellQuoted(folder) + "\n" +
         R"(number=1
until mkdir "$double/calls/$number" 2>/dev/null; do number=$((number + 1)); done
: >"$double/calls/$number/writing"
[ $# -eq 0 ] || printf '%s\0' "$@" >"$double/calls/$number/writing"
mv "$double/calls/$number/writing" "$double/calls/$number/arguments"
answer="$double/call-$number"
[ -e "$answer" ] || answer="$double/default"
. "$answer"
)";
}

}  // namespace

ToolDouble::ToolDouble(const std::string& tool, const Answer& answer)
    : real_(HostTools::locate(tool)), replacement_(tool, path()) {
  makeFolder(folder_ / "calls");
  writeAnswer("default", answer);
  writeFile(path(), program(folder_.path()), 0755);
}

void ToolDouble::answer(const Answer& answer) {
  writeAnswer("default", answer);
}

void ToolDouble::answerCall(int number, const Answer& answer) {
  writeAnswer("call-" + std::to_string(number), answer);
}

/// Written aside and renamed, so that a call never sees half an answer.
void ToolDouble::writeAnswer(const std::string& name, const Answer& answer) const {
  const std::string file = folder_ / name;
  writeFile(file + ".out", answer.out);
  writeFile(file + ".err", answer.err);
  std::string script = answer.script + "\n";
  if (answer.delayMilliseconds > 0) {
    char seconds[32];
    std::snprintf(seconds, sizeof seconds, "%d.%03d", answer.delayMilliseconds / 1000,
                  answer.delayMilliseconds % 1000);
    script += "sleep " + std::string(seconds) + "\n";
  }
  script += "cat " + shellQuoted(file + ".out") + "\ncat " + shellQuoted(file + ".err") + " >&2\n";
  if (answer.neverEnds) script += "exec sleep 86400\n";
  if (answer.thenReal) script += "exec " + shellQuoted(real_) + " \"$@\"\n";
  if (answer.signal != 0) script += "kill -" + std::to_string(answer.signal) + " $$\n";
  script += "exit " + std::to_string(answer.status) + "\n";
  writeFile(file + ".new", script);
  ::rename((file + ".new").c_str(), file.c_str());
}

std::vector<std::vector<std::string>> ToolDouble::calls() const {
  std::vector<std::vector<std::string>> result;
  for (int number = 1;; ++number) {
    const std::string file = folder_ / ("calls/" + std::to_string(number) + "/arguments");
    if (!exists(file)) return result;
    std::vector<std::string>& call = result.emplace_back();
    const std::string bytes = readFile(file);
    for (std::size_t begin = 0; begin < bytes.size();) {
      const std::size_t end = bytes.find('\0', begin);
      call.push_back(bytes.substr(begin, end - begin));
      begin = end + 1;
    }
  }
}

bool ToolDouble::waitForCalls(std::size_t count, int seconds) const {
  return eventually([&] { return calls().size() >= count; }, seconds);
}

}  // namespace fernwahrung
