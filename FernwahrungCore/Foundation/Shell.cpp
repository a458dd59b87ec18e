#include "Foundation/Shell.h"

#include "Foundation/ChildProcess.h"
#include "Foundation/Log.h"
#include "Foundation/Text.h"

#include <fmt/format.h>

namespace fernwahrung {

namespace {

std::string describe(const std::string& command, std::int32_t status, const std::string& stderrText) {
  auto description = fmt::format("Befehl fehlgeschlagen (Code {}): {}", status, command);
  if (const auto trimmed = Text::trimmed(stderrText); !trimmed.empty()) description += '\n' + trimmed;
  return description;
}

std::string quoted(const std::string& element) {
  return element.find(' ') == std::string::npos ? element : '"' + element + '"';
}

}  // namespace

std::string ShellResult::out() const {
  return Text::repairedUtf8(stdoutBytes);
}

ShellError::ShellError(std::string command, std::int32_t status, std::string stderrText)
    : command_(std::move(command)),
      status_(status),
      stderr_(std::move(stderrText)),
      description_(describe(command_, status_, stderr_)) {
}

std::string Shell::commandLine(const std::string& executable, const std::vector<std::string>& arguments) {
  auto line = quoted(executable);
  for (const auto& argument : arguments) line += ' ' + quoted(argument);
  return line;
}

ShellResult Shell::run(const std::string& executable, const std::vector<std::string>& arguments,
                       Options options) {
  const auto line = commandLine(executable, arguments);
  if (options.log) Log::write("$ " + line);

  ChildProcess child(executable, arguments, ChildProcess::Stream::captured, ChildProcess::Stream::captured);
  ShellResult result;
  result.status = child.wait();
  result.stdoutBytes = child.takeOutput();
  result.stderrText = Text::repairedUtf8(child.takeError());
  if (result.status == 0) return result;

  if (options.log || options.check) {
    Log::write(fmt::format("  -> Code {}: {}", result.status, Text::trimmed(result.stderrText)));
  }
  if (options.check) throw ShellError(line, result.status, std::move(result.stderrText));
  return result;
}

}  // namespace fernwahrung
