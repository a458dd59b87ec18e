#include "FernwahrungApp/Sheets/GuardedAppsEditor.h"

#include "FernwahrungApp/Model/GuardedApps.h"
#include "FernwahrungApp/Views/ElidedLabel.h"
#include "FernwahrungApp/Views/FollowFocus.h"
#include "FernwahrungApp/Views/SymbolView.h"
#include "FernwahrungApp/Views/Symbols.h"
#include "FernwahrungApp/Views/Texts.h"

#include "Foundation/PathString.h"

#include <QHBoxLayout>
#include <QPointer>
#include <QPushButton>
#include <QScrollArea>
#include <QToolButton>

namespace fernwahrung {
namespace {

constexpr int rowHeight = 28;
constexpr int highestList = 98;  // three rows and a half, so that one sees that there are others
constexpr int symbolSide = 16;

}  // namespace

GuardedAppsEditor::GuardedAppsEditor(Questions& questions, QWidget* parent)
    : QWidget(parent),
      questions_(questions),
      list_(new QWidget),
      scroll_(new QScrollArea(this)),
      add_(new QPushButton(this)) {
  auto* rows = new QVBoxLayout(list_);
  rows->setContentsMargins(0, 0, 0, 0);
  rows->setSpacing(0);
  scroll_->setObjectName("appsList");
  scroll_->setAccessibleName("Zugehörige Apps");
  scroll_->setFrameShape(QFrame::NoFrame);
  scroll_->setFocusPolicy(Qt::NoFocus);
  scroll_->setWidgetResizable(true);
  scroll_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  scroll_->setWidget(list_);
  followFocus(*scroll_);
  scroll_->viewport()->setAutoFillBackground(false);
  list_->setAutoFillBackground(false);

  add_->setObjectName("addApp");
  add_->setText("App hinzufügen …");
  add_->setAccessibleName("Zugehörige App hinzufügen");
  connect(add_, &QPushButton::clicked, this, &GuardedAppsEditor::add);

  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setSpacing(4);
  layout->addWidget(scroll_);
  layout->addWidget(add_, 0, Qt::AlignLeft);
  rebuild();
}

void GuardedAppsEditor::setApps(const std::vector<std::string>& apps) {
  if (apps == apps_) return;
  apps_ = apps;
  rebuild();
}

void GuardedAppsEditor::change(const std::vector<std::string>& apps) {
  if (apps == apps_) return;
  setApps(apps);
  emit appsChanged();
}

void GuardedAppsEditor::add() {
  QPointer<GuardedAppsEditor> self(this);
  std::vector<std::string> apps = GuardedApps::withAnother(questions_, apps_);
  if (self) change(apps);
}

void GuardedAppsEditor::remove(const std::string& app) {
  std::vector<std::string> others = apps_;
  std::erase(others, app);
  // The button that was pressed goes with its row.
  add_->setFocus();
  change(others);
}

void GuardedAppsEditor::rebuild() {
  for (QWidget* old : list_->findChildren<QWidget*>("appRow", Qt::FindDirectChildrenOnly)) delete old;
  QWidget* before = nullptr;
  for (const std::string& app : apps_) {
    QWidget* added = row(app);
    list_->layout()->addWidget(added);
    auto* button = added->findChild<QToolButton*>();
    if (before) setTabOrder(before, button);
    before = button;
  }
  if (before) setTabOrder(before, add_);
  scroll_->setFixedHeight(std::min(static_cast<int>(apps_.size()) * rowHeight, highestList));
  scroll_->setVisible(!apps_.empty());
}

QWidget* GuardedAppsEditor::row(const std::string& app) {
  QString name = Texts::shown(PathString::lastComponent(app));
  auto* row = new QWidget(list_);
  row->setObjectName("appRow");
  row->setFixedHeight(rowHeight);
  auto* label = new ElidedLabel(row);
  label->setFullText(name);
  label->setToolTip(Texts::inToolTip(Texts::shown(app)));
  auto* removeButton = new QToolButton(row);
  removeButton->setObjectName("removeApp");
  removeButton->setIcon(Symbols::icon("minus.circle"));
  removeButton->setAutoRaise(true);
  removeButton->setFocusPolicy(Qt::StrongFocus);
  removeButton->setToolTip("Entfernen");
  removeButton->setAccessibleName(name + " entfernen");
  connect(
      removeButton, &QToolButton::clicked, this, [this, app] { remove(app); }, Qt::QueuedConnection);

  auto* layout = new QHBoxLayout(row);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setSpacing(8);
  layout->addWidget(new SymbolView(symbolSide, row, "app"));
  layout->addWidget(label, 1);
  layout->addWidget(removeButton);
  return row;
}

}  // namespace fernwahrung
