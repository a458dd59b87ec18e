#include "FernwahrungApp/Sheets/FindingRow.h"

#include "FernwahrungApp/Views/WrappedText.h"

#include <QHBoxLayout>

namespace fernwahrung {
namespace {

constexpr int symbolSide = 18;

}  // namespace

FindingRow::FindingRow(const QString& symbol, SymbolView::Color color, const QString& id, const QString& kind,
                       const QString& text, QWidget* parent)
    : QWidget(parent) {
  auto* sign = new SymbolView(symbolSide, this, symbol, std::move(color));
  auto* words = new WrappedText(text, this);
  words->setObjectName(id);
  words->setAccessibleName(kind);
  words->setAccessibleDescription(text);
  auto* layout = new QHBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setSpacing(8);
  layout->addWidget(sign, 0, Qt::AlignTop);
  layout->addWidget(words, 1, Qt::AlignTop);
}

}  // namespace fernwahrung
