#include "FernwahrungApp/Model/Background.h"
#include "FernwahrungApp/Platform/EndSignals.h"
#include "FernwahrungApp/Views/Appearance.h"
#include "FernwahrungApp/Views/MainWindow.h"
#include "FernwahrungApp/Views/MenuBarItem.h"
#include "FernwahrungApp/Views/ModalQuestions.h"

#include <csignal>
#include <cstdlib>

using namespace fernwahrung;

namespace {

int runUntilQuit(QApplication& application, EndSignals& endSignals) {
  ModalQuestions questions;
  AppModel model(CoreCalls(), questions);
  MainWindow window(model);
  MenuBarItem menuBarItem(model);

  window.setStaysWhenClosed([&] { return menuBarItem.isShown(); });
  QObject::connect(&menuBarItem, &MenuBarItem::openWindow, &window, &MainWindow::bringForward);
  QObject::connect(&menuBarItem, &MenuBarItem::quit, &window, &MainWindow::requestQuit);
  QObject::connect(&endSignals, &EndSignals::asked, &window, &MainWindow::quitWithoutAsking);
  // Not quit(), which asks every open dialog, and takes one that stays for a refusal.
  QObject::connect(&window, &MainWindow::quitAccepted, &application, [] { QCoreApplication::exit(0); });
  window.show();
  return QApplication::exec();
}

}  // namespace

int main(int count, char** arguments) {
  // Whoever started us may have left it ignored, and then no child process could be waited for.
  std::signal(SIGCHLD, SIG_DFL);
  std::signal(SIGPIPE, SIG_IGN);
  QApplication application(count, arguments);
  Appearance::apply(application);
  EndSignals endSignals;

  const int status = runUntilQuit(application, endSignals);
  // Everything that is to last has been written by now.
  if (!Background::endWithin(std::chrono::seconds(2))) std::_Exit(status);
  return status;
}
