#pragma once

#include <QLineEdit>

namespace fernwahrung {

/// A line that is shortened in its middle where it doesn't fit. The tool tip shows it whole; with the focus
/// it shows itself whole, and can be selected and copied.
class ElidedField : public QLineEdit {
  Q_OBJECT

 public:
  explicit ElidedField(QWidget* parent = nullptr);
  void setFullText(const QString& text);
  const QString& fullText() const { return fullText_; }

  QSize sizeHint() const override;
  QSize minimumSizeHint() const override;

 protected:
  void resizeEvent(QResizeEvent* event) override;
  void focusInEvent(QFocusEvent* event) override;
  void focusOutEvent(QFocusEvent* event) override;
  void changeEvent(QEvent* event) override;

 private:
  void fit();

  QString fullText_;
};

}  // namespace fernwahrung
