#pragma once

#include "FernwahrungApp/Model/AppModel.h"
#include "FernwahrungApp/Model/QuitGuard.h"
#include "FernwahrungApp/Views/Alerts.h"
#include "FernwahrungApp/Views/LaterUpdate.h"

#include <QMainWindow>
#include <QSplitter>
#include <QStackedWidget>
#include <QToolBar>
#include <functional>

namespace fernwahrung {

/// The window "Fernwahrung": the relocations with what wants attention above and the volumes below them, and
/// beside them everything about the selected one. It shows the model's messages and
/// sheets, too.
class MainWindow : public QMainWindow {
  Q_OBJECT

 public:
  explicit MainWindow(AppModel& model);

  /// Asked whenever the window is closed: while something else of the program can be seen, closing only hides
  /// the window. Without, it ends the program, and so it is until told otherwise.
  void setStaysWhenClosed(std::function<bool()> stays) { staysWhenClosed_ = std::move(stays); }
  /// In front of all others.
  void bringForward();

 public slots:
  /// The user wants to end the program: asks while an operation runs.
  void requestQuit();
  /// The system wants it: nobody is asked, but what runs comes to its end first.
  void quitWithoutAsking();

 signals:
  /// Nothing stands in the way of the end any more. Emitted once.
  void quitAccepted();

 protected:
  void closeEvent(QCloseEvent* event) override;

 private:
  QWidget* buildSidebar(QToolBar& toolBar);
  QWidget* buildSplitter(QToolBar& toolBar);
  void update();
  void comeBack(Qt::ApplicationState state);
  void acceptQuit();

  AppModel& model_;
  QuitGuard guard_;
  Alerts alerts_;
  std::function<bool()> staysWhenClosed_ = [] { return false; };
  bool closed_ = false;
  bool ending_ = false;
  QStackedWidget* pages_;
  QWidget* loading_;
  QSplitter* splitter_;
  QStackedWidget* list_;
  QWidget* relocations_;
  LaterUpdate update_;
};

}  // namespace fernwahrung
