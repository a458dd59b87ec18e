#pragma once

#include <QTextEdit>

namespace fernwahrung {

/// Text to read and to copy, as high as it has to be. It wraps inside words where nothing else helps, so that
/// no path makes its window wider. Never taken for markup.
class WrappedText : public QTextEdit {
  Q_OBJECT

 public:
  WrappedText(const QString& text, QWidget* parent);
  void showText(const QString& text);

  QSize sizeHint() const override;
  QSize minimumSizeHint() const override;
  bool hasHeightForWidth() const override { return true; }
  int heightForWidth(int width) const override;

 protected:
  void wheelEvent(QWheelEvent* event) override;
  void focusOutEvent(QFocusEvent* event) override;
};

}  // namespace fernwahrung
