#pragma once

#include "FernwahrungApp/Model/AppModel.h"

#include <QDialog>
#include <QPointer>
#include <functional>

namespace fernwahrung {

/// Shows the model's sheet over its window, and takes it back when the dialog ends.
class SheetHost : public QObject {
  Q_OBJECT

 public:
  /// Makes the dialog of a sheet; nullptr for one that can't be shown.
  using Factory = std::function<QDialog*(const Sheet&, QWidget* window)>;

  SheetHost(AppModel& model, QWidget& window, Factory make);

 private:
  void update();

  AppModel& model_;
  QWidget& window_;
  const Factory make_;
  QPointer<QDialog> dialog_;
};

}  // namespace fernwahrung
