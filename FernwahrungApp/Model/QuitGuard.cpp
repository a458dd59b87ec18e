#include "FernwahrungApp/Model/QuitGuard.h"

#include <fmt/format.h>

namespace fernwahrung {

QuitGuard::QuitGuard(AppModel& model) : model_(model) {
  connect(&model_, &AppModel::busyTitleChanged, this, &QuitGuard::quitIfWanted, Qt::QueuedConnection);
}

bool QuitGuard::mayQuit() {
  if (!model_.busyTitle()) return true;
  const std::string title = *model_.busyTitle();
  const bool cancellable = model_.cancellable();
  std::string text =
      cancellable ? "Der Vorgang kann weiterlaufen, oder er wird abgebrochen und alles so "
                    "wiederhergestellt, wie es war. Danach wird Fernwahrung beendet."
                  : "Dieser Vorgang lässt sich nicht abbrechen. Fernwahrung kann beendet werden, sobald "
                    "er fertig ist.";
  std::string leave = cancellable ? "Abbrechen und beenden" : "Danach beenden";
  std::size_t answer =
      model_.questions().ask({fmt::format("„{}“ läuft noch", title), text, {leave, "Weiterlaufen lassen"}});
  if (answer != 0) return false;
  // The operation may have ended while the question stood.
  if (!model_.busyTitle()) return true;
  quitOnceIdle(cancellable);
  return false;
}

void QuitGuard::quitWithoutAsking() {
  quitOnceIdle(model_.cancellable());
  quitIfWanted();
}

void QuitGuard::quitOnceIdle(bool cancel) {
  wanted_ = true;
  if (cancel) model_.cancel();
}

void QuitGuard::quitIfWanted() {
  if (wanted_ && !model_.busyTitle()) emit quitNow();
}

}  // namespace fernwahrung
