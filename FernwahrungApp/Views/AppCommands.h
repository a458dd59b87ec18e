#pragma once

#include "FernwahrungApp/Model/AppModel.h"
#include "FernwahrungApp/Views/LaterUpdate.h"

#include <QAction>
#include <QMainWindow>
#include <QToolBar>

namespace fernwahrung {

/// The commands of the menus and the toolbar: one action each, wherever it is shown.
class AppCommands : public QObject {
  Q_OBJECT

 public:
  /// Fills the window's menu bar and gives it a toolbar.
  AppCommands(AppModel& model, QMainWindow& window);

  QToolBar& toolBar() const { return *toolBar_; }

 signals:
  void quit();

 private:
  QAction* add(const QString& id, const QString& text, const QKeySequence& shortcut = {});
  void buildMenus(QMainWindow& window);
  void buildToolBar(QMainWindow& window);
  void addTool(QAction* action, const QString& id, const QString& label, const QString& symbol,
               const QString& help);
  void update();
  /// Copies the selection, which a refresh may replace while a question stands.
  template <class Command>
  auto onSelection(Command command);

  AppModel& model_;
  QAction* newRelocation_;
  QAction* quit_;
  QAction* selection_;
  QAction* mount_;
  QAction* unmount_;
  QAction* revealSource_;
  QAction* revealStorage_;
  QAction* mountAll_;
  QAction* refresh_;
  QToolBar* toolBar_;
  LaterUpdate update_;
};

}  // namespace fernwahrung
