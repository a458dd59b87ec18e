#include "helper/CommandTable.h"
#include "helper/JsonForms.h"
#include "helper/Reference.h"
#include "helper/RelocationText.h"

#include "Engine/Status.h"
#include "Records/RegistryStore.h"

namespace fernwahrung {

namespace {

class StatusCommand : public Command {
 public:
  void declare(Arguments& arguments) override {
    arguments.positional("REF", Reference::relocationForms, reference_);
  }

  ExitCode run(Session& session) override {
    const Registry registry = RegistryStore::load();
    const Relocation& relocation = Reference::find(registry.relocations, reference_);
    const RelocationStatus status = Relocator::status(relocation);
    if (session.json()) {
      session.printJson(JsonForms::relocation(relocation, status));
    } else {
      session.print(RelocationText::details(relocation, status));
    }
    return ExitCode::done;
  }

 private:
  std::string reference_;
};

}  // namespace

const CommandEntry statusCommand{.name = "status",
                                 .summary = "zeigt alles über einen ausgelagerten Ordner",
                                 .details = "",
                                 .make = makeCommand<StatusCommand>};

}  // namespace fernwahrung
