#include "FernwahrungApp/Sheets/FindingRow.h"

#include "FernwahrungApp/Views/WrappedText.h"

#include <QHBoxLayout>
#include <QVBoxLayout>
#include <algorithm>

namespace fernwahrung {
namespace {

constexpr int symbolSide = 18;

QVBoxLayout* lowered(QWidget* widget, int by) {
  auto* layout = new QVBoxLayout;
  layout->setContentsMargins(0, std::max(by, 0), 0, 0);
  layout->addWidget(widget, 0, Qt::AlignTop);
  return layout;
}

}  // namespace

FindingRow::FindingRow(const QString& symbol, SymbolView::Color color, const QString& id, const QString& kind,
                       const QString& text, QWidget* parent)
    : QWidget(parent) {
  auto* sign = new SymbolView(symbolSide, this, symbol, std::move(color));
  auto* words = new WrappedText(text, this);
  words->setObjectName(id);
  words->setAccessibleName(kind);
  auto* layout = new QHBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setSpacing(8);
  // The symbol stands in the middle of the first line, whichever of the two is higher.
  const int lower = (symbolSide - words->fontMetrics().lineSpacing()) / 2;
  layout->addLayout(lowered(sign, -lower));
  layout->addLayout(lowered(words, lower), 1);
}

}  // namespace fernwahrung
