#pragma once

#include "FernwahrungApp/Model/AppModel.h"
#include "FernwahrungApp/Views/LaterUpdate.h"

namespace fernwahrung {

/// Shows the model's messages, one after the other, and dismisses each once it was read.
class Alerts : public QObject {
  Q_OBJECT

 public:
  explicit Alerts(AppModel& model);

 private:
  void showAll();

  AppModel& model_;
  bool showing_ = false;
  LaterUpdate update_;
};

}  // namespace fernwahrung
