#include "FernwahrungApp/Views/MainWindow.h"

#include "FernwahrungApp/Sheets/NewRelocationSheet.h"
#include "FernwahrungApp/Views/AppCommands.h"
#include "FernwahrungApp/Views/BannerArea.h"
#include "FernwahrungApp/Views/DetailView.h"
#include "FernwahrungApp/Views/Placeholder.h"
#include "FernwahrungApp/Views/ProgressOverlay.h"
#include "FernwahrungApp/Views/RelocationList.h"
#include "FernwahrungApp/Views/SheetHost.h"
#include "FernwahrungApp/Views/VolumesFooter.h"
#include "FernwahrungApp/Views/WindowState.h"

#include <QApplication>
#include <QCloseEvent>
#include <QVBoxLayout>

namespace fernwahrung {
namespace {

constexpr QSize smallest(860, 540);
constexpr QSize atFirst(1040, 680);
constexpr int sidebarWidth = 320;
constexpr int narrowestSidebar = 280;
constexpr int narrowestDetail = 480;

QFrame* line(QWidget* parent) {
  auto* frame = new QFrame(parent);
  frame->setFrameShape(QFrame::HLine);
  frame->setFrameShadow(QFrame::Sunken);
  return frame;
}

}  // namespace

MainWindow::MainWindow(AppModel& model)
    : model_(model), guard_(model), alerts_(model), pages_(new QStackedWidget(this)), update_([this] {
        update();
      }) {
  setObjectName("mainWindow");
  setWindowTitle("Fernwahrung");
  resize(atFirst);
  setContextMenuPolicy(Qt::PreventContextMenu);  // would offer to hide the toolbar
  setUnifiedTitleAndToolBarOnMac(true);

  auto* commands = new AppCommands(model_, *this);
  connect(commands, &AppCommands::quit, this, &MainWindow::requestQuit);
  connect(&guard_, &QuitGuard::quitNow, this, &MainWindow::acceptQuit);

  loading_ = new Placeholder({}, "Lade Fernwahrungen …", {}, pages_);
  pages_->addWidget(loading_);
  pages_->addWidget(buildSplitter(commands->toolBar()));
  pages_->setMinimumSize(smallest);
  setCentralWidget(pages_);
  new ProgressOverlay(model_, *this, {pages_, &commands->toolBar()}, *relocations_);
  new SheetHost(model_, *this, [this](const Sheet& sheet, QWidget* window) -> QDialog* {
    if (sheet.kind == Sheet::Kind::newRelocation) return new NewRelocationSheet(model_, window);
    return nullptr;
  });

  update_.follow(&model_, &AppModel::loadedChanged, &AppModel::relocationsChanged);
  update();
  WindowState::restore(*this, *splitter_);
  connect(qApp, &QGuiApplication::applicationStateChanged, this, &MainWindow::comeBack);
}

QWidget* MainWindow::buildSplitter(QToolBar& toolBar) {
  splitter_ = new QSplitter(pages_);
  splitter_->setObjectName("splitter");
  splitter_->setChildrenCollapsible(false);
  splitter_->setHandleWidth(1);
  splitter_->addWidget(buildSidebar(toolBar));
  auto* detail = new DetailView(model_, splitter_);
  detail->setMinimumWidth(narrowestDetail);
  splitter_->addWidget(detail);
  splitter_->setStretchFactor(0, 0);
  splitter_->setStretchFactor(1, 1);
  splitter_->setSizes({sidebarWidth, atFirst.width() - sidebarWidth});
  return splitter_;
}

QWidget* MainWindow::buildSidebar(QToolBar& toolBar) {
  auto* sidebar = new QWidget(splitter_);
  sidebar->setObjectName("sidebar");
  sidebar->setMinimumWidth(narrowestSidebar);
  sidebar->setBackgroundRole(QPalette::Base);
  sidebar->setAutoFillBackground(true);

  list_ = new QStackedWidget(sidebar);
  auto* relocations = new RelocationList(model_, list_);
  list_->addWidget(relocations);
  list_->addWidget(
      new Placeholder("externaldrive", "Noch nichts ferngewahrt",
                      "Mit „+“ einen Ordner fernwahren oder eine bestehende Fernwahrung übernehmen.", list_));
  relocations_ = relocations;
  QWidget* firstTool = toolBar.widgetForAction(toolBar.actions().first());
  QWidget* lastTool = toolBar.widgetForAction(toolBar.actions().last());
  setTabOrder(firstTool, lastTool);
  setTabOrder(lastTool, relocations);

  auto* column = new QVBoxLayout(sidebar);
  column->setContentsMargins(0, 0, 0, 0);
  column->setSpacing(0);
  column->addWidget(new BannerArea(model_, *lastTool, sidebar));
  column->addWidget(list_, 1);
  column->addWidget(line(sidebar));
  column->addWidget(new VolumesFooter(model_, sidebar));
  return sidebar;
}

void MainWindow::update() {
  list_->setCurrentIndex(model_.relocations().empty() ? 1 : 0);
  const bool shown = pages_->currentWidget() == splitter_;
  if (model_.loaded() == shown) return;
  pages_->setCurrentWidget(model_.loaded() ? static_cast<QWidget*>(splitter_) : loading_);
  if (model_.loaded()) relocations_->setFocus();
}

void MainWindow::bringForward() {
  closed_ = false;
  setWindowState(windowState() & ~Qt::WindowMinimized);
  show();
  raise();
  activateWindow();
}

/// The user has turned to the program, by its symbol in the Dock for example, and sees nothing of it.
void MainWindow::comeBack(Qt::ApplicationState state) {
  if (state != Qt::ApplicationActive || ending_ || !closed_) return;
  for (const QWidget* window : QApplication::topLevelWidgets()) {
    if (window->isVisible()) return;
  }
  bringForward();
}

void MainWindow::requestQuit() {
  if (guard_.mayQuit()) acceptQuit();
}

void MainWindow::quitWithoutAsking() {
  guard_.quitWithoutAsking();
}

void MainWindow::acceptQuit() {
  if (ending_) return;
  ending_ = true;
  WindowState::save(*this, *splitter_);
  emit quitAccepted();
}

void MainWindow::closeEvent(QCloseEvent* event) {
  if (ending_) return event->accept();
  const bool stays = staysWhenClosed_();
  if (!stays && !guard_.mayQuit()) return event->ignore();
  WindowState::save(*this, *splitter_);
  event->accept();
  closed_ = true;
  if (!stays) acceptQuit();
}

}  // namespace fernwahrung
