#include "Observation/GuardedAppPreset.h"

#include "Observation/PathRules.h"

#include <algorithm>

namespace fernwahrung::GuardedAppPreset {

bool contains(const std::vector<std::string>& apps, const std::string& app) {
  return std::any_of(apps.begin(), apps.end(),
                     [wanted = PathRules::canonical(app)](const std::string& other) {
                       return PathRules::canonical(other) == wanted;
                     });
}

std::vector<std::string> merged(std::vector<std::string> existing, const std::vector<std::string>& preset) {
  for (const std::string& path : preset) {
    std::string app = PathRules::canonical(path);
    if (app.ends_with(".app") && !contains(existing, app)) existing.push_back(app);
  }
  return existing;
}

}  // namespace fernwahrung::GuardedAppPreset
