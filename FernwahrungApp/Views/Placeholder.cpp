#include "FernwahrungApp/Views/Placeholder.h"

#include "FernwahrungApp/Views/Shades.h"
#include "FernwahrungApp/Views/SymbolView.h"

#include <QLabel>
#include <QVBoxLayout>

namespace fernwahrung {
namespace {

QLabel* centred(const QString& text, QWidget* parent) {
  auto* label = new QLabel(text, parent);
  label->setAlignment(Qt::AlignCenter);
  label->setWordWrap(true);
  return label;
}

}  // namespace

Placeholder::Placeholder(const QString& symbol, const QString& title, const QString& text, QWidget* parent)
    : QWidget(parent) {
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(24, 24, 24, 24);
  layout->setSpacing(8);
  layout->addStretch();
  if (!symbol.isEmpty()) {
    layout->addWidget(new SymbolView(48, this, symbol, Shades::secondary), 0, Qt::AlignHCenter);
    layout->addSpacing(8);
  }
  QLabel* heading = centred(title, this);
  QFont font = heading->font();
  font.setPointSizeF(font.pointSizeF() * 1.25);
  font.setWeight(QFont::DemiBold);
  heading->setFont(font);
  layout->addWidget(heading);
  if (!text.isEmpty()) layout->addWidget(centred(text, this));
  layout->addStretch();
}

}  // namespace fernwahrung
