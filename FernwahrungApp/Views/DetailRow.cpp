#include "FernwahrungApp/Views/DetailRow.h"

#include "FernwahrungApp/Views/Shades.h"

#include <QEvent>

namespace fernwahrung {
namespace {

/// Quieter than the values; follows the palette.
class QuietLabel : public QLabel {
 public:
  QuietLabel(const QString& text, QWidget* parent) : QLabel(text, parent) { fade(); }

 protected:
  void changeEvent(QEvent* event) override {
    QLabel::changeEvent(event);
    if (event->type() == QEvent::ApplicationPaletteChange) fade();
  }

 private:
  void fade() {
    QPalette quiet;
    const QColor shade = Shades::secondary(quiet);
    quiet.setColor(QPalette::Active, QPalette::WindowText, shade);
    quiet.setColor(QPalette::Inactive, QPalette::WindowText, shade);
    setPalette(quiet);
  }
};

}  // namespace

DetailRow::DetailRow(QGridLayout& grid, int line, Value kind, const QString& id, const QString& name)
    : QObject(grid.parentWidget()) {
  QWidget* parent = grid.parentWidget();
  const Qt::Alignment height = kind == Value::path ? Qt::AlignVCenter : Qt::AlignTop;
  name_ = new QuietLabel(name, parent);
  name_->setTextFormat(Qt::PlainText);
  grid.addWidget(name_, line, 0, Qt::AlignRight | height);

  if (kind == Value::path) {
    path_ = new ElidedField(parent);
    path_->setObjectName(id);
    path_->setAccessibleName(name);
    grid.addWidget(path_, line, 1, height);
  } else {
    text_ = new QLabel(parent);
    text_->setObjectName(id);
    text_->setTextFormat(Qt::PlainText);
    text_->setWordWrap(true);
    text_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    grid.addWidget(text_, line, 1, 1, 2, height);
  }
  note_ = new QuietLabel({}, parent);
  note_->setObjectName(id + "Note");
  grid.addWidget(note_, line + 1, 1, 1, 2, Qt::AlignTop);
  button_ = new QPushButton("Im Finder zeigen", parent);
  button_->setObjectName(id + "Reveal");
  button_->setAccessibleName(name + " im Finder zeigen");
  grid.addWidget(button_, line, 2, Qt::AlignRight | Qt::AlignVCenter);
  connect(button_, &QPushButton::clicked, this, &DetailRow::reveal);
  setShown(false);
}

DetailRow::~DetailRow() {
  for (QWidget* widget : std::initializer_list<QWidget*>{name_, path_, text_, note_, button_}) {
    if (!widget) continue;
    widget->hide();
    widget->deleteLater();  // the button may be in the midst of its own click
  }
}

void DetailRow::setValue(const QString& value) {
  if (path_) {
    path_->setFullText(value);
  } else {
    text_->setText(value);
    text_->setAccessibleName(name_->text() + ": " + value);
  }
  setShown(!value.isEmpty());
}

void DetailRow::setNote(const QString& note) {
  note_->setText(note);
  setShown(visible_);
}

void DetailRow::setRevealable(bool revealable) {
  revealable_ = revealable;
  setShown(visible_);
}

QString DetailRow::value() const {
  return path_ ? path_->fullText() : text_->text();
}

void DetailRow::setShown(bool visible) {
  visible_ = visible;
  name_->setVisible(visible);
  if (path_) path_->setVisible(visible);
  if (text_) text_->setVisible(visible);
  note_->setVisible(visible && !note_->text().isEmpty());
  button_->setVisible(visible && revealable_);
}

}  // namespace fernwahrung
