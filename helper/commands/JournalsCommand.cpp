#include "helper/CommandTable.h"
#include "helper/JournalText.h"
#include "helper/JsonForms.h"

#include "Foundation/OperationLock.h"
#include "Records/Journal.h"

#include <fmt/format.h>

namespace fernwahrung {

namespace {

constexpr std::size_t shownFinished = 200;

Json::Value array(const std::vector<Journal>& journals) {
  Json::Value values = Json::Value::array();
  for (const Journal& journal : journals) values.push_back(JsonForms::journal(journal));
  return values;
}

class JournalsCommand : public Command {
 public:
  void declare(Arguments&) override {}

  ExitCode run(Session& session) override {
    const bool isRunning = OperationLock::isHeldElsewhere();
    const std::vector<Journal> unfinished = Journal::unfinished();
    const std::vector<Journal> finished = Journal::finishedJournals(shownFinished);
    if (session.json()) {
      session.printJson({{"unfinished", array(unfinished)}, {"finished", array(finished)}});
      return ExitCode::done;
    }
    session.print(JournalText::table(unfinished, finished));
    if (isRunning) {
      session.say(
          "\nGerade läuft ein Vorgang; auch er steht bis zu seinem Ende als unterbrochen in der Liste.");
    } else if (!unfinished.empty()) {
      session.say(
          "\n"
          "Unterbrochene Vorgänge stellt „fernwahrung rollback ID“ zurück, „fernwahrung rollback --all“ alle. "
          "Bitte nicht von Hand eingreifen.");
    }
    return ExitCode::done;
  }
};

}  // namespace

const CommandEntry journalsCommand{.name = "journals",
                                   .summary = "zeigt die Vorgänge, unterbrochene zuerst",
                                   .details = "Von den abgeschlossenen Vorgängen die neuesten 200.",
                                   .make = makeCommand<JournalsCommand>};

}  // namespace fernwahrung
