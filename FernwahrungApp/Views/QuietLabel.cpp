#include "FernwahrungApp/Views/QuietLabel.h"

#include "FernwahrungApp/Views/Shades.h"

#include <QEvent>

namespace fernwahrung {

QuietLabel::QuietLabel(const QString& text, QWidget* parent) : QLabel(text, parent) {
  setTextFormat(Qt::PlainText);
  fade();
}

void QuietLabel::changeEvent(QEvent* event) {
  QLabel::changeEvent(event);
  if (event->type() == QEvent::ApplicationPaletteChange) fade();
}

void QuietLabel::fade() {
  QPalette quiet;
  const QColor shade = Shades::secondary(quiet);
  quiet.setColor(QPalette::Active, QPalette::WindowText, shade);
  quiet.setColor(QPalette::Inactive, QPalette::WindowText, shade);
  setPalette(quiet);
}

}  // namespace fernwahrung
