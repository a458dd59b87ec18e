#include "FernwahrungApp/Views/AppCommands.h"

#include "FernwahrungApp/Model/AvailableCommands.h"
#include "FernwahrungApp/Model/Confirmations.h"
#include "FernwahrungApp/Views/Symbols.h"
#include "FernwahrungApp/Views/Texts.h"

#include <QMenu>
#include <QMenuBar>

namespace fernwahrung {

template <class Command>
auto AppCommands::onSelection(Command command) {
  return [this, command] {
    if (const Relocation* selected = model_.selectedRelocation()) command(model_, *selected);
  };
}

AppCommands::AppCommands(AppModel& model, QMainWindow& window)
    : QObject(&window), model_(model), update_([this] { update(); }) {
  newRelocation_ = add("menuRelocate", "Ordner fernwahren …", QKeySequence("Ctrl+N"));
  quit_ = add("menuQuit", "Fernwahrung beenden", QKeySequence("Ctrl+Q"));
  quit_->setMenuRole(QAction::QuitRole);
  selection_ = add("menuSelection", "Keine Fernwahrung ausgewählt");
  selection_->setEnabled(false);
  mount_ = add("menuMount", "Einhängen");
  unmount_ = add("menuUnmount", "Aushängen");
  revealSource_ = add("menuRevealSource", "Ort auf dem Mac im Finder zeigen");
  revealStorage_ = add("menuRevealStorage", "Speicherort im Finder zeigen");
  mountAll_ = add("menuMountAll", "Alle einhängen", QKeySequence("Ctrl+Shift+M"));
  refresh_ = add("menuRefresh", "Aktualisieren", QKeySequence("Ctrl+R"));

  connect(newRelocation_, &QAction::triggered, &model_, [this] { model_.newRelocation(); });
  connect(quit_, &QAction::triggered, this, &AppCommands::quit);
  connect(mount_, &QAction::triggered, &model_,
          onSelection([](AppModel& target, const Relocation& relocation) { target.mount(relocation); }));
  connect(unmount_, &QAction::triggered, &model_, onSelection(Confirmations::unmountFromMenu));
  connect(revealSource_, &QAction::triggered, &model_,
          onSelection([](AppModel& target, const Relocation& relocation) {
            target.revealInFinder(relocation.sourcePath);
          }));
  connect(revealStorage_, &QAction::triggered, &model_,
          onSelection([](AppModel& target, const Relocation& relocation) {
            target.revealInFinder(relocation.storagePath);
          }));
  connect(mountAll_, &QAction::triggered, &model_, &AppModel::mountAll);
  connect(refresh_, &QAction::triggered, &model_, &AppModel::refresh);

  buildMenus(window);
  buildToolBar(window);
  update_.follow(&model_, &AppModel::relocationsChanged, &AppModel::statusesChanged,
                 &AppModel::selectionChanged, &AppModel::busyTitleChanged, &AppModel::loadedChanged);
  update();
}

QAction* AppCommands::add(const QString& id, const QString& text, const QKeySequence& shortcut) {
  auto* action = new QAction(text, this);
  action->setObjectName(id);
  action->setShortcut(shortcut);
  action->setMenuRole(QAction::NoRole);  // else Qt guesses one by the text
  return action;
}

void AppCommands::buildMenus(QMainWindow& window) {
  QMenu* file = window.menuBar()->addMenu("&Ablage");
  file->setObjectName("menuFile");
  file->addAction(newRelocation_);
  file->addSeparator();
  file->addAction(quit_);
  QMenu* relocation = window.menuBar()->addMenu("&Fernwahrung");
  relocation->setObjectName("menuRelocation");
  relocation->addAction(selection_);
  relocation->addSeparator();
  relocation->addActions({mount_, unmount_, revealSource_, revealStorage_});
  relocation->addSeparator();
  relocation->addActions({mountAll_, refresh_});
}

void AppCommands::buildToolBar(QMainWindow& window) {
  toolBar_ = window.addToolBar("Werkzeuge");
  toolBar_->setObjectName("toolbar");
  toolBar_->setMovable(false);
  toolBar_->setFloatable(false);
  toolBar_->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
  toolBar_->setIconSize({18, 18});
  addTool(newRelocation_, "toolbarRelocate", "Fernwahren", "plus", "Neuen Ordner fernwahren (⌘N)");
  addTool(refresh_, "toolbarRefresh", "Aktualisieren", "arrow.clockwise",
          "Zustand aller Fernwahrungen neu einlesen (⌘R)");
}

void AppCommands::addTool(QAction* action, const QString& id, const QString& label, const QString& symbol,
                          const QString& help) {
  action->setIcon(Symbols::icon(symbol));
  action->setIconVisibleInMenu(false);
  action->setIconText(label);
  action->setToolTip(help);
  toolBar_->addAction(action);
  QWidget* button = toolBar_->widgetForAction(action);
  button->setObjectName(id);
  button->setAccessibleName(label);
  button->setFocusPolicy(Qt::StrongFocus);
}

void AppCommands::update() {
  const Relocation* selected = model_.selectedRelocation();
  const RelocationStatus* status = selected ? model_.status(*selected) : nullptr;
  const bool idle = !model_.busyTitle();
  selection_->setText(selected ? "Ausgewählt: " + Texts::inMenu(selected->name)
                               : "Keine Fernwahrung ausgewählt");
  // One of the two always stands there, so that the menu keeps its shape.
  const bool mounted = selected && AvailableCommands::unmount(*selected, status);
  unmount_->setVisible(mounted);
  unmount_->setEnabled(idle);
  mount_->setVisible(!mounted);
  mount_->setEnabled(idle && selected && AvailableCommands::mount(*selected, status));
  revealSource_->setEnabled(selected);
  revealStorage_->setEnabled(selected && status && status->storageAvailable);
  newRelocation_->setEnabled(idle && model_.loaded());
  mountAll_->setEnabled(idle && !model_.relocations().empty());
  refresh_->setEnabled(idle);
}

}  // namespace fernwahrung
