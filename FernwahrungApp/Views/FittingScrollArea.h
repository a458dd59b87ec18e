#pragma once

#include <QScrollArea>

namespace fernwahrung {

/// As high as its content, up to a limit; beyond it the content scrolls, with the keyboard too.
class FittingScrollArea : public QScrollArea {
  Q_OBJECT

 public:
  FittingScrollArea(QWidget* content, int highest, QWidget* parent);

  QSize sizeHint() const override;
  QSize minimumSizeHint() const override;

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;

 private:
  int fittingHeight() const;
  void fit();

  const int highest_;
};

}  // namespace fernwahrung
