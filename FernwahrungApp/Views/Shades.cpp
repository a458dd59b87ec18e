#include "FernwahrungApp/Views/Shades.h"

namespace fernwahrung::Shades {

QColor secondary(const QPalette& palette) {
  return blend(palette.color(QPalette::Active, QPalette::WindowText), palette.color(QPalette::Window), 0.72);
}

QColor separator(const QPalette& palette) {
  return blend(palette.color(QPalette::Active, QPalette::WindowText), palette.color(QPalette::Window), 0.16);
}

QColor veil(const QPalette& palette) {
  QColor colour = palette.color(QPalette::Window);
  colour.setAlphaF(0.78F);
  return colour;
}

QColor blend(const QColor& first, const QColor& second, double share) {
  auto mixed = [share](int one, int other) { return static_cast<int>(one * share + other * (1 - share)); };
  return QColor(mixed(first.red(), second.red()), mixed(first.green(), second.green()),
                mixed(first.blue(), second.blue()));
}

}  // namespace fernwahrung::Shades
