#include "helper/CommandTable.h"
#include "helper/Failure.h"
#include "helper/JsonForms.h"
#include "helper/Reference.h"
#include "helper/TextColumns.h"

#include "Engine/Operation.h"
#include "Engine/Rollback.h"
#include "Foundation/Errors.h"
#include "Foundation/Log.h"
#include "Foundation/OperationLock.h"
#include "Records/Journal.h"

#include <algorithm>
#include <fmt/format.h>
#include <set>

namespace fernwahrung {

namespace {

constexpr auto details =
    "Ohne Angabe den einen unterbrochenen Vorgang. Von mehreren wird der neueste zuerst\n"
    "zurückgerollt. Was fehlschlägt, bleibt offen und kann erneut versucht werden.";

class RollbackCommand : public Command {
 public:
  void declare(Arguments& arguments) override {
    arguments.optionalPositional("ID", Reference::journalForms, reference_);
    arguments.flag("--all", "alle unterbrochenen Vorgänge", all_);
  }

  ExitCode run(Session& session) override {
    if (all_ && reference_) throw UsageError("Entweder eine ID oder „--all“, nicht beides.");
    const Outcome outcome = rollBackChosen(session);
    report(outcome, session);
    if (outcome.isCancelled) throw FernwahrungError::cancelled();
    return outcome.failed.empty() ? ExitCode::done : ExitCode::failed;
  }

 private:
  struct FailedJournal {
    Journal journal;
    std::string message;
  };
  struct Outcome {
    std::vector<Journal> rolledBack;
    std::vector<FailedJournal> failed;
    bool isCancelled = false;
  };

  Outcome rollBackChosen(Session& session) const {
    RunningOperation operation(session);
    // The lock comes before the look: a journal that is open because its operation runs right now is not
    // ours.
    const OperationLock lock;
    Outcome outcome;
    std::set<std::string> blockedPlaces;
    for (const Journal& journal : chosen()) {
      // Undoing one operation has no point to stop at; between two there is one.
      outcome.isCancelled = operation.context().isCancelled();
      if (outcome.isCancelled) break;
      rollBack(journal, operation.context(), blockedPlaces, outcome);
    }
    return outcome;
  }

  std::vector<Journal> chosen() const {
    std::vector<Journal> open = Journal::unfinished();
    if (reference_) return {namedByReference(open)};
    if (!all_ && open.size() > 1)
      throw UsageError(
          "Es gibt mehrere unterbrochene Vorgänge. Bitte eine ID nennen, oder „--all“ für alle:" +
          Reference::candidates(open));
    // A later operation began on what an earlier one had left: the newest is undone first.
    std::reverse(open.begin(), open.end());
    return open;
  }

  Journal namedByReference(const std::vector<Journal>& open) const {
    const std::vector<Journal> all = Reference::allJournals();
    const Journal& journal = Reference::find(all, *reference_);
    const auto isSame = [&](const Journal& other) { return other.id == journal.id; };
    if (std::any_of(open.begin(), open.end(), isSame)) return journal;
    throw UsageError(
        fmt::format("Der Vorgang „{}“ vom {} ist abgeschlossen; zurückrollen lassen sich nur unterbrochene.",
                    title(journal.kind), Dates::german(journal.startedAt)));
  }

  static void rollBack(const Journal& journal, OperationContext& context,
                       std::set<std::string>& blockedPlaces, Outcome& outcome) {
    const std::string place = Relocator::placeOf(journal.relocation.sourcePath);
    if (blockedPlaces.contains(place)) {
      outcome.failed.push_back(
          {journal,
           "Nicht begonnen: Ein späterer Vorgang an diesem Ordner konnte nicht zurückgerollt werden."});
      return;
    }
    context.report(fmt::format("Rolle zurück: {} „{}“ …", title(journal.kind), journal.relocation.name));
    try {
      outcome.rolledBack.push_back(Relocator::rollbackUnfinished(journal.id));
    } catch (const std::exception& error) {
      Log::write(fmt::format("ZURÜCKROLLEN FEHLGESCHLAGEN: {}", error.what()));
      outcome.failed.push_back({journal, error.what()});
      blockedPlaces.insert(place);
    }
  }

  /// Of several operations each message must say which one it is about; of a single one it stands alone.
  std::string message(const FailedJournal& failure) const {
    if (!all_) return failure.message;
    return fmt::format("{} „{}“ ({}): {}", title(failure.journal.kind),
                       visible(failure.journal.relocation.name), failure.journal.id.text(), failure.message);
  }

  void report(const Outcome& outcome, Session& session) const {
    for (const FailedJournal& failure : outcome.failed) session.remark(message(failure));
    if (session.json()) {
      session.printJson(document(outcome));
    } else if (outcome.rolledBack.empty() && outcome.failed.empty()) {
      if (!outcome.isCancelled) session.say("Es gibt keinen unterbrochenen Vorgang.");
    } else {
      for (const Journal& journal : outcome.rolledBack)
        session.say(fmt::format("{} „{}“: Der unterbrochene Vorgang wurde zurückgerollt.",
                                title(journal.kind), visible(journal.relocation.name)));
    }
  }

  static Json::Value document(const Outcome& outcome) {
    Json::Value rolledBack = Json::Value::array();
    for (const Journal& journal : outcome.rolledBack) rolledBack.push_back(JsonForms::journal(journal));
    Json::Value failed = Json::Value::array();
    for (const FailedJournal& failure : outcome.failed)
      failed.push_back({{"id", failure.journal.id.text()}, {"message", failure.message}});
    return {{"rolledBack", rolledBack}, {"failed", failed}};
  }

  std::optional<std::string> reference_;
  bool all_ = false;
};

}  // namespace

const CommandEntry rollbackCommand{.name = "rollback",
                                   .summary = "macht unterbrochene Vorgänge rückgängig",
                                   .details = details,
                                   .make = makeCommand<RollbackCommand>};

}  // namespace fernwahrung
