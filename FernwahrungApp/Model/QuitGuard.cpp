#include "FernwahrungApp/Model/QuitGuard.h"

#include <fmt/format.h>

namespace fernwahrung {

QuitGuard::QuitGuard(AppModel& model) : model_(model) {
  connect(&model_, &AppModel::operationEnded, this, &QuitGuard::quitIfWanted, Qt::QueuedConnection);
  connect(&model_, &AppModel::errorMessageChanged, this, &QuitGuard::quitIfWanted, Qt::QueuedConnection);
}

bool QuitGuard::mayQuit() {
  if (!model_.busyTitle()) return true;
  if (asking_) return false;
  const std::string title = *model_.busyTitle();
  const bool cancellable = model_.cancellable();
  std::string text =
      cancellable
          ? "Der Vorgang kann weiterlaufen, oder er wird abgebrochen und alles so wiederhergestellt, wie es war. "
            "Danach wird Fernwahrung beendet."
          : "Dieser Vorgang lässt sich nicht abbrechen. Fernwahrung kann beendet werden, sobald er fertig ist.";
  std::string leave = cancellable ? "Abbrechen und beenden" : "Danach beenden";
  asking_ = true;
  std::size_t answer = model_.questions().ask(
      {fmt::format("„{}“ läuft noch", title), text, {leave, "Weiterlaufen lassen"}, 1});
  asking_ = false;
  if (answer != 0) {
    if (wish_ == Wish::ofUser) wish_ = Wish::none;
    return false;
  }
  if (wish_ == Wish::none) wish_ = Wish::ofUser;
  if (cancellable) model_.cancel();
  // The operation may have ended while the question stood.
  QMetaObject::invokeMethod(this, &QuitGuard::quitIfWanted, Qt::QueuedConnection);
  return false;
}

void QuitGuard::quitWithoutAsking() {
  wish_ = Wish::ofSystem;
  model_.cancel();
  quitIfWanted();
}

void QuitGuard::quitIfWanted() {
  if (wish_ == Wish::none || model_.busyTitle()) return;
  if (wish_ == Wish::ofUser && model_.errorMessage()) return;
  wish_ = Wish::none;
  emit quitNow();
}

}  // namespace fernwahrung
