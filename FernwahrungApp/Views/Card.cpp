#include "FernwahrungApp/Views/Card.h"

#include "FernwahrungApp/Views/Shades.h"

#include <QPainter>

namespace fernwahrung {

Card::Card(QWidget* parent) : QFrame(parent) {
}

void Card::setAccent(Color accent) {
  accent_ = std::move(accent);
  update();
}

void Card::paintEvent(QPaintEvent*) {
  QColor ground = palette().color(QPalette::Base);
  QColor border = Shades::separator(palette());
  if (accent_) {
    const QColor accent = accent_(palette());
    ground = Shades::blend(accent, ground, 0.10);
    border = Shades::blend(accent, ground, 0.55);
  }
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(border);
  painter.setBrush(ground);
  painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 8, 8);
}

}  // namespace fernwahrung
