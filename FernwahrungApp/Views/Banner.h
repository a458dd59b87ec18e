#pragma once

#include "FernwahrungApp/Views/Card.h"

#include <QPushButton>

namespace fernwahrung {

/// One thing that wants a decision: a symbol, a sentence, a button.
class Banner : public Card {
  Q_OBJECT

 public:
  /// `color` tints the banner and its symbol.
  Banner(Color color, const QString& icon, const QString& text, const QString& button, QWidget* parent);

  const QString& text() const { return text_; }
  QPushButton& button() const { return *button_; }

 signals:
  void pressed();

 private:
  const QString text_;
  QPushButton* button_;
};

}  // namespace fernwahrung
