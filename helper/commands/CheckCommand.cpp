#include "helper/CommandTable.h"
#include "helper/JsonForms.h"
#include "helper/PlanCheck.h"

namespace fernwahrung {

namespace {

constexpr auto details =
    "Es wird nichts verändert. Der Ordner wird dabei ganz durchgezählt. Der Rückgabewert ist 4,\n"
    "wenn etwas im Weg steht.";

class CheckCommand : public Command {
 public:
  void declare(Arguments& arguments) override { options_.declare(arguments); }

  ExitCode run(Session& session) override {
    const PlanCheck check = options_.check();
    if (session.json()) {
      session.printJson(JsonForms::check(check));
    } else {
      session.print(check.text());
    }
    return check.isBlocked() ? ExitCode::blocked : ExitCode::done;
  }

 private:
  PlanOptions options_;
};

}  // namespace

const CommandEntry checkCommand{.name = "check",
                                .summary = "prüft, ob ein Ordner ausgelagert werden kann",
                                .details = details,
                                .make = makeCommand<CheckCommand>};

}  // namespace fernwahrung
