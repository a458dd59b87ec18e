#include "FernwahrungApp/Model/GuardedApps.h"

#include "Observation/GuardedAppPreset.h"

namespace fernwahrung::GuardedApps {

std::vector<std::string> withAnother(Questions& questions, std::vector<std::string> apps) {
  std::optional<std::string> chosen = questions.chooseApplication("Zugehörige App wählen", "/Applications");
  if (chosen && !GuardedAppPreset::contains(apps, *chosen)) apps.push_back(*chosen);
  return apps;
}

}  // namespace fernwahrung::GuardedApps
