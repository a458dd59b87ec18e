#include "FernwahrungApp/Sheets/NewRelocationSheet.h"

#include "FernwahrungApp/Sheets/GuardedAppsEditor.h"
#include "FernwahrungApp/Views/ElidedField.h"
#include "FernwahrungApp/Views/QuietLabel.h"
#include "FernwahrungApp/Views/Texts.h"

#include <QCheckBox>
#include <QFormLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QScreen>
#include <QSignalBlocker>
#include <QSpinBox>
#include <QVBoxLayout>

namespace fernwahrung {
namespace {

constexpr int narrowest = 640;
constexpr int margin = 24;
constexpr int largestSizeGB = 100'000;
constexpr const char* procedure =
    "Ablauf: kopieren → Datei für Datei prüfen → Original umbenennen (bleibt erhalten) → einhängen bzw. "
    "verlinken → kontrollieren. Bei jedem Fehler wird automatisch zurückgerollt.";

template <class Widget>
Widget* named(Widget* widget, const QString& id, const QString& accessibleName) {
  widget->setObjectName(id);
  widget->setAccessibleName(accessibleName);
  return widget;
}

QVBoxLayout* column(QWidget* parent) {
  auto* layout = new QVBoxLayout(parent);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setSpacing(4);
  return layout;
}

QFont scaled(QFont font, double factor) {
  font.setPointSizeF(font.pointSizeF() * factor);
  return font;
}

QLabel* heading(const QString& text, QWidget* parent) {
  auto* label = new QLabel(text, parent);
  QFont font = scaled(label->font(), 1.25);
  font.setBold(true);
  label->setFont(font);
  return label;
}

}  // namespace

NewRelocationSheet::NewRelocationSheet(AppModel& model, QWidget* parent, CheckResultView::Timing timing)
    : QDialog(parent), model_(model), form_(model) {
  setObjectName("newRelocationSheet");
  setWindowTitle("Ordner fernwahren");
  setWindowModality(Qt::WindowModal);
  setMinimumWidth(narrowest);

  rows_ = new QFormLayout;
  rows_->setLabelAlignment(Qt::AlignRight | Qt::AlignTop);
  rows_->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
  rows_->setRowWrapPolicy(QFormLayout::DontWrapRows);
  rows_->setHorizontalSpacing(16);
  rows_->setVerticalSpacing(12);
  addFields(*rows_);

  result_ = new CheckResultView(model, procedure, timing, this);
  appClosed_ = named(new QCheckBox("Die App ist beendet", this), "appClosed", "Die App ist beendet");

  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(margin, margin, margin, margin);
  layout->setSpacing(16);
  layout->addWidget(heading(windowTitle(), this));
  layout->addLayout(rows_);
  layout->addWidget(result_, 1);
  layout->addWidget(appClosed_, 0, Qt::AlignLeft);
  layout->addStretch();
  layout->addWidget(buttonRow());

  follow();
  showForm();
  QPushButton* next = check_;
  if (!form_.storageChosen()) next = findChild<QPushButton*>("chooseStorage");
  if (form_.source().empty()) next = findChild<QPushButton*>("chooseSource");
  next->setFocus();
}

void NewRelocationSheet::addFields(QFormLayout& rows) {
  source_ = new ElidedField(this);
  source_->setPlaceholderText("Noch kein Ordner gewählt");
  rows.addRow("Ordner auf dem Mac",
              chooserRow(source_, "Source", "Ordner auf dem Mac", &NewRelocationForm::chooseSource));
  name_ = named(new QLineEdit(this), "nameField", "Name");
  rows.addRow("Name", name_);
  rows.addRow("Verfahren", kindRow());
  storage_ = new ElidedField(this);
  storage_->setPlaceholderText("Noch kein Ziel gewählt");
  rows.addRow("Ziel auf dem Laufwerk",
              chooserRow(storage_, "Storage", "Ziel auf dem Laufwerk", &NewRelocationForm::chooseStorage));
  sizeRow_ = sizeRow();
  rows.addRow("Maximale Größe", sizeRow_);
  spotlight_ = named(new QCheckBox("Spotlight-Suche erlauben (nötig z. B. für die Outlook-Suche)", this),
                     "spotlight", "Spotlight-Suche erlauben");
  rows.addRow(QString(), spotlight_);
  apps_ = new GuardedAppsEditor(model_.questions(), this);
  rows.addRow("Zugehörige Apps", apps_);
}

QWidget* NewRelocationSheet::chooserRow(ElidedField* field, const QString& id, const QString& name,
                                        void (NewRelocationForm::*choose)()) {
  auto* row = new QWidget(this);
  auto* layout = new QHBoxLayout(row);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setSpacing(8);
  layout->addWidget(named(field, id.toLower() + "Field", name), 1);
  auto* button = named(new QPushButton("Wählen …", row), "choose" + id, name + " wählen");
  connect(button, &QPushButton::clicked, &form_, choose);
  layout->addWidget(button);
  return row;
}

QWidget* NewRelocationSheet::kindRow() {
  auto* row = new QWidget(this);
  auto* layout = column(row);
  auto option = [&](const QString& id, const QString& text) {
    auto* button = named(new QRadioButton(text, row), id, text);
    layout->addWidget(button);
    return button;
  };
  image_ = option("kindImage", "Virtuelle Festplatte (für Sandbox-Apps wie Outlook)");
  symlink_ = option("kindSymlink", "Symlink (für Apps ohne Sandbox wie FreeCAD)");
  return row;
}

QWidget* NewRelocationSheet::sizeRow() {
  auto* row = new QWidget(this);
  auto* layout = column(row);
  size_ = named(new QSpinBox(row), "sizeField", "Maximale Größe in Gigabyte");
  size_->setRange(1, largestSizeGB);
  size_->setSuffix(" GB");
  size_->setAlignment(Qt::AlignRight);
  layout->addWidget(size_, 0, Qt::AlignLeft);
  auto* note =
      new QuietLabel("Belegt wird nur, was wirklich darin liegt. Die Größe lässt sich später ändern.", row);
  note->setObjectName("sizeNote");
  note->setWordWrap(true);
  note->setFont(scaled(note->font(), 0.9));
  layout->addWidget(note);
  return row;
}

QWidget* NewRelocationSheet::buttonRow() {
  auto* row = new QWidget(this);
  auto* layout = new QHBoxLayout(row);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setSpacing(8);

  checking_ = new QWidget(row);
  checking_->setObjectName("checking");
  auto* busy = new QHBoxLayout(checking_);
  busy->setContentsMargins(0, 0, 0, 0);
  busy->setSpacing(8);
  auto* bar = named(new QProgressBar(checking_), "checkingBar", "Der Ordner wird geprüft");
  bar->setRange(0, 0);
  bar->setTextVisible(false);
  bar->setFixedSize(64, 8);
  busy->addWidget(bar);
  busy->addWidget(new QLabel("Wird geprüft …", checking_));

  auto button = [&](const QString& id, const QString& text) {
    return named(new QPushButton(text, row), id, text);
  };
  cancel_ = button("cancelButton", "Abbrechen");
  check_ = button("checkButton", "Prüfen");
  start_ = button("startButton", "Fernwahren starten");
  layout->addWidget(checking_);
  layout->addStretch();
  layout->addWidget(cancel_);
  layout->addWidget(check_);
  layout->addWidget(start_);
  return row;
}

void NewRelocationSheet::follow() {
  connect(&form_, &NewRelocationForm::changed, this, &NewRelocationSheet::showForm);
  connect(name_, &QLineEdit::textEdited, &form_,
          [this](const QString& text) { form_.setName(text.toStdString()); });
  connect(image_, &QRadioButton::toggled, &form_,
          [this](bool image) { form_.setKind(image ? RelocationKind::image : RelocationKind::symlink); });
  connect(size_, &QSpinBox::valueChanged, &form_, &NewRelocationForm::setSizeGB);
  connect(spotlight_, &QCheckBox::toggled, &form_, &NewRelocationForm::setSpotlight);
  connect(apps_, &GuardedAppsEditor::appsChanged, &form_, [this] { form_.setApps(apps_->apps()); });
  connect(result_, &CheckResultView::recheck, &form_, &NewRelocationForm::checkAgain);
  connect(appClosed_, &QCheckBox::toggled, &form_, &NewRelocationForm::setAppClosedConfirmed);
  connect(check_, &QPushButton::clicked, &form_, &NewRelocationForm::runCheck);
  connect(cancel_, &QPushButton::clicked, this, &QDialog::reject);
  connect(start_, &QPushButton::clicked, this, [this] {
    if (form_.start()) accept();
  });
}

void NewRelocationSheet::showForm() {
  const QSignalBlocker blockers[] = {QSignalBlocker(image_), QSignalBlocker(size_),
                                     QSignalBlocker(spotlight_), QSignalBlocker(appClosed_)};
  source_->setFullText(Texts::shown(form_.source()));
  if (name_->text().toStdString() != form_.name()) name_->setText(Texts::shown(form_.name()));
  bool image = form_.kind() == RelocationKind::image;
  (image ? image_ : symlink_)->setChecked(true);
  storage_->setFullText(form_.storageChosen() ? Texts::shown(form_.storage()) : QString());
  // The check may have chosen a size that nobody would type.
  int sizeGB = static_cast<int>(form_.sizeGB());
  size_->setMaximum(std::max(largestSizeGB, sizeGB));
  size_->setValue(sizeGB);
  spotlight_->setChecked(form_.spotlight());
  rows_->setRowVisible(sizeRow_, image);
  rows_->setRowVisible(spotlight_, image);
  apps_->setApps(form_.apps());

  showResult();
  checking_->setVisible(form_.checking());
  // Not disabled while it checks: the keyboard would move on to another button.
  check_->setEnabled(form_.checking() || form_.canCheck());
  check_->setDefault(!form_.canStart());
  start_->setDefault(form_.canStart());
  orderTabs();
}

void NewRelocationSheet::showResult() {
  const int before = height();  // what becomes visible may need more at once
  bool shown = form_.check().has_value();
  bool possible = shown && form_.check()->blockers.empty();
  result_->setBusy(form_.checking() || model_.busyTitle());
  bool changes = result_->setResult(form_.check());
  result_->setVisible(shown);
  appClosed_->setVisible(possible);
  appClosed_->setChecked(form_.appClosedConfirmed());
  start_->setVisible(possible);
  start_->setEnabled(form_.canStart());
  if (changes) fitHeight(before);
}

/// From top to bottom: what was made anew would come last.
void NewRelocationSheet::orderTabs() {
  QList<QWidget*> order;
  for (QLayout* part : {static_cast<QLayout*>(rows_), layout()}) {
    for (int i = 0; i < part->count(); ++i) {
      QWidget* row = part->itemAt(i)->widget();
      if (row) order << row << row->findChildren<QWidget*>();
    }
  }
  order.removeIf(
      [](const QWidget* widget) { return !(widget->focusPolicy() & Qt::TabFocus) || widget->focusProxy(); });
  for (qsizetype i = 1; i < order.size(); ++i) setTabOrder(order[i - 1], order[i]);
}

/// Grows as far as the result needs and the screen allows, and without that need goes back to the height it
/// had before, unless the user has chosen another meanwhile.
void NewRelocationSheet::fitHeight(int before) {
  if (before != grownTo_) heightBefore_ = before;
  layout()->activate();
  int needed = layout()->totalMinimumHeightForWidth(width());
  if (!result_->isHidden()) {
    needed += result_->heightOfAll(width() - 2 * margin) - result_->minimumSizeHint().height();
  }
  const QRect room = screen()->availableGeometry();
  const int frame = frameGeometry().height() - height();
  grownTo_ = std::max(heightBefore_, std::min(needed, room.height() - frame));
  const int below = y() + frame + grownTo_ - 1 - room.bottom();
  if (grownTo_ > height() && below > 0) move(x(), std::max(room.top(), y() - below));
  if (height() != grownTo_) resize(width(), grownTo_);
  grownTo_ = height();
}

}  // namespace fernwahrung
