#include "helper/CommandTable.h"
#include "helper/RelocationCommand.h"
#include "helper/TextColumns.h"

#include "Engine/Restore.h"
#include "Records/RegistryStore.h"

#include <fmt/format.h>

namespace fernwahrung {

namespace {

constexpr auto details =
    "Die Daten werden kopiert, Datei für Datei verglichen und erst dann an ihren alten Platz\n"
    "gesetzt. Die externe Kopie bleibt unverändert.";

class RestoreCommand : public RelocationCommand {
 protected:
  ExitCode runOn(const Relocation& relocation, Session& session) override {
    restore(relocation, session);
    if (session.json()) session.printJson(toJson(registered(relocation)));
    session.say(fmt::format("„{}“: {}", visible(relocation.name), visible(relocation.sourcePath)));
    session.say(
        "Die Daten liegen wieder auf dem Mac. "
        "Die externe Kopie ist noch vorhanden – du kannst sie später in den Papierkorb legen.");
    return ExitCode::done;
  }

 private:
  static void restore(const Relocation& relocation, Session& session) {
    RunningOperation operation(session);
    Relocator::restore(relocation, operation.context());
  }

  /// As the operation left it in the list; an entry that is gone is shown as it was.
  static Relocation registered(const Relocation& relocation) {
    Registry registry = RegistryStore::load();
    const Relocation* entry = registry.find(relocation.id);
    return entry ? *entry : relocation;
  }
};

}  // namespace

const CommandEntry restoreCommand{.name = "restore",
                                  .summary = "holt die Daten auf die interne Festplatte zurück",
                                  .details = details,
                                  .make = makeCommand<RestoreCommand>};

}  // namespace fernwahrung
