#include "FernwahrungApp/Views/Alerts.h"

namespace fernwahrung {

Alerts::Alerts(AppModel& model) : model_(model), update_([this] { showAll(); }) {
  update_.follow(&model_, &AppModel::errorMessageChanged, &AppModel::infoMessageChanged);
  if (model_.errorMessage() || model_.infoMessage()) update_.schedule();
}

void Alerts::showAll() {
  // The event loop runs on while a message stands; what comes meanwhile waits for its turn.
  if (showing_) return;
  showing_ = true;
  while (model_.errorMessage() || model_.infoMessage()) {
    if (const std::optional<std::string> error = model_.errorMessage()) {
      model_.questions().ask({"Fehler", *error, {"OK"}});
      if (model_.errorMessage() == error) model_.dismissError();
    } else {
      const std::optional<std::string> info = model_.infoMessage();
      model_.questions().ask({"Erledigt", *info, {"OK"}});
      if (model_.infoMessage() == info) model_.dismissInfo();
    }
  }
  showing_ = false;
}

}  // namespace fernwahrung
