#include "helper/CommandTable.h"

#include "Engine/Mount.h"

#include <algorithm>

namespace fernwahrung {

namespace {

class MountAllCommand : public Command {
 public:
  void declare(Arguments&) override {}

  ExitCode run(Session& session) override {
    const std::vector<MountProblem> problems = mountAll();
    for (const MountProblem& problem : problems) session.remark(problem.text());
    if (session.json()) {
      Json::Value elements = Json::Value::array();
      for (const MountProblem& problem : problems) elements.push_back(toJson(problem));
      session.printJson({{"problems", elements}});
    } else if (problems.empty()) {
      session.say("Alles ist eingehängt, was nicht pausiert ist.");
    }
    // A run that another operation keeps from its work has not failed: whoever holds the lock, or the next
    // run, mounts.
    const bool failed = std::any_of(problems.begin(), problems.end(), [](const MountProblem& problem) {
      return problem.kind != MountProblem::Kind::skipped;
    });
    return failed ? ExitCode::failed : ExitCode::done;
  }

 private:
  static std::vector<MountProblem> mountAll() {
    const Interruption toTheEnd;
    return Relocator::mountAllDetailed(0);
  }
};

}  // namespace

const CommandEntry mountAllCommand{
    .name = "mount-all",
    .summary = "hängt alle virtuellen Festplatten ein",
    .details = "Was nicht gelingt, steht in den Meldungen; der Rest wird trotzdem eingehängt.",
    .make = makeCommand<MountAllCommand>};

}  // namespace fernwahrung
