#include "helper/CommandTable.h"
#include "helper/Table.h"

#include "Records/MountPause.h"

namespace fernwahrung {

namespace {

constexpr auto details =
    "Eine Pause entsteht beim sicheren Auswerfen und vor dem Ruhezustand. Sie endet von selbst,\n"
    "sobald das Laufwerk wieder da ist.";

class PauseCommand : public Command {
 public:
  void declare(Arguments&) override {}

  ExitCode run(Session& session) override {
    const MountPause pause = MountPause::load();
    if (session.json()) {
      Json::Value entries = Json::Value::array();
      for (const MountPause::Entry& entry : pause.entries) entries.push_back(toJson(entry));
      session.printJson({{"entries", entries}});
    } else if (pause.entries.empty()) {
      session.say("Das Einhängen ist nicht pausiert.");
    } else {
      Table table({"Laufwerk", "Seit", "Bis", "Grund"});
      for (const MountPause::Entry& entry : pause.entries)
        table.row({entry.volume.value_or("alle Laufwerke"), Dates::german(entry.since),
                   Dates::german(entry.until), entry.reason});
      session.print(table.text());
    }
    return ExitCode::done;
  }
};

}  // namespace

const CommandEntry pauseCommand{.name = "pause",
                                .summary = "zeigt, für welche Laufwerke das Einhängen pausiert ist",
                                .details = details,
                                .make = makeCommand<PauseCommand>};

}  // namespace fernwahrung
