#include "FernwahrungApp/Views/WrappedText.h"

#include <QFocusEvent>
#include <QTextDocument>
#include <QTextOption>
#include <cmath>

namespace fernwahrung {
namespace {

constexpr int preferredWidth = 400;

}  // namespace

WrappedText::WrappedText(const QString& text, QWidget* parent) : QTextEdit(parent) {
  setAcceptRichText(false);
  showText(text);
  setReadOnly(true);
  setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  setTabChangesFocus(true);
  setFrameShape(QFrame::NoFrame);
  document()->setDocumentMargin(0);
  setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
  setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  viewport()->setAutoFillBackground(false);
  // Fixed, its height at the preferred width would count as its least at any.
  QSizePolicy policy(QSizePolicy::Expanding, QSizePolicy::Preferred);
  policy.setHeightForWidth(true);
  setSizePolicy(policy);
}

void WrappedText::showText(const QString& text) {
  setAccessibleDescription(text);
  if (text == toPlainText()) return;
  setPlainText(text);
  updateGeometry();
}

QSize WrappedText::sizeHint() const {
  return {preferredWidth, heightForWidth(preferredWidth)};
}

QSize WrappedText::minimumSizeHint() const {
  return {fontMetrics().averageCharWidth() * 12, fontMetrics().lineSpacing()};
}

int WrappedText::heightForWidth(int width) const {
  QTextDocument measured;
  measured.setDefaultFont(font());
  measured.setDocumentMargin(0);
  measured.setDefaultTextOption(document()->defaultTextOption());
  measured.setPlainText(toPlainText());
  measured.setTextWidth(width);
  return static_cast<int>(std::ceil(measured.size().height()));
}

// All of it is visible: what turns the wheel means the area around it.
void WrappedText::wheelEvent(QWheelEvent* event) {
  event->ignore();
}

void WrappedText::focusOutEvent(QFocusEvent* event) {
  QTextEdit::focusOutEvent(event);
  if (event->reason() == Qt::PopupFocusReason || event->reason() == Qt::ActiveWindowFocusReason) return;
  QTextCursor cursor = textCursor();
  cursor.clearSelection();
  setTextCursor(cursor);
}

}  // namespace fernwahrung
