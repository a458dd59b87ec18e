// The few colours between those of the palette.
#pragma once

#include <QPalette>

namespace fernwahrung::Shades {

/// Text of less weight, still readable on the window's and the lists' ground.
QColor secondary(const QPalette& palette);
QColor separator(const QPalette& palette);
/// Lies over what can't be used now.
QColor veil(const QPalette& palette);
/// `share` (0 to 1) of the first over the second.
QColor blend(const QColor& first, const QColor& second, double share);

}  // namespace fernwahrung::Shades
