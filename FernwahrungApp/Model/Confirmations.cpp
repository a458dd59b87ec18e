#include "FernwahrungApp/Model/Confirmations.h"

#include "Foundation/PathString.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace fernwahrung::Confirmations {
namespace {

std::string whoMustBeClosed(const Relocation& relocation) {
  if (relocation.guardedAppPaths.empty()) return "Die zugehörige App muss beendet sein.";
  return "Bitte vorher beenden: " + appNames(relocation);
}

void unmountAfter(AppModel& model, const Relocation& relocation, const std::string& text) {
  if (model.questions().confirm(fmt::format("Aushängen: {}?", relocation.name), text, "Aushängen")) {
    model.unmount(relocation);
  }
}

}  // namespace

void restore(AppModel& model, Relocation relocation) {
  std::string text =
      "Die aktuellen Daten werden zurück auf den Mac kopiert, Datei für Datei geprüft und erst dann ausgetauscht. "
      "Die externe Kopie bleibt erhalten. "
      "Auf dem Mac muss genug Platz frei sein. " +
      whoMustBeClosed(relocation);
  if (model.questions().confirm(fmt::format("Zurück auf den Mac holen: {}?", relocation.name), text,
                                "Zurück auf den Mac holen")) {
    model.restore(relocation);
  }
}

void unmountFromMenu(AppModel& model, Relocation relocation) {
  std::string text = "Die Daten sind danach nicht mehr erreichbar, bis du wieder einhängst.";
  if (!relocation.guardedAppPaths.empty()) {
    text += fmt::format(" Bitte vorher beenden: {}.", appNames(relocation));
  }
  unmountAfter(model, relocation, text);
}

void unmount(AppModel& model, Relocation relocation) {
  std::string text =
      "Die Daten sind danach nicht mehr erreichbar, bis du wieder einhängst. " + whoMustBeClosed(relocation);
  unmountAfter(model, relocation, text);
}

void rollback(AppModel& model, Journal journal) {
  if (model.questions().confirm(
          "Unterbrochenen Vorgang zurückrollen?",
          "Die erledigten Schritte werden in umgekehrter Reihenfolge rückgängig gemacht, bis der Zustand vor dem Vorgang wiederhergestellt ist. "
          "Es wird nichts endgültig gelöscht. "
          "Die betroffene App muss beendet sein.",
          "Zurückrollen")) {
    model.rollback(journal);
  }
}

std::string appNames(const Relocation& relocation) {
  std::vector<std::string> names;
  for (const std::string& path : relocation.guardedAppPaths) names.push_back(PathString::lastComponent(path));
  return fmt::format("{}", fmt::join(names, ", "));
}

}  // namespace fernwahrung::Confirmations
