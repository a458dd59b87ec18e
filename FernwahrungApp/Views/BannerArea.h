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
  /// `before`: the control after which Tab comes to the banners.
  BannerArea(AppModel& model, QWidget& before, QWidget* parent);

 private:
  void update();

  AppModel& model_;
  QWidget& before_;
  QVBoxLayout* layout_;
  std::vector<UnfinishedBanner*> banners_;
  LaterUpdate update_;
};

}  // namespace fernwahrung
