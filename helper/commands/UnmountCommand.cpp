#include "helper/CommandTable.h"
#include "helper/JsonForms.h"
#include "helper/Reference.h"
#include "helper/TextColumns.h"

#include "Engine/Mount.h"
#include "Engine/Status.h"
#include "Records/RegistryStore.h"

#include <fmt/format.h>

namespace fernwahrung {

namespace {

class UnmountCommand : public Command {
 public:
  void declare(Arguments& arguments) override {
    arguments.positional("REF", Reference::relocationForms, reference_);
  }

  ExitCode run(Session& session) override {
    const Registry registry = RegistryStore::load();
    const Relocation& relocation = Reference::find(registry.relocations, reference_);
    unmount(relocation);
    if (session.json()) session.printJson(JsonForms::relocation(relocation, Relocator::status(relocation)));
    const bool isImage = relocation.kind == RelocationKind::image;
    session.say(fmt::format(
        "„{}“ {}", visible(relocation.name),
        isImage ? "ist nicht mehr eingehängt." : "ist ein Symlink; da gibt es nichts auszuhängen."));
    return ExitCode::done;
  }

 private:
  static void unmount(const Relocation& relocation) {
    const Interruption toTheEnd;
    Relocator::unmount(relocation);
  }

  std::string reference_;
};

}  // namespace

const CommandEntry unmountCommand{.name = "unmount",
                                  .summary = "hängt eine virtuelle Festplatte aus",
                                  .details =
                                      "Die Daten sind danach nicht mehr erreichbar, bis sie wieder "
                                      "eingehängt wird. Solange ein Programm sie\n"
                                      "benutzt, bleibt sie eingehängt.",
                                  .make = makeCommand<UnmountCommand>};

}  // namespace fernwahrung
