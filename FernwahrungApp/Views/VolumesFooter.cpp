#include "FernwahrungApp/Views/VolumesFooter.h"

#include "FernwahrungApp/Views/CapacityBar.h"
#include "FernwahrungApp/Views/ElidedLabel.h"
#include "FernwahrungApp/Views/FittingScrollArea.h"
#include "FernwahrungApp/Views/Shades.h"
#include "FernwahrungApp/Views/SymbolView.h"
#include "FernwahrungApp/Views/Symbols.h"
#include "FernwahrungApp/Views/Texts.h"

#include "Foundation/ByteFormat.h"

#include <QGridLayout>
#include <cmath>
#include <fmt/format.h>

namespace fernwahrung {
namespace {

constexpr int highest = 168;

}  // namespace

class VolumesFooter::Line : public QWidget {
 public:
  explicit Line(QWidget* parent)
      : QWidget(parent),
        symbol_(new SymbolView(20, this)),
        name_(new ElidedLabel(this)),
        free_(new QLabel(this)),
        bar_(new CapacityBar(this)) {
    auto* grid = new QGridLayout(this);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setHorizontalSpacing(8);
    grid->setVerticalSpacing(4);
    grid->addWidget(symbol_, 0, 0, 2, 1, Qt::AlignVCenter);
    grid->addWidget(name_, 0, 1);
    grid->addWidget(free_, 0, 2);
    grid->addWidget(bar_, 1, 1, 1, 2);
    grid->setColumnStretch(1, 1);
    free_->setTextFormat(Qt::PlainText);
    free_->setObjectName("volumeFree");
    name_->setObjectName("volumeName");
    bar_->setObjectName("volumeBar");
    symbol_->setObjectName("volumeSymbol");
  }

  void show(const VolumeCapacity& volume) {
    if (shown_ == volume) return;
    shown_ = volume;
    symbol_->setSymbol(volume.isInternal ? "internaldrive" : "externaldrive", Shades::secondary);
    name_->setFullText(Texts::shown(volume.name));
    free_->setText(Texts::shown(ByteFormat::string(volume.freeBytes) + " frei"));
    bar_->setFill(volume.fraction(), volume.level);
    bar_->setAccessibleName(
        Texts::shown(fmt::format("{}: zu {:.0f} % belegt", volume.name, std::floor(bar_->fraction() * 100))));
  }

 private:
  VolumeCapacity shown_;
  SymbolView* symbol_;
  ElidedLabel* name_;
  QLabel* free_;
  CapacityBar* bar_;
};

VolumesFooter::VolumesFooter(const AppModel& model, QWidget* parent)
    : QWidget(parent), model_(model), update_([this] { update(); }) {
  setObjectName("volumesFooter");
  auto* heading = new QLabel("Laufwerk", this);
  QFont font = heading->font();
  font.setWeight(QFont::DemiBold);
  heading->setFont(font);

  auto* content = new QWidget(this);
  layout_ = new QVBoxLayout(content);
  layout_->setContentsMargins(0, 0, 0, 0);
  layout_->setSpacing(10);
  auto* outer = new QVBoxLayout(this);
  outer->setContentsMargins(16, 12, 16, 14);
  outer->setSpacing(8);
  outer->addWidget(heading);
  outer->addWidget(new FittingScrollArea(content, highest, this));
  update_.follow(&model_, &AppModel::volumesChanged);
  update();
}

void VolumesFooter::update() {
  const std::vector<VolumeCapacity>& volumes = model_.volumes();
  while (lines_.size() > volumes.size()) {
    delete lines_.back();
    lines_.pop_back();
  }
  while (lines_.size() < volumes.size()) {
    lines_.push_back(new Line(this));
    layout_->addWidget(lines_.back());
  }
  for (std::size_t i = 0; i < volumes.size(); ++i) lines_[i]->show(volumes[i]);
  setVisible(!volumes.empty());
}

}  // namespace fernwahrung
