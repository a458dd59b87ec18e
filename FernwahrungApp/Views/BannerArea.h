#pragma once

#include "FernwahrungApp/Model/AppModel.h"
#include "FernwahrungApp/Views/LaterUpdate.h"
#include "FernwahrungApp/Views/UnfinishedBanner.h"

#include <QVBoxLayout>
#include <QWidget>

namespace fernwahrung {

/// The banners, one under the other; without any it is hidden.
class BannerArea : public QWidget {
  Q_OBJECT

 public:
  BannerArea(AppModel& model, QWidget* parent);

 private:
  void update();

  AppModel& model_;
  QVBoxLayout* layout_;
  std::vector<UnfinishedBanner*> banners_;
  LaterUpdate update_;
};

}  // namespace fernwahrung
