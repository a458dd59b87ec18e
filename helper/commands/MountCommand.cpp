#include "helper/CommandTable.h"
#include "helper/RelocationCommand.h"
#include "helper/TextColumns.h"

#include "Engine/Mount.h"
#include "Engine/Status.h"
#include "Foundation/Errors.h"

#include <fmt/format.h>

namespace fernwahrung {

namespace {

class MountCommand : public RelocationCommand {
 protected:
  ExitCode runOn(const Relocation& relocation, Session& session) override {
    // Its folder holds the data itself again; the old copy must not cover it.
    if (relocation.state != RelocationState::active)
      throw FernwahrungError::message("Diese Fernwahrung ist nicht aktiv.");
    mount(relocation);
    const std::string place = visible(relocation.sourcePath);
    show(relocation,
         fmt::format("„{}“: {} – {}", visible(relocation.name), Relocator::status(relocation).summary, place),
         session);
    return ExitCode::done;
  }

 private:
  static void mount(const Relocation& relocation) {
    const Interruption toTheEnd;
    Relocator::mount(relocation);
  }
};

}  // namespace

const CommandEntry mountCommand{.name = "mount",
                                .summary = "hängt eine virtuelle Festplatte an ihrem Ordner ein",
                                .details = "Ist sie schon eingehängt, geschieht nichts.",
                                .make = makeCommand<MountCommand>};

}  // namespace fernwahrung
