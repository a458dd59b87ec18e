#pragma once

#include <QWidget>

namespace fernwahrung {

/// What stands where nothing is to be shown: a symbol, a title, and perhaps a sentence.
class Placeholder : public QWidget {
  Q_OBJECT

 public:
  Placeholder(const QString& symbol, const QString& title, const QString& text, QWidget* parent);
};

}  // namespace fernwahrung
