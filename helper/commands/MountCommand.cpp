#include "helper/CommandTable.h"
#include "helper/JsonForms.h"
#include "helper/Reference.h"
#include "helper/TextColumns.h"

#include "Engine/Mount.h"
#include "Engine/Status.h"
#include "Foundation/Errors.h"
#include "Records/RegistryStore.h"

#include <fmt/format.h>

namespace fernwahrung {

namespace {

class MountCommand : public Command {
 public:
  void declare(Arguments& arguments) override {
    arguments.positional("REF", Reference::relocationForms, reference_);
  }

  ExitCode run(Session& session) override {
    const Registry registry = RegistryStore::load();
    const Relocation& relocation = Reference::find(registry.relocations, reference_);
    // Its folder holds the data itself again; the old copy must not cover it.
    if (relocation.state != RelocationState::active)
      throw FernwahrungError::message("Diese Fernwahrung ist nicht aktiv.");
    mount(relocation);
    const RelocationStatus status = Relocator::status(relocation);
    if (session.json()) session.printJson(JsonForms::relocation(relocation, status));
    session.say(fmt::format("„{}“: {} – {}", visible(relocation.name), status.summary,
                            visible(relocation.sourcePath)));
    return ExitCode::done;
  }

 private:
  static void mount(const Relocation& relocation) {
    const Interruption toTheEnd;
    Relocator::mount(relocation);
  }

  std::string reference_;
};

}  // namespace

const CommandEntry mountCommand{.name = "mount",
                                .summary = "hängt eine virtuelle Festplatte an ihrem Ordner ein",
                                .details = "Ist sie schon eingehängt, geschieht nichts.",
                                .make = makeCommand<MountCommand>};

}  // namespace fernwahrung
