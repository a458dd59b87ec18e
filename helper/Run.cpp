#include "helper/Run.h"

#include "helper/CommandTable.h"
#include "helper/Failure.h"
#include "helper/Help.h"
#include "helper/TextColumns.h"

#include "Foundation/Text.h"

#include <algorithm>
#include <fmt/format.h>
#include <ostream>

namespace fernwahrung {

namespace {

struct CommonFlags {
  bool json = false;
  bool verbose = false;
  bool help = false;

  void declare(Arguments& arguments) {
    arguments.flag("--json", "ein JSON-Dokument statt Text ausgeben", json);
    arguments.flag("--verbose", "den Fortschritt auch ohne Terminal zeigen, eine Zeile je Schritt", verbose);
    arguments.flag("--help", "diese Hilfe zeigen", help);
  }
};

const CommandEntry& knownCommand(const std::string& name) {
  if (const CommandEntry* entry = findCommand(name)) return *entry;
  throw UsageError(
      fmt::format("Unbekannter Befehl „{}“. Alle Befehle zeigt: fernwahrung help", visible(name)));
}

void parse(Arguments& arguments, const std::vector<std::string>& given, const CommandEntry& entry,
           const CommonFlags& flags) {
  try {
    arguments.parse(given);
    if (!flags.help) arguments.checkComplete();
  } catch (const UsageError& error) {
    throw UsageError(fmt::format("{} Mehr dazu: fernwahrung help {}", error.what(), entry.name));
  }
}

ExitCode runCommand(const CommandEntry& entry, const std::vector<std::string>& given, Streams& streams) {
  const auto command = entry.make();
  Arguments arguments;
  CommonFlags flags;
  command->declare(arguments);
  flags.declare(arguments);
  parse(arguments, given, entry, flags);
  if (flags.help) {
    streams.out << commandHelp(entry, arguments);
    return ExitCode::done;
  }
  Session session(streams, flags.json, flags.verbose);
  return command->run(session);
}

ExitCode showHelp(const std::vector<std::string>& about, Streams& streams) {
  if (about.size() > 1) throw UsageError(fmt::format("Unerwartetes Argument „{}“.", visible(about[1])));
  if (about.empty()) {
    streams.out << overview();
    return ExitCode::done;
  }
  return runCommand(knownCommand(about.front()), {"--help"}, streams);
}

ExitCode dispatch(const std::vector<std::string>& arguments, Streams& streams) {
  if (!std::all_of(arguments.begin(), arguments.end(),
                   [](const auto& text) { return Text::isValidUtf8(text); }))
    throw UsageError("Ein Argument ist kein gültiger UTF-8-Text.");
  if (arguments.empty()) {
    streams.err << overview();
    return ExitCode::usage;
  }
  const std::string& verb = arguments.front();
  const std::vector<std::string> rest(arguments.begin() + 1, arguments.end());
  if (verb == "help" || verb == "--help" || verb == "-h") return showHelp(rest, streams);
  if (verb == "--version") {
    streams.out << "fernwahrung " FERNWAHRUNG_VERSION "\n";
    return ExitCode::done;
  }
  return runCommand(knownCommand(verb), rest, streams);
}

}  // namespace

ExitCode run(const std::vector<std::string>& arguments, Streams& streams) {
  Failure failure;
  try {
    const ExitCode code = dispatch(arguments, streams);
    // What a script was to read and did not get is a failure, whatever else succeeded.
    if (streams.out.flush()) return code;
    failure.message = "Die Ausgabe konnte nicht geschrieben werden.";
  } catch (const std::exception& error) {
    failure = describe(error);
  }
  streams.err << failure.message << std::endl;
  return failure.code;
}

}  // namespace fernwahrung
