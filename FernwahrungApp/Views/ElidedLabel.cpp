#include "FernwahrungApp/Views/ElidedLabel.h"

#include "FernwahrungApp/Views/Texts.h"

#include <QPainter>

namespace fernwahrung {

ElidedLabel::ElidedLabel(QWidget* parent) : QLabel(parent) {
  setTextFormat(Qt::PlainText);
}

void ElidedLabel::setFullText(const QString& text) {
  if (text == this->text()) return;
  setText(text);
  setToolTip(Texts::inToolTip(text));
}

QSize ElidedLabel::minimumSizeHint() const {
  return {fontMetrics().averageCharWidth() * 8, QLabel::minimumSizeHint().height()};
}

void ElidedLabel::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setPen(palette().color(foregroundRole()));
  painter.drawText(contentsRect(), static_cast<int>(alignment()) | Qt::TextSingleLine,
                   fontMetrics().elidedText(text(), Qt::ElideMiddle, contentsRect().width()));
}

}  // namespace fernwahrung
