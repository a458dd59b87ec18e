#include "FernwahrungApp/Views/DetailRow.h"

#include "FernwahrungApp/Views/QuietLabel.h"
#include "FernwahrungApp/Views/WrappedText.h"

namespace fernwahrung {
DetailRow::DetailRow(QGridLayout& grid, int line, Value kind, const QString& id, const QString& name)
    : QObject(grid.parentWidget()) {
  QWidget* parent = grid.parentWidget();
  const Qt::Alignment height = kind == Value::path ? Qt::AlignVCenter : Qt::AlignTop;
  name_ = new QuietLabel(name, parent);
  grid.addWidget(name_, line, 0, Qt::AlignRight | height);

  if (kind == Value::path) {
    path_ = new ElidedField(parent);
    path_->setObjectName(id);
    path_->setAccessibleName(name);
    grid.addWidget(path_, line, 1, height);
  } else {
    text_ = new WrappedText({}, parent);
    text_->setObjectName(id);
    text_->setAccessibleName(name);
    text_->setFocusPolicy(Qt::ClickFocus);
    grid.addWidget(text_, line, 1, 1, 2, height);
  }
  missingNote_ = new QuietLabel("(nicht mehr vorhanden)", parent);
  missingNote_->setObjectName(id + "Missing");
  grid.addWidget(missingNote_, line, 2, Qt::AlignRight | Qt::AlignVCenter);
  button_ = new QPushButton("Im Finder zeigen", parent);
  button_->setObjectName(id + "Reveal");
  button_->setAccessibleName(name + " im Finder zeigen");
  grid.addWidget(button_, line, 2, Qt::AlignRight | Qt::AlignVCenter);
  connect(button_, &QPushButton::clicked, this, &DetailRow::reveal);
  setShown(false);
}

DetailRow::~DetailRow() {
  for (QWidget* widget : std::initializer_list<QWidget*>{name_, path_, text_, missingNote_, button_}) {
    if (!widget) continue;
    widget->hide();
    widget->deleteLater();  // the button may be in the midst of its own click
  }
}

void DetailRow::setValue(const QString& value) {
  if (path_) {
    path_->setFullText(value);
  } else {
    text_->showText(value);
  }
  setShown(!value.isEmpty());
}

void DetailRow::setMissing(bool missing) {
  missing_ = missing;
  setShown(visible_);
}

void DetailRow::setRevealable(bool revealable) {
  revealable_ = revealable;
  setShown(visible_);
}

void DetailRow::setShown(bool visible) {
  visible_ = visible;
  name_->setVisible(visible);
  if (path_) path_->setVisible(visible);
  if (text_) text_->setVisible(visible);
  missingNote_->setVisible(visible && missing_);
  button_->setVisible(visible && revealable_ && !missing_);
}

}  // namespace fernwahrung
