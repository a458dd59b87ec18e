// The window as a whole: what stands where, selection, menus, messages, closing.
#include "FernwahrungApp/Views/CapacityBar.h"
#include "FernwahrungApp/Views/RelocationList.h"
#include "FernwahrungApp/Views/SymbolView.h"
#include "interface/WindowFixture.h"
#include "support/Files.h"

#include "Foundation/Paths.h"

#include <QAbstractItemModelTester>
#include <QDialog>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QScrollBar>
#include <QSignalSpy>
#include <QSplitter>
#include <QToolButton>

namespace fernwahrung {
namespace {

class MainWindowTest : public WindowFixture {
 protected:
  bool has(const std::string& text) { return visibleTexts().contains(text); }
  QListView* list() { return find<QListView>("relocationList"); }
  std::string spoken(int row) {
    return list()->model()->index(row, 0).data(Qt::AccessibleTextRole).toString().toStdString();
  }
  std::string currentName() { return list()->currentIndex().data().toString().toStdString(); }
  std::vector<std::string> entries(const QString& menu) {
    std::vector<std::string> texts;
    for (QAction* entry : find<QMenu>(menu)->actions()) {
      if (entry->isVisible() && !entry->isSeparator()) texts.push_back(entry->text().toStdString());
    }
    return texts;
  }
};

TEST_F(MainWindowTest, SaysThatItLoads) {
  core.reading.close();
  open();
  EXPECT_EQ(window->windowTitle(), "Fernwahrung");
  EXPECT_TRUE(has("Lade Fernwahrungen …"));
  EXPECT_FALSE(visible("relocationList"));
  core.reading.open();
  EXPECT_TRUE(pumpUntil([this] { return !has("Lade Fernwahrungen …"); }));
}

TEST_F(MainWindowTest, SaysWhatToDoWhenThereIsNothing) {
  openLoaded();
  EXPECT_TRUE(has("Noch nichts ferngewahrt"));
  EXPECT_TRUE(has("Mit „+“ einen Ordner fernwahren oder eine bestehende Fernwahrung übernehmen."));
  EXPECT_TRUE(has("Keine Auswahl"));
  EXPECT_FALSE(visible("relocationList"));
  EXPECT_FALSE(visible("volumesFooter"));
  std::set<QString> symbols;
  for (SymbolView* view : window->findChildren<SymbolView*>()) {
    if (view->isVisible()) symbols.insert(view->symbol());
  }
  EXPECT_EQ(symbols, (std::set<QString>{"externaldrive", "sidebar.left"}));
}

TEST_F(MainWindowTest, ListsRelocationsWithEverythingThatMatters) {
  Relocation& photos = addMounted("Bilder");
  core.world.usage[photos.id] = "belegt 12 GB · max. 20 GB";
  core.world.imageCapacity[photos.id].level = CapacityLevel::warning;
  addLink("Sampler");
  add("Mail", RelocationKind::image, {.health = Health::error, .summary = "Nicht eingehängt", .details = {}});
  openLoaded();
  ASSERT_EQ(list()->model()->rowCount(), 3);
  EXPECT_EQ(spoken(0), "Bilder, Warnung, Eingehängt, belegt 12 GB · max. 20 GB, Speicher wird knapp");
  EXPECT_EQ(spoken(1), "Sampler, In Ordnung, Verlinkt");
  EXPECT_EQ(spoken(2), "Mail, Fehler, Nicht eingehängt");
  EXPECT_EQ(currentName(), "Bilder");
}

TEST_F(MainWindowTest, SelectionAndModelFollowEachOther) {
  addMounted("Bilder");
  addLink("Sampler");
  addUnmounted("Mail");
  openLoaded();
  EXPECT_TRUE(list()->hasFocus());
  QTest::keyClick(list(), Qt::Key_Down);
  EXPECT_EQ(owned->selectedRelocation()->name, "Sampler");
  pumpOnce();
  EXPECT_EQ(text("detailName"), "Sampler");
  QTest::keyClick(list(), Qt::Key_End);
  EXPECT_EQ(owned->selectedRelocation()->name, "Mail");
  QTest::keyClick(list(), Qt::Key_Up);
  owned->setSelection(core.world.relocations[0].id);
  EXPECT_EQ(currentName(), "Bilder");
  owned->setSelection(std::nullopt);
  pumpOnce();
  EXPECT_FALSE(list()->currentIndex().isValid());
  EXPECT_TRUE(has("Keine Auswahl"));
}

TEST_F(MainWindowTest, ARelocationThatGoesTakesNoOtherSelectionAlong) {
  addMounted("Bilder");
  addLink("Sampler");
  addUnmounted("Mail");
  openLoaded();
  const Uuid gone = core.world.relocations[1].id;
  owned->setSelection(gone);
  core.world.relocations.erase(core.world.relocations.begin() + 1);
  refresh();
  EXPECT_EQ(list()->model()->rowCount(), 2);
  EXPECT_EQ(owned->selection(), gone);
  EXPECT_FALSE(list()->currentIndex().isValid());
  EXPECT_TRUE(has("Keine Auswahl"));
}

TEST_F(MainWindowTest, TheListKeepsItsPlaceWhateverBecomesOfItsRows) {
  for (int i = 0; i < 30; ++i) addMounted("Ordner " + std::to_string(i));
  openLoaded();
  QAbstractItemModelTester tester(list()->model(), QAbstractItemModelTester::FailureReportingMode::Fatal);
  QSignalSpy reset(list()->model(), &QAbstractItemModel::modelReset);
  const Uuid selected = core.world.relocations[12].id;
  owned->setSelection(selected);
  pumpOnce();
  const int scrolled = list()->verticalScrollBar()->value();
  EXPECT_GT(scrolled, 0);

  auto& relocations = core.world.relocations;
  std::swap(relocations[20], relocations[25]);
  relocations.erase(relocations.begin() + 28);
  addLink("Neu");
  core.world.statuses[relocations[3].id].summary = "Anders";
  refresh();
  EXPECT_EQ(reset.count(), 0);
  EXPECT_EQ(list()->verticalScrollBar()->value(), scrolled);
  EXPECT_EQ(currentName(), "Ordner 12");
  ASSERT_EQ(list()->model()->rowCount(), 30);
  for (int row = 0; row < 30; ++row) {
    EXPECT_EQ(list()->model()->index(row, 0).data().toString().toStdString(),
              relocations[static_cast<std::size_t>(row)].name);
  }
  EXPECT_EQ(spoken(3), "Ordner 3, In Ordnung, Anders");
}

TEST_F(MainWindowTest, ARefreshThatBringsNothingNewTouchesNothing) {
  addUnmounted("Bilder").safetyCopies = {{"/Volumes/Extern/a"}};
  addLink("Sampler");
  core.world.volumes = {{"Extern", "/Volumes/Extern", 1000, 500, false, CapacityLevel::ok}};
  core.world.unfinished = {Journal(OperationKind::restore, core.world.relocations[0])};
  openLoaded();
  PaintCounter painted(*window);
  ASSERT_TRUE(pumpUntil([&] {  // what opening the window brought along is over
    painted.counts.clear();
    settle();
    return painted.counts.empty();
  }));
  refresh();
  refresh();
  for (const auto& [widget, times] : painted.counts)
    ADD_FAILURE() << widget.toStdString() << " painted " << times;

  // and the counter does see what changes
  core.world.statuses[core.world.relocations[0].id].summary = "Externes Laufwerk fehlt";
  refresh();
  EXPECT_TRUE(pumpUntil([&] { return !painted.counts.empty(); }));
  EXPECT_FALSE(painted.counts.contains("bannerUnfinished/fernwahrung::UnfinishedBanner"));
}

TEST_F(MainWindowTest, OneRefreshOfFiftyRelocationsIsQuick) {
  for (int i = 0; i < 50; ++i) addMounted("Ordner " + std::to_string(i));
  openLoaded();
  double best = 1e9;
  for (int round = 0; round < 5; ++round) {
    for (auto& [id, status] : core.world.statuses) status.summary = "Runde " + std::to_string(round);
    owned->refresh();
    Background::waitForDone();
    auto before = std::chrono::steady_clock::now();
    pumpOnce();
    pumpOnce();
    best = std::min(
        best, std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - before).count());
    EXPECT_EQ(spoken(49), "Ordner 49, In Ordnung, Runde " + std::to_string(round));
  }
  RecordProperty("milliseconds", std::to_string(best));
  EXPECT_LT(best, 20);
}

TEST_F(MainWindowTest, ShowsHowFullTheVolumesAre) {
  core.world.volumes = {
      {"Interne Festplatte", "/", 1'000'000'000'000, 20'000'000'000, true, CapacityLevel::warning},
      {"Extern", "/Volumes/Extern", 2'000'000'000'000, 1'500'000'000'000, false, CapacityLevel::ok}};
  addMounted("Bilder");
  openLoaded();
  EXPECT_TRUE(has("Laufwerk"));
  EXPECT_TRUE(has("Interne Festplatte") && has("20 GB frei"));
  EXPECT_TRUE(has("Extern") && has("1,5 TB frei"));
  auto bars = window->findChildren<CapacityBar*>("volumeBar");
  ASSERT_EQ(bars.size(), 2);
  EXPECT_DOUBLE_EQ(bars[0]->fraction(), 0.98);
  EXPECT_EQ(bars[0]->level(), CapacityLevel::warning);
  auto symbols = window->findChildren<SymbolView*>("volumeSymbol");
  EXPECT_EQ(symbols[0]->symbol(), "internaldrive");
  EXPECT_EQ(symbols[1]->symbol(), "externaldrive");
  core.world.volumes.pop_back();
  refresh();
  EXPECT_EQ(window->findChildren<CapacityBar*>("volumeBar").size(), 1);
}

TEST_F(MainWindowTest, ABannerTellsOfAnInterruptedOperationAndRollsItBack) {
  Journal journal(OperationKind::relocate, FakeCore::relocation("Bilder"));
  journal.completedSteps = {"imageCreated", "copied"};
  core.world.unfinished = {journal};
  openLoaded();
  auto* banner = find("bannerUnfinished");
  const std::string sentence =
      "Unterbrochener Vorgang: „Bilder“ (Fernwahren). Erledigte Schritte: imageCreated → copied";
  EXPECT_TRUE(has(sentence));
  EXPECT_EQ(banner->findChild<SymbolView*>()->symbol(), "exclamationmark.octagon.fill");
  auto* button = find<QPushButton>("bannerRollback");
  EXPECT_EQ(button->text(), "Zurückrollen …");

  questions.expect("Unterbrochenen Vorgang zurückrollen?", "Abbrechen");
  button->click();
  EXPECT_EQ(questions.asked().back().buttons, (std::vector<std::string>{"Zurückrollen", "Abbrechen"}));
  EXPECT_EQ(count("rollback Bilder"), 0U);
  questions.expect("Unterbrochenen Vorgang zurückrollen?", "Zurückrollen");
  questions.expect("Erledigt", "OK");
  core.world.unfinished.clear();
  button->click();
  EXPECT_TRUE(untilIdle());
  EXPECT_EQ(count("rollback Bilder"), 1U);
  EXPECT_TRUE(pumpUntil([this] { return !visible("bannerUnfinished") && questions.allAsked(); }));
}

TEST_F(MainWindowTest, TheMenusHoldWhatCanBeDone) {
  addMounted("Bilder");
  addLink("Sampler");
  openLoaded();
  EXPECT_EQ(entries("menuFile"), (std::vector<std::string>{"Ordner fernwahren …", "Fernwahrung beenden"}));
  EXPECT_EQ(entries("menuRelocation"),
            (std::vector<std::string>{"Ausgewählt: Bilder", "Aushängen", "Ort auf dem Mac im Finder zeigen",
                                      "Speicherort im Finder zeigen", "Alle einhängen", "Aktualisieren"}));
  EXPECT_FALSE(action("menuSelection")->isEnabled());
  core.world.statuses[core.world.relocations[0].id].mounted = false;
  refresh();
  EXPECT_EQ(entries("menuRelocation")[1], "Einhängen");
  EXPECT_TRUE(action("menuMount")->isEnabled());
  owned->setSelection(core.world.relocations[1].id);
  pumpOnce();
  EXPECT_EQ(entries("menuRelocation")[1], "Einhängen");
  EXPECT_FALSE(action("menuMount")->isEnabled());
  owned->setSelection(std::nullopt);
  pumpOnce();
  EXPECT_EQ(entries("menuRelocation")[0], "Keine Fernwahrung ausgewählt");
  EXPECT_EQ(entries("menuRelocation")[1], "Einhängen");
  EXPECT_FALSE(action("menuMount")->isEnabled());
  EXPECT_FALSE(action("menuRevealSource")->isEnabled());

  EXPECT_EQ(action("menuRelocate")->shortcut(), QKeySequence("Ctrl+N"));
  EXPECT_EQ(action("menuMountAll")->shortcut(), QKeySequence("Ctrl+Shift+M"));
  EXPECT_EQ(action("menuRefresh")->shortcut(), QKeySequence("Ctrl+R"));
  EXPECT_EQ(action("menuQuit")->shortcut(), QKeySequence("Ctrl+Q"));
  EXPECT_EQ(action("menuQuit")->menuRole(), QAction::QuitRole);
}

TEST_F(MainWindowTest, TheToolbarExplainsItself) {
  openLoaded();
  auto* relocate = find<QToolButton>("toolbarRelocate");
  EXPECT_EQ(relocate->text(), "Fernwahren");
  EXPECT_EQ(relocate->toolTip(), "Neuen Ordner fernwahren (⌘N)");
  EXPECT_EQ(relocate->toolButtonStyle(), Qt::ToolButtonTextBesideIcon);
  EXPECT_FALSE(relocate->icon().isNull());
  auto* refreshButton = find<QToolButton>("toolbarRefresh");
  EXPECT_EQ(refreshButton->text(), "Aktualisieren");
  EXPECT_EQ(refreshButton->toolTip(), "Zustand aller Fernwahrungen neu einlesen (⌘R)");
}

TEST_F(MainWindowTest, ShortcutsWork) {
  addUnmounted("Bilder");
  openLoaded();
  QTest::keyClick(&*window, Qt::Key_M, Qt::ControlModifier | Qt::ShiftModifier);
  EXPECT_TRUE(untilIdle());
  EXPECT_EQ(count("mountAll"), 1U);
  const std::size_t before = count("readWorld");
  QTest::keyClick(&*window, Qt::Key_R, Qt::ControlModifier);
  settle();
  EXPECT_EQ(count("readWorld"), before + 1);
  action("menuRevealStorage")->trigger();
  settle();
  EXPECT_EQ(count("reveal " + core.world.relocations[0].storagePath), 1U);
}

TEST_F(MainWindowTest, OpensTheSheetAndForgetsItWhenItEnds) {
  openLoaded();
  QTest::keyClick(&*window, Qt::Key_N, Qt::ControlModifier);
  auto sheet = [this] { return window->findChild<QDialog*>(); };
  ASSERT_TRUE(pumpUntil([&] { return sheet() && sheet()->isVisible(); }));
  EXPECT_EQ(sheet()->windowModality(), Qt::WindowModal);
  sheet()->reject();
  EXPECT_TRUE(pumpUntil([&] { return !sheet(); }));
  EXPECT_FALSE(owned->sheet());
  EXPECT_TRUE(list() != nullptr);
}

TEST_F(MainWindowTest, EverythingThatTakesTheFocusHasANameForScreenReaders) {
  addUnmounted("Bilder").asideFolders = {{"/Users/anna/Library/Bilder.VORHER-1"}};
  core.world.statuses.begin()->second.accessDenied = true;
  core.world.unfinished = {Journal(OperationKind::restore, core.world.relocations[0])};
  core.world.volumes = {{"Extern", "/Volumes/Extern", 1000, 500, false, CapacityLevel::ok}};
  openLoaded();
  int focusable = 0;
  for (QWidget* widget : window->findChildren<QWidget*>()) {
    if (widget->focusPolicy() == Qt::NoFocus || widget->objectName().startsWith("qt_")) continue;
    ++focusable;
    EXPECT_FALSE(widget->objectName().isEmpty()) << widget->metaObject()->className();
    EXPECT_FALSE(widget->accessibleName().isEmpty()) << widget->objectName().toStdString();
  }
  EXPECT_GT(focusable, 12);
}

TEST_F(MainWindowTest, TabReachesEveryControl) {
  addUnmounted("Bilder").asideFolders = {{"/Users/anna/Library/Bilder.VORHER-1"}};
  core.world.unfinished = {Journal(OperationKind::restore, core.world.relocations[0])};
  openLoaded();
  std::vector<std::string> order;
  for (int i = 0; i < 60 && !(i > 0 && list()->hasFocus()); ++i) {
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    ASSERT_NE(QApplication::focusWidget(), nullptr);
    order.push_back(QApplication::focusWidget()->objectName().toStdString());
  }
  EXPECT_EQ(order, (std::vector<std::string>{"detailName", "detailMount", "detailRestore", "detailSource",
                                             "detailSourceReveal", "detailStorage", "detailStorageReveal",
                                             "detailAside", "detailAsideReveal", "toolbarRelocate",
                                             "toolbarRefresh", "bannerRollback", "relocationList"}));
}

TEST_F(MainWindowTest, ShowsMessagesOneAfterTheOther) {
  addMounted("Bilder");
  openLoaded();
  core.operation = [](OperationContext&) { throw FernwahrungError::message("Kaputt."); };
  questions.expect("Fehler", "OK");
  owned->mountAll();
  EXPECT_TRUE(untilIdle());
  EXPECT_TRUE(pumpUntil([this] { return !owned->errorMessage(); }));
  EXPECT_EQ(questions.asked().back(), (Question{"Fehler", "Kaputt.", {"OK"}}));
  core.operation = [](OperationContext&) {};
  questions.expect("Erledigt", "OK");
  owned->restore(owned->relocations().front());
  EXPECT_TRUE(untilIdle());
  EXPECT_TRUE(pumpUntil([this] { return !owned->infoMessage(); }));
  EXPECT_EQ(questions.asked().back().buttons, std::vector<std::string>{"OK"});
}

/// As a message box does, lets the event loop run on while it stands.
class StandingQuestions : public Questions {
 public:
  std::size_t ask(const Question& question) override {
    titles.push_back(question.title);
    most = std::max(most, ++standing);
    if (titles.size() == 1) meanwhile();
    --standing;
    return 0;
  }
  std::optional<std::string> chooseFolder(const std::string&, const std::string&) override { return {}; }
  std::optional<std::string> chooseApplication(const std::string&, const std::string&) override { return {}; }

  std::function<void()> meanwhile;
  int standing = 0;
  int most = 0;
  std::vector<std::string> titles;
};

TEST_F(MainWindowTest, NeverShowsTwoMessagesAtOnce) {
  StandingQuestions standing;
  core.world.relocations = {FakeCore::relocation("Bilder")};
  AppModel model(core.calls(), standing, std::chrono::hours(1));
  MainWindow other(model);
  standing.meanwhile = [&] {
    core.operation = [](OperationContext&) {};
    model.restore(model.relocations().front());
    EXPECT_TRUE(pumpUntil([&] { return model.infoMessage().has_value(); }));
    settle();
    EXPECT_EQ(standing.titles.size(), 1U);
  };
  EXPECT_TRUE(pumpUntil([&] { return model.loaded(); }));
  core.operation = [](OperationContext&) { throw FernwahrungError::message("Kaputt."); };
  model.mountAll();
  EXPECT_TRUE(pumpUntil([&] { return standing.titles.size() == 2 && !model.infoMessage(); }));
  EXPECT_EQ(standing.most, 1);
  EXPECT_EQ(standing.titles, (std::vector<std::string>{"Fehler", "Erledigt"}));
  Background::waitForDone();
}

TEST_F(MainWindowTest, ClosingEndsTheProgramUnlessTheMenuBarItemKeepsIt) {
  openLoaded();
  QSignalSpy accepted(&*window, &MainWindow::quitAccepted);
  window->setStaysWhenClosed([] { return true; });
  EXPECT_TRUE(window->close());
  EXPECT_FALSE(window->isVisible());
  EXPECT_EQ(accepted.count(), 0);
  window->bringForward();
  EXPECT_TRUE(window->isVisible());
  window->setStaysWhenClosed([] { return false; });
  EXPECT_TRUE(window->close());
  EXPECT_EQ(accepted.count(), 1);
}

TEST_F(MainWindowTest, WhileAnOperationRunsItAsksBeforeItEnds) {
  openWithARestoreAtWork();
  QSignalSpy accepted(&*window, &MainWindow::quitAccepted);
  questions.expect("„Zurückholen“ läuft noch", "Weiterlaufen lassen");
  EXPECT_FALSE(window->close());
  EXPECT_TRUE(window->isVisible());
  questions.expect("„Zurückholen“ läuft noch", "Abbrechen und beenden");
  questions.expect("Fehler", "OK", [&] {
    settle();
    EXPECT_EQ(accepted.count(), 0) << "the program ended before the user could read it";
  });
  action("menuQuit")->trigger();
  EXPECT_EQ(accepted.count(), 0);
  release();
  EXPECT_TRUE(pumpUntil([&] { return accepted.count() == 1; }));
  EXPECT_TRUE(pumpUntil([&] { return questions.allAsked() && !owned->errorMessage(); }));
}

TEST_F(MainWindowTest, AnEndFromOutsideDoesNotWaitForAnybodyToReadAnError) {
  openWithARestoreAtWork();
  QSignalSpy accepted(&*window, &MainWindow::quitAccepted);
  questions.expect("Fehler", "OK", [&] {
    pumpOnce();
    EXPECT_EQ(accepted.count(), 1);
  });
  window->quitWithoutAsking();
  release();
  EXPECT_TRUE(pumpUntil([&] { return questions.allAsked(); }));
}

TEST_F(MainWindowTest, AnEndFromOutsideAsksNobodyAndWaitsForTheOperation) {
  addMounted("Bilder");
  holdOperations();
  openLoaded();
  QSignalSpy accepted(&*window, &MainWindow::quitAccepted);
  owned->unmount(owned->relocations().front());
  ASSERT_TRUE(pumpUntil([this] { return owned->busyTitle().has_value(); }));
  window->quitWithoutAsking();
  pumpOnce();
  EXPECT_EQ(accepted.count(), 0);
  release();
  EXPECT_TRUE(pumpUntil([&] { return accepted.count() == 1; }));
  EXPECT_TRUE(questions.asked().empty());
}

TEST_F(MainWindowTest, LiesWhereItLayAndSurvivesADamagedFile) {
  openLoaded();
  window->resize(1100, 700);
  find<QSplitter>("splitter")->setSizes({400, 700});
  pumpOnce();
  const QList<int> sizes = find<QSplitter>("splitter")->sizes();
  window->close();
  window.emplace(*owned);
  window->show();
  pumpOnce();
  EXPECT_EQ(window->size(), QSize(1100, 700));
  EXPECT_EQ(find<QSplitter>("splitter")->sizes(), sizes);

  window.reset();
  writeFile(Paths::supportDirectory() + "/window.ini", std::string("\0\xff[General\ngeometry=@Var", 24));
  window.emplace(*owned);
  window->show();
  pumpOnce();
  EXPECT_GE(window->width(), 860);
  EXPECT_GE(window->height(), 540);
}

}  // namespace
}  // namespace fernwahrung
