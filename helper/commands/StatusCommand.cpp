#include "helper/CommandTable.h"
#include "helper/JsonForms.h"
#include "helper/RelocationCommand.h"
#include "helper/RelocationText.h"

#include "Engine/Status.h"

namespace fernwahrung {

namespace {

class StatusCommand : public RelocationCommand {
 protected:
  ExitCode runOn(const Relocation& relocation, Session& session) override {
    const RelocationStatus status = Relocator::status(relocation);
    if (session.json()) {
      session.printJson(JsonForms::relocation(relocation, status));
    } else {
      session.print(RelocationText::details(relocation, status));
    }
    return ExitCode::done;
  }
};

}  // namespace

const CommandEntry statusCommand{.name = "status",
                                 .summary = "zeigt alles über einen ausgelagerten Ordner",
                                 .details = "",
                                 .make = makeCommand<StatusCommand>};

}  // namespace fernwahrung
