#pragma once

#include <QFrame>
#include <functional>

namespace fernwahrung {

/// A rounded panel, tinted where something wants attention.
class Card : public QFrame {
  Q_OBJECT

 public:
  using Color = std::function<QColor(const QPalette&)>;

  explicit Card(QWidget* parent = nullptr);
  /// Nothing: the ground of lists.
  void setAccent(Color accent);

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  Color accent_;
};

}  // namespace fernwahrung
