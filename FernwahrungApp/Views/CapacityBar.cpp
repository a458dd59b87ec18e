#include "FernwahrungApp/Views/CapacityBar.h"

#include "FernwahrungApp/Views/Shades.h"
#include "FernwahrungApp/Views/Symbols.h"

#include <QPainter>
#include <algorithm>

namespace fernwahrung {
namespace {

QColor filling(CapacityLevel level, const QPalette& palette) {
  switch (level) {
    case CapacityLevel::ok:
      return palette.color(QPalette::Highlight);
    case CapacityLevel::warning:
      return Symbols::warning(palette);
    case CapacityLevel::critical:
      return Symbols::error(palette);
  }
  return {};
}

}  // namespace

CapacityBar::CapacityBar(QWidget* parent) : QWidget(parent) {
  setFixedHeight(6);
}

void CapacityBar::setFill(double fraction, CapacityLevel level) {
  fraction = std::clamp(fraction, 0.0, 1.0);
  if (fraction == fraction_ && level == level_) return;
  fraction_ = fraction;
  level_ = level;
  update();
}

void CapacityBar::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(Qt::NoPen);
  const double radius = height() / 2.0;
  painter.setBrush(Shades::separator(palette()));
  painter.drawRoundedRect(rect(), radius, radius);
  if (fraction_ <= 0) return;
  QRectF full = rect();
  full.setWidth(std::max(full.width() * fraction_, full.height()));
  painter.setBrush(filling(level_, palette()));
  painter.drawRoundedRect(full, radius, radius);
}

}  // namespace fernwahrung
