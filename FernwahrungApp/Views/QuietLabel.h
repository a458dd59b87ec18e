#pragma once

#include <QLabel>

namespace fernwahrung {

/// Plain text of less weight than what stands around it; follows the palette.
class QuietLabel : public QLabel {
  Q_OBJECT

 public:
  QuietLabel(const QString& text, QWidget* parent);

 protected:
  void changeEvent(QEvent* event) override;

 private:
  void fade();
};

}  // namespace fernwahrung
