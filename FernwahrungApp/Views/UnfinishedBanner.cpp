#include "FernwahrungApp/Views/UnfinishedBanner.h"

#include "FernwahrungApp/Model/Confirmations.h"
#include "FernwahrungApp/Views/Symbols.h"
#include "FernwahrungApp/Views/Texts.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace fernwahrung {
namespace {

QString sentence(const Journal& journal) {
  std::string steps = fmt::format("{}", fmt::join(journal.completedSteps, " → "));
  return Texts::shown(fmt::format("Unterbrochener Vorgang: „{}“ ({}). Erledigte Schritte: {}",
                                  journal.relocation.name, title(journal.kind),
                                  steps.empty() ? "keine" : steps));
}

}  // namespace

UnfinishedBanner::UnfinishedBanner(AppModel& model, Journal journal, QWidget* parent)
    : Banner(Symbols::error, "exclamationmark.octagon.fill", sentence(journal), "Zurückrollen …", parent),
      journal_(std::move(journal)) {
  setObjectName("bannerUnfinished");
  button().setObjectName("bannerRollback");
  button().setAccessibleName("Zurückrollen: " + Texts::shown(journal_.relocation.name));
  connect(this, &Banner::pressed, &model, [&model, this] { Confirmations::rollback(model, journal_); });
}

}  // namespace fernwahrung
