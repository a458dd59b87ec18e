#include "helper/CommandTable.h"
#include "helper/JsonForms.h"
#include "helper/Reference.h"

#include "Records/Journal.h"
#include "Records/LogReader.h"

namespace fernwahrung {

namespace {

constexpr std::size_t readLogLines = 5000;

class ReportCommand : public Command {
 public:
  void declare(Arguments& arguments) override {
    arguments.positional("ID", Reference::journalForms, reference_);
  }

  ExitCode run(Session& session) override {
    const std::vector<Journal> journals = Reference::allJournals();
    const Journal& journal = Reference::find(journals, reference_);
    const std::string report =
        LogReader::report(journal, LogReader::lines(journal, LogReader::lines(readLogLines)));
    if (session.json()) {
      session.printJson({{"journal", JsonForms::journal(journal)}, {"report", report}});
    } else {
      session.print(report);
    }
    return ExitCode::done;
  }

 private:
  std::string reference_;
};

}  // namespace

const CommandEntry reportCommand{.name = "report",
                                 .summary = "gibt den Bericht zu einem Vorgang aus",
                                 .details = "Alle Angaben zu dem Vorgang, z. B. für eine Fehlermeldung.",
                                 .make = makeCommand<ReportCommand>};

}  // namespace fernwahrung
