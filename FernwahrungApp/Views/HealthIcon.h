// How a health is drawn: by shape and by colour, so that neither is needed alone.
#pragma once

#include "Engine/Status.h"

#include <QPalette>
#include <QString>

namespace fernwahrung::HealthIcon {

QString symbol(RelocationStatus::Health health);
QColor color(RelocationStatus::Health health, const QPalette& palette);
/// For screen readers.
QString description(RelocationStatus::Health health);

}  // namespace fernwahrung::HealthIcon
