#pragma once

#include "Integration/Capacity.h"

#include <QWidget>

namespace fernwahrung {

/// Says nothing to a screen reader: whoever shows one names it.
class CapacityBar : public QWidget {
  Q_OBJECT

 public:
  explicit CapacityBar(QWidget* parent);
  /// `fraction`: 0 empty, 1 full.
  void setFill(double fraction, CapacityLevel level);
  double fraction() const { return fraction_; }
  CapacityLevel level() const { return level_; }

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  double fraction_ = 0;
  CapacityLevel level_ = CapacityLevel::ok;
};

}  // namespace fernwahrung
