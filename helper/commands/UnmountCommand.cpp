#include "helper/CommandTable.h"
#include "helper/RelocationCommand.h"
#include "helper/TextColumns.h"

#include "Engine/Mount.h"

#include <fmt/format.h>

namespace fernwahrung {

namespace {

constexpr auto details =
    "Die Daten sind danach nicht mehr erreichbar, bis sie wieder eingehängt wird. Solange ein\n"
    "Programm sie benutzt, bleibt sie eingehängt.";

class UnmountCommand : public RelocationCommand {
 protected:
  ExitCode runOn(const Relocation& relocation, Session& session) override {
    unmount(relocation);
    const bool isImage = relocation.kind == RelocationKind::image;
    show(relocation,
         fmt::format(
             "„{}“ {}", visible(relocation.name),
             isImage ? "ist nicht mehr eingehängt." : "ist ein Symlink; da gibt es nichts auszuhängen."),
         session);
    return ExitCode::done;
  }

 private:
  static void unmount(const Relocation& relocation) {
    const Interruption toTheEnd;
    Relocator::unmount(relocation);
  }
};

}  // namespace

const CommandEntry unmountCommand{.name = "unmount",
                                  .summary = "hängt eine virtuelle Festplatte aus",
                                  .details = details,
                                  .make = makeCommand<UnmountCommand>};

}  // namespace fernwahrung
