#include "FernwahrungApp/Views/ElidedField.h"

#include "FernwahrungApp/Views/Texts.h"

#include <QFocusEvent>

namespace fernwahrung {
namespace {

// What QLineEdit keeps free on each side, and room for the cursor.
constexpr int innerMargins = 2 * 2 + 2;

/// The window or a menu has taken the focus for a while: what is selected stays visible.
bool comesBack(Qt::FocusReason reason) {
  return reason == Qt::PopupFocusReason || reason == Qt::ActiveWindowFocusReason ||
         reason == Qt::MenuBarFocusReason;
}

}  // namespace

ElidedField::ElidedField(QWidget* parent) : QLineEdit(parent) {
  setReadOnly(true);
  setFrame(false);
  setTextMargins(-2, 0, -2, 0);
  QPalette transparent = palette();
  transparent.setColor(QPalette::Base, Qt::transparent);
  setPalette(transparent);
  setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void ElidedField::setFullText(const QString& text) {
  if (text == fullText_) return;
  fullText_ = text;
  setToolTip(Texts::inToolTip(text));
  setAccessibleDescription(text);
  fit();
  updateGeometry();
}

QSize ElidedField::sizeHint() const {
  QMargins around = contentsMargins();
  return {fontMetrics().horizontalAdvance(fullText_) + innerMargins + around.left() + around.right(),
          QLineEdit::sizeHint().height()};
}

QSize ElidedField::minimumSizeHint() const {
  return {fontMetrics().averageCharWidth() * 12, QLineEdit::minimumSizeHint().height()};
}

void ElidedField::resizeEvent(QResizeEvent* event) {
  QLineEdit::resizeEvent(event);
  fit();
}

void ElidedField::focusInEvent(QFocusEvent* event) {
  fit();
  QLineEdit::focusInEvent(event);
}

void ElidedField::focusOutEvent(QFocusEvent* event) {
  QLineEdit::focusOutEvent(event);
  if (comesBack(event->reason())) return;
  deselect();
  fit();
}

void ElidedField::changeEvent(QEvent* event) {
  QLineEdit::changeEvent(event);
  if (event->type() == QEvent::FontChange) fit();
}

void ElidedField::fit() {
  QString fitting = hasFocus() ? fullText_
                               : fontMetrics().elidedText(fullText_, Qt::ElideMiddle,
                                                          contentsRect().width() - innerMargins);
  if (fitting == text()) return;
  setText(fitting);
  setCursorPosition(0);
}

}  // namespace fernwahrung
