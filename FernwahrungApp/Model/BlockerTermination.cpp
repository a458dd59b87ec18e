#include "FernwahrungApp/Model/BlockerTermination.h"

#include "FernwahrungApp/Model/Background.h"

#include <QPointer>
#include <QTimer>
#include <fmt/format.h>

namespace fernwahrung::BlockerTermination {
namespace {

std::string text(const ProcessDescription& process) {
  std::string text = ProcessDescriber::message(process) +
                     "\n\n"
                     "Das Programm wird höflich zum Beenden aufgefordert, nicht erzwungen. "
                     "Nicht gespeicherte Arbeit darin kann verloren gehen.";
  if (process.kind.value == ProcessDescription::Kind::Case::service) {
    text += " macOS startet ihn bei Bedarf neu.";
  }
  return text;
}

}  // namespace

void confirm(AppModel& model, ProcessDescription process, QObject* owner, std::function<void()> after,
             std::chrono::milliseconds delay) {
  QPointer<QObject> guardedOwner(owner);
  bool yes =
      model.questions().confirm(fmt::format("„{}“ beenden?", process.displayName), text(process), "Beenden");
  if (!yes || !guardedOwner) return;
  Background::start(
      owner,
      [request = model.core().requestTermination, process = std::move(process)] { return request(process); },
      [owner, after = std::move(after), delay](bool) { QTimer::singleShot(delay, owner, after); });
}

}  // namespace fernwahrung::BlockerTermination
