#pragma once

#include <QLabel>

namespace fernwahrung {

/// A label that is shortened in its middle instead of widening its window. The tool tip shows it whole.
class ElidedLabel : public QLabel {
  Q_OBJECT

 public:
  explicit ElidedLabel(QWidget* parent = nullptr);
  void setFullText(const QString& text);

  QSize minimumSizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;
};

}  // namespace fernwahrung
