#include "FernwahrungApp/Views/Banner.h"

#include "FernwahrungApp/Views/SymbolView.h"
#include "FernwahrungApp/Views/Texts.h"

#include <QLabel>
#include <QVBoxLayout>

namespace fernwahrung {

Banner::Banner(Color color, const QString& icon, const QString& text, const QString& button, QWidget* parent)
    : Card(parent), text_(text), button_(new QPushButton(button, this)) {
  setAccent(color);
  auto* label = new QLabel(Texts::breakable(text), this);
  label->setTextFormat(Qt::PlainText);
  label->setWordWrap(true);
  label->setAccessibleName(text);

  auto* column = new QVBoxLayout;
  column->setSpacing(8);
  column->addWidget(label);
  column->addWidget(button_, 0, Qt::AlignLeft);
  auto* row = new QHBoxLayout(this);
  row->setContentsMargins(12, 12, 12, 12);
  row->setSpacing(8);
  row->addWidget(new SymbolView(20, this, icon, color), 0, Qt::AlignTop);
  row->addLayout(column, 1);

  button_->setAutoDefault(true);
  connect(button_, &QPushButton::clicked, this, &Banner::pressed);
}

}  // namespace fernwahrung
