#pragma once

#include "FernwahrungApp/Views/SymbolView.h"

#include <QWidget>

namespace fernwahrung {

/// One finding of a check: a symbol and its text.
class FindingRow : public QWidget {
  Q_OBJECT

 public:
  /// `id` names the text; `kind` ("Warnung") is what a screen reader says before it.
  FindingRow(const QString& symbol, SymbolView::Color color, const QString& id, const QString& kind,
             const QString& text, QWidget* parent);
};

}  // namespace fernwahrung
