#pragma once

#include <QWidget>
#include <functional>

namespace fernwahrung {

/// A symbol that takes its colour from the palette each time it is painted.
class SymbolView : public QWidget {
  Q_OBJECT

 public:
  using Color = std::function<QColor(const QPalette&)>;

  /// `side`: width and height in pixels. Without a colour it is drawn in the colour of text.
  SymbolView(int side, QWidget* parent, QString symbol = {}, Color color = {});
  void setSymbol(const QString& symbol, Color color = {});
  const QString& symbol() const { return symbol_; }

  QSize sizeHint() const override { return {side_, side_}; }

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  const int side_;
  QString symbol_;
  Color color_;
};

}  // namespace fernwahrung
