#include "FernwahrungApp/Views/HealthIcon.h"

#include "FernwahrungApp/Views/Symbols.h"

#include <algorithm>

namespace fernwahrung::HealthIcon {

using Health = RelocationStatus::Health;

QString symbol(Health health) {
  switch (health) {
    case Health::ok:
      return "checkmark.circle.fill";
    case Health::warning:
      return "exclamationmark.triangle.fill";
    case Health::error:
      return "xmark.octagon.fill";
  }
  return {};
}

QColor color(Health health, const QPalette& palette) {
  switch (health) {
    case Health::ok:
      return Symbols::good(palette);
    case Health::warning:
      return Symbols::warning(palette);
    case Health::error:
      return Symbols::error(palette);
  }
  return {};
}

Health worst(Health health, CapacityLevel level) {
  switch (level) {
    case CapacityLevel::ok:
      return health;
    case CapacityLevel::warning:
      return std::max(health, Health::warning);
    case CapacityLevel::critical:
      return Health::error;
  }
  return health;
}

QString description(Health health) {
  switch (health) {
    case Health::ok:
      return "In Ordnung";
    case Health::warning:
      return "Warnung";
    case Health::error:
      return "Fehler";
  }
  return {};
}

}  // namespace fernwahrung::HealthIcon
