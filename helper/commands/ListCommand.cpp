#include "helper/CommandTable.h"
#include "helper/JsonForms.h"
#include "helper/RelocationText.h"

#include "Engine/Status.h"
#include "Records/RegistryStore.h"

namespace fernwahrung {

namespace {

class ListCommand : public Command {
 public:
  void declare(Arguments&) override {}

  ExitCode run(Session& session) override {
    const Registry registry = RegistryStore::load();
    AttachedImages attached;
    std::vector<RelocationStatus> statuses;
    for (const Relocation& relocation : registry.relocations)
      statuses.push_back(Relocator::status(relocation, attached));

    if (session.json()) {
      Json::Value elements = Json::Value::array();
      for (std::size_t i = 0; i < statuses.size(); ++i)
        elements.push_back(JsonForms::relocation(registry.relocations[i], statuses[i]));
      session.printJson({{"relocations", elements}});
    } else {
      session.print(RelocationText::table(registry.relocations, statuses));
    }
    return ExitCode::done;
  }
};

}  // namespace

const CommandEntry listCommand{.name = "list",
                               .summary = "zeigt alle ausgelagerten Ordner mit ihrem Zustand",
                               .details = "",
                               .make = makeCommand<ListCommand>};

}  // namespace fernwahrung
