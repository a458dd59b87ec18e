#include "helper/CommandTable.h"
#include "helper/Failure.h"
#include "helper/Interruption.h"
#include "helper/PlanCheck.h"
#include "helper/TextColumns.h"

#include "Engine/Relocate.h"
#include "Foundation/Errors.h"
#include "Foundation/Text.h"

#include <cstdlib>
#include <fmt/format.h>
#include <istream>
#include <ostream>

namespace fernwahrung {

namespace {

/// The question stands on standard error, so that a document on standard output stays alone.
bool agreed(Streams& streams) {
  streams.err << "Jetzt fernwahren? [j/N] " << std::flush;
  std::string answer;
  if (!std::getline(streams.in, answer)) streams.err << "\n";
  answer = Text::trimmed(answer);
  return answer == "j" || answer == "J" || answer == "ja" || answer == "Ja";
}

constexpr auto details =
    "Die Daten werden kopiert, Datei für Datei verglichen und erst dann an die Stelle des\n"
    "Originals gesetzt. Das Original bleibt umbenannt daneben liegen. Im Terminal wird vorher\n"
    "gefragt.";

class RelocateCommand : public Command {
 public:
  void declare(Arguments& arguments) override {
    options_.declare(arguments);
    arguments.flag("--yes", "nicht fragen", yes_);
  }

  ExitCode run(Session& session) override {
    const PlanCheck check = agreedCheck(session.streams());
    const Relocation relocation = relocate(check.plan, session);
    if (session.json()) session.printJson(toJson(relocation));
    session.say(fmt::format("„{}“: {} → {}", visible(relocation.name), visible(relocation.sourcePath),
                            visible(relocation.storagePath)));
    session.say(
        "Ferngewahrt. "
        "Das Original bleibt umbenannt erhalten, bis du es in den Papierkorb legst – teste vorher die App.");
    if (relocation.originalBackupPath)
      session.say(fmt::format("Original: {}", visible(*relocation.originalBackupPath)));
    return ExitCode::done;
  }

 private:
  /// Nothing has begun yet, so a signal needs no cancellation point: it ends the program, also out of the
  /// question, which would wait for its answer.
  PlanCheck agreedCheck(Streams& streams) const {
    const Interruption interruption([&streams] {
      streams.err << "\n" << FernwahrungError::cancelled().what() << std::endl;
      std::_Exit(static_cast<int>(ExitCode::cancelled));
    });
    PlanCheck check = options_.check();
    if (check.isBlocked()) throw BlockedError(check.result.blockers);
    confirm(check, streams);
    return check;
  }

  /// Asks a person; a script has decided already, and only gets to read the warnings.
  void confirm(const PlanCheck& check, Streams& streams) const {
    const bool asks = !yes_ && streams.inputIsTerminal && streams.errorIsTerminal;
    if (asks) {
      streams.err << check.text();
      if (!agreed(streams)) throw FernwahrungError::cancelled();
      return;
    }
    for (const std::string& warning : check.result.warnings)
      streams.err << "Hinweis: " << visible(warning) << "\n";
  }

  static Relocation relocate(const RelocationPlan& plan, Session& session) {
    RunningOperation operation(session);
    return Relocator::relocate(plan, operation.context());
  }

  PlanOptions options_;
  bool yes_ = false;
};

}  // namespace

const CommandEntry relocateCommand{
    .name = "relocate",
    .summary = "lagert einen Ordner aus und macht ihn an seinem Platz erreichbar",
    .details = details,
    .make = makeCommand<RelocateCommand>};

}  // namespace fernwahrung
