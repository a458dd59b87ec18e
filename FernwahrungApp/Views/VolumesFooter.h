#pragma once

#include "FernwahrungApp/Model/AppModel.h"
#include "FernwahrungApp/Views/LaterUpdate.h"

#include <QWidget>

class QVBoxLayout;

namespace fernwahrung {

/// How full the volumes in use are; hidden while none is known.
class VolumesFooter : public QWidget {
  Q_OBJECT

 public:
  VolumesFooter(const AppModel& model, QWidget* parent);

 private:
  class Line;
  void update();

  const AppModel& model_;
  QVBoxLayout* layout_;
  std::vector<Line*> lines_;
  LaterUpdate update_;
};

}  // namespace fernwahrung
