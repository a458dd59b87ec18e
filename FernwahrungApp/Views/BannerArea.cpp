#include "FernwahrungApp/Views/BannerArea.h"

#include "FernwahrungApp/Views/FittingScrollArea.h"

#include <algorithm>

namespace fernwahrung {
namespace {

constexpr int highest = 240;

}  // namespace

BannerArea::BannerArea(AppModel& model, QWidget& before, QWidget* parent)
    : QWidget(parent), model_(model), before_(before), update_([this] { update(); }) {
  auto* content = new QWidget(this);
  layout_ = new QVBoxLayout(content);
  layout_->setContentsMargins(8, 8, 8, 8);
  layout_->setSpacing(8);
  auto* outer = new QVBoxLayout(this);
  outer->setContentsMargins(0, 0, 0, 0);
  outer->addWidget(new FittingScrollArea(content, highest, this));
  update_.follow(&model_, &AppModel::unfinishedChanged, &AppModel::busyTitleChanged);
  update();
}

void BannerArea::update() {
  const std::vector<Journal>& wanted = model_.unfinished();
  bool same = std::equal(
      banners_.begin(), banners_.end(), wanted.begin(), wanted.end(),
      [](const UnfinishedBanner* banner, const Journal& journal) { return banner->journal() == journal; });
  if (!same) {
    // later: one of them may be in the midst of its own click
    for (UnfinishedBanner* banner : banners_) {
      banner->hide();
      banner->deleteLater();
    }
    banners_.clear();
    QWidget* before = &before_;
    for (const Journal& journal : wanted) {
      banners_.push_back(new UnfinishedBanner(model_, journal, this));
      layout_->addWidget(banners_.back());
      setTabOrder(before, &banners_.back()->button());
      before = &banners_.back()->button();
    }
  }
  for (UnfinishedBanner* banner : banners_) banner->button().setEnabled(!model_.busyTitle());
  setVisible(!banners_.empty());
}

}  // namespace fernwahrung
