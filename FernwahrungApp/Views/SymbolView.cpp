#include "FernwahrungApp/Views/SymbolView.h"

#include "FernwahrungApp/Views/Symbols.h"

#include <QPainter>

namespace fernwahrung {

SymbolView::SymbolView(int side, QWidget* parent, QString symbol, Color color)
    : QWidget(parent), side_(side), symbol_(std::move(symbol)), color_(std::move(color)) {
  setFixedSize(side, side);
}

void SymbolView::setSymbol(const QString& symbol, Color color) {
  symbol_ = symbol;
  color_ = std::move(color);
  update();
}

void SymbolView::paintEvent(QPaintEvent*) {
  if (symbol_.isEmpty()) return;
  QColor color = color_ ? color_(palette()) : palette().color(QPalette::WindowText);
  QPainter(this).drawPixmap(0, 0, Symbols::pixmap(symbol_, side_, color, devicePixelRatioF()));
}

}  // namespace fernwahrung
