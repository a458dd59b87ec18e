// How a health is drawn: by shape and by colour, so that neither is needed alone.
#pragma once

#include "Integration/Capacity.h"

#include "Engine/Status.h"

#include <QPalette>
#include <QString>

namespace fernwahrung::HealthIcon {

QString symbol(RelocationStatus::Health health);
QColor color(RelocationStatus::Health health, const QPalette& palette);
/// The worse of the two: what is mounted is in order, but when it is full it is nothing to be calm about.
RelocationStatus::Health worst(RelocationStatus::Health health, CapacityLevel level);
/// For screen readers.
QString description(RelocationStatus::Health health);

}  // namespace fernwahrung::HealthIcon
