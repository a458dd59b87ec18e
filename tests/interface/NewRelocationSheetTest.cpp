#include "FernwahrungApp/Sheets/NewRelocationSheet.h"
#include "SheetFindings.h"
#include "unit/AppModel/ModelFixture.h"

#include <QApplication>
#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QScreen>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTextEdit>

namespace fernwahrung {
namespace {

class NewRelocationDialog : public ModelFixture {
 protected:
  void open(std::optional<std::string> source = {}, std::vector<std::string> apps = {}) {
    CoreCalls calls = core.calls();
    calls.preflight = [this](const RelocationPlan& plan) {
      gate.pass();
      auto guard = core.lock();
      plans.push_back(plan);
      return core.check;
    };
    owned.emplace(calls, questions, std::chrono::hours(1));
    EXPECT_TRUE(pumpUntil([this] { return owned->loaded(); }));
    owned->newRelocation(std::move(source), std::move(apps));
    sheet.emplace(*owned, nullptr, timing);
    sheet->show();
    sheet->activateWindow();
    EXPECT_TRUE(QTest::qWaitForWindowActive(&*sheet));
  }
  /// With a target, too.
  void openFilled(const std::string& source = "/Users/anna/Bilder", std::vector<std::string> apps = {}) {
    open(source, std::move(apps));
    questions.expect("Zielordner auf dem externen Laufwerk", "/Volumes/Extern");
    press("chooseStorage");
  }

  template <class Kind = QWidget>
  Kind* find(const QString& name) {
    auto* found = sheet->findChild<Kind*>(name);
    EXPECT_NE(found, nullptr) << name.toStdString();
    return found;
  }
  bool visible(const QString& name) {
    auto* found = sheet->findChild<QWidget*>(name);
    return found && found->isVisible();
  }
  void press(const QString& name, Qt::Key key = Qt::Key_Space) {
    auto* widget = find(name);
    widget->setFocus();
    QTest::keyClick(widget, key);
    pumpOnce();
  }
  void check() {
    press("checkButton");
    ASSERT_TRUE(pumpUntil([this] { return visible("checkResult") && !visible("checking"); }));
  }
  QString text(const QString& name) { return find<QTextEdit>(name)->toPlainText(); }

  void TearDown() override {
    gate.open();
    sheet.reset();
    ModelFixture::TearDown();
  }

  FakeCore::Gate gate;
  std::vector<RelocationPlan> plans;
  CheckResultView::Timing timing;
  std::optional<NewRelocationSheet> sheet;
};

TEST_F(NewRelocationDialog, SaysWhatItAsksFor) {
  open();
  EXPECT_EQ(sheet->windowTitle(), "Ordner fernwahren");
  EXPECT_EQ(sheet->windowModality(), Qt::WindowModal);
  QStringList labels;
  for (QLabel* label : sheet->findChildren<QLabel*>()) labels << label->text();
  for (const char* wanted :
       {"Ordner auf dem Mac", "Name", "Verfahren", "Ziel auf dem Laufwerk", "Maximale Größe",
        "Zugehörige Apps",
        "Belegt wird nur, was wirklich darin liegt. Die Größe lässt sich später ändern."}) {
    EXPECT_TRUE(labels.contains(wanted)) << wanted;
  }
  EXPECT_EQ(find<QRadioButton>("kindImage")->text(), "Virtuelle Festplatte (für Sandbox-Apps wie Outlook)");
  EXPECT_EQ(find<QRadioButton>("kindSymlink")->text(), "Symlink (für Apps ohne Sandbox wie FreeCAD)");
  EXPECT_EQ(find<QCheckBox>("spotlight")->text(),
            "Spotlight-Suche erlauben (nötig z. B. für die Outlook-Suche)");
  EXPECT_EQ(find<QPushButton>("addApp")->text(), "App hinzufügen …");
  EXPECT_EQ(find<QPushButton>("cancelButton")->text(), "Abbrechen");
  EXPECT_EQ(find<QPushButton>("startButton")->text(), "Fernwahren starten");
  EXPECT_EQ(find<QCheckBox>("appClosed")->text(), "Die App ist beendet");
}

TEST_F(NewRelocationDialog, StartsWithTheStartValues) {
  open();
  EXPECT_EQ(find<QLineEdit>("sourceField")->text(), "");
  EXPECT_EQ(find<QLineEdit>("nameField")->text(), "");
  EXPECT_EQ(find<QLineEdit>("storageField")->text(), "");
  EXPECT_EQ(find<QLineEdit>("storageField")->placeholderText(), "Noch kein Ziel gewählt");
  EXPECT_TRUE(find<QRadioButton>("kindImage")->isChecked());
  EXPECT_EQ(find<QSpinBox>("sizeField")->value(), 20);
  EXPECT_EQ(find<QSpinBox>("sizeField")->minimum(), 1);
  EXPECT_EQ(find<QSpinBox>("sizeField")->maximum(), 100'000);
  EXPECT_TRUE(find<QCheckBox>("spotlight")->isChecked());
  EXPECT_FALSE(find("checkButton")->isEnabled());
  for (const char* later : {"checkResult", "checking", "appClosed", "startButton"}) {
    EXPECT_FALSE(visible(later)) << later;
  }
}

TEST_F(NewRelocationDialog, IsFilledCheckedAndStartedByKeys) {
  core.check = SheetFindings::measured(30'000'000'000);
  open();
  questions.expect("Fernzuwahrenden Ordner wählen", "/Users/anna/Library/Post");
  press("chooseSource");
  EXPECT_EQ(find<QLineEdit>("sourceField")->text(), "/Users/anna/Library/Post");
  questions.expect("Zielordner auf dem externen Laufwerk", "/Volumes/Extern");
  press("chooseStorage");
  find("nameField")->setFocus();
  find<QLineEdit>("nameField")->selectAll();
  QTest::keyClicks(find("nameField"), "Meine Post");
  check();
  EXPECT_EQ(find<QSpinBox>("sizeField")->value(), 60);
  EXPECT_EQ(text("allGood"), "Alle Voraussetzungen erfüllt.");
  EXPECT_FALSE(find("startButton")->isEnabled());
  press("appClosed");
  EXPECT_TRUE(find("startButton")->isEnabled());
  QSignalSpy accepted(&*sheet, &QDialog::accepted);
  press("nameField", Qt::Key_Return);
  EXPECT_EQ(accepted.count(), 1);
  ASSERT_TRUE(untilIdle());
  EXPECT_EQ(count("relocate /Users/anna/Library/Post"), 1U);
  EXPECT_EQ(plans.back().name, "Meine Post");
  EXPECT_EQ(plans.back().storageDirectory, "/Volumes/Extern");
}

TEST_F(NewRelocationDialog, ALinkHasNoSizeAndNoSpotlight) {
  openFilled();
  press("kindSymlink");
  EXPECT_FALSE(visible("sizeField"));
  EXPECT_FALSE(visible("spotlight"));
  check();
  EXPECT_EQ(plans.back().kind, RelocationKind::symlink);
  press("kindImage");
  EXPECT_TRUE(visible("sizeField"));
}

TEST_F(NewRelocationDialog, AChangedFieldTakesTheResultAway) {
  openFilled();
  check();
  press("appClosed");
  press("spotlight");
  EXPECT_FALSE(visible("checkResult"));
  EXPECT_FALSE(visible("startButton"));
  EXPECT_FALSE(visible("appClosed"));
  check();
  EXPECT_FALSE(find<QCheckBox>("appClosed")->isChecked());
  EXPECT_FALSE(plans.back().spotlight);
  press("sizeField", Qt::Key_Up);
  EXPECT_FALSE(visible("checkResult"));
}

TEST_F(NewRelocationDialog, IsBusyWhileItChecksAndKeepsTheKeyboardWhereItIs) {
  openFilled();
  gate.close();
  press("checkButton");
  EXPECT_TRUE(visible("checking"));
  EXPECT_EQ(find<QProgressBar>("checkingBar")->maximum(), 0);
  EXPECT_TRUE(find("checkButton")->hasFocus());
  press("checkButton");
  gate.open();
  ASSERT_TRUE(pumpUntil([this] { return visible("checkResult"); }));
  settle();
  EXPECT_FALSE(visible("checking"));
  EXPECT_EQ(plans.size(), 1U);
}

TEST_F(NewRelocationDialog, BlockersLeaveNothingToStart) {
  core.check = SheetFindings::heldBy({SheetFindings::terminable()});
  openFilled();
  check();
  EXPECT_TRUE(visible("checkResult"));
  EXPECT_FALSE(visible("appClosed"));
  EXPECT_FALSE(visible("startButton"));
  {
    auto guard = core.lock();
    core.check = SheetFindings::measured(1);
  }
  press("recheckButton");
  ASSERT_TRUE(pumpUntil([this] { return visible("startButton"); }));
}

TEST_F(NewRelocationDialog, EscapeAndCancelCloseWithoutEffect) {
  for (int way = 0; way < 2; ++way) {
    openFilled();
    QSignalSpy rejected(&*sheet, &QDialog::rejected);
    if (way == 0) press("cancelButton");
    if (way == 1) press("nameField", Qt::Key_Escape);
    EXPECT_EQ(rejected.count(), 1) << way;
    EXPECT_EQ(owned->busyTitle(), std::nullopt);
    sheet.reset();
  }
}

TEST_F(NewRelocationDialog, AppsAreAddedOnceAndRemoved) {
  openFilled("/Users/anna/Bilder", {"/Applications/Fotos.app"});
  for (const char* app : {"/Applications/Pixelmator.app", "/Applications/Fotos.app/"}) {
    questions.expect("Zugehörige App wählen", app);
    press("addApp");
  }
  check();
  EXPECT_EQ(plans.back().guardedAppPaths,
            (std::vector<std::string>{"/Applications/Fotos.app", "/Applications/Pixelmator.app"}));
  press("removeApp");
  EXPECT_FALSE(visible("checkResult"));
  EXPECT_TRUE(find("addApp")->hasFocus()) << "the keyboard is still in the list";
  check();
  EXPECT_EQ(plans.back().guardedAppPaths, std::vector<std::string>{"/Applications/Pixelmator.app"});
}

TEST_F(NewRelocationDialog, EverythingThatTakesTheKeyboardHasANameAndIsReachedByTab) {
  core.check = SheetFindings::heldBy(
      {SheetFindings::forbidden(), SheetFindings::terminable(), SheetFindings::systemService()});
  core.check.blockers.push_back("Das ist kein Ordner.");
  core.check.warnings = {"Das Ziel liegt auf derselben Festplatte – dadurch wird kein Platz frei."};
  openFilled("/Users/anna/Bilder", {"/Applications/Fotos.app", "/Applications/Pixelmator.app"});
  check();
  std::set<QWidget*> focusable;
  for (QWidget* widget : sheet->findChildren<QWidget*>()) {
    if (!(widget->focusPolicy() & Qt::TabFocus) || !widget->isVisible() || !widget->isEnabled()) continue;
    if (widget->focusProxy() || widget->objectName() == "qt_spinbox_lineedit") continue;
    EXPECT_FALSE(widget->objectName().isEmpty()) << widget->metaObject()->className();
    EXPECT_FALSE(widget->accessibleName().isEmpty()) << widget->objectName().toStdString();
    focusable.insert(widget);
  }
  EXPECT_GT(focusable.size(), 20U);
  find("chooseSource")->setFocus();
  std::set<QWidget*> reached;
  QStringList order;
  for (std::size_t i = 0; i < 2 * focusable.size(); ++i) {
    QWidget* at = QApplication::focusWidget();
    ASSERT_NE(at, nullptr);
    if (reached.insert(at).second) order << at->objectName();
    // Only the chosen one of the options takes the keyboard; the arrow keys lead to the other.
    if (at->objectName() == "kindImage") reached.insert(find("kindSymlink"));
    QTest::keyClick(at, Qt::Key_Tab);
  }
  for (QWidget* widget : focusable) {
    EXPECT_TRUE(reached.contains(widget)) << widget->objectName().toStdString();
  }
  const QStringList expected = {"chooseSource", "nameField",    "kindImage",    "chooseStorage",
                                "sizeField",    "spotlight",    "removeApp",    "addApp",
                                "checkResult",  "otherBlocker", "blockerText",  "recheckButton",
                                "recheckLine",  "warning",      "cancelButton", "checkButton"};
  int last = -1;
  for (const QString& name : expected) {
    int at = static_cast<int>(order.indexOf(name));
    EXPECT_GT(at, last) << name.toStdString() << " in " << order.join(' ').toStdString();
    last = at;
  }
}

TEST_F(NewRelocationDialog, NothingIsCutOffAtItsSmallest) {
  core.check = SheetFindings::measured();
  openFilled("/Users/anna/Library/Group Containers/UBF8T346G9.Office/Outlook/" + std::string(200, 'x'));
  check();
  sheet->resize(1, 1);
  pumpOnce();
  EXPECT_LE(sheet->width(), 680);
  EXPECT_LE(sheet->height(), 700);
  for (QWidget* widget : sheet->findChildren<QWidget*>()) {
    if (!qobject_cast<QAbstractButton*>(widget) || !widget->isVisible()) continue;
    if (find("checkResult")->isAncestorOf(widget)) continue;
    EXPECT_GE(widget->width(), widget->minimumSizeHint().width()) << widget->objectName().toStdString();
    QRect inSheet(widget->mapTo(&*sheet, QPoint()), widget->size());
    EXPECT_TRUE(sheet->rect().contains(inSheet)) << widget->objectName().toStdString();
  }
}

TEST_F(NewRelocationDialog, TellsHowItGoesOn) {
  openFilled();
  check();
  EXPECT_EQ(
      text("procedure"),
      "Ablauf: kopieren → Datei für Datei prüfen → Original umbenennen (bleibt erhalten) → einhängen bzw. "
      "verlinken → kontrollieren. Bei jedem Fehler wird automatisch zurückgerollt.");
}

TEST_F(NewRelocationDialog, NothingIsCheckedBeforeATargetIsChosen) {
  open("/Users/anna/Bilder");
  EXPECT_FALSE(find("checkButton")->isEnabled());
  EXPECT_TRUE(find("chooseStorage")->hasFocus());
  questions.expect("Zielordner auf dem externen Laufwerk", "/Volumes/Extern");
  press("chooseStorage");
  EXPECT_EQ(find<QLineEdit>("storageField")->text(), "/Volumes/Extern");
  EXPECT_TRUE(find("checkButton")->isEnabled());
}

TEST_F(NewRelocationDialog, GrowsForAResultAndGoesBack) {
  core.check = SheetFindings::heldBy(
      {SheetFindings::forbidden(), SheetFindings::terminable(), SheetFindings::systemService()});
  openFilled();
  const int before = sheet->height();
  check();
  EXPECT_GT(sheet->height(), before);
  press("spotlight");
  EXPECT_EQ(sheet->height(), before);
}

TEST_F(NewRelocationDialog, LeavesTheHeightThatTheUserHasChosen) {
  openFilled();
  const int chosen = sheet->height() + 230;
  sheet->resize(sheet->width(), chosen);
  check();
  EXPECT_EQ(sheet->height(), chosen);
  press("spotlight");
  EXPECT_EQ(sheet->height(), chosen);
}

TEST_F(NewRelocationDialog, GrowsNoFurtherThanTheScreenGoes) {
  for (int i = 0; i < 60; ++i) core.check.warnings.push_back("Warnung");
  openFilled();
  press("kindSymlink");
  sheet->move(0, 200);
  pumpOnce();
  const int before = sheet->height();
  check();
  EXPECT_GT(sheet->height(), before);
  EXPECT_TRUE(sheet->screen()->availableGeometry().contains(sheet->geometry()));
}

TEST_F(NewRelocationDialog, WhileAnotherOperationRunsNoAttemptIsWasted) {
  timing = {std::chrono::milliseconds(50), std::chrono::milliseconds(1)};
  core.check = SheetFindings::heldBy({SheetFindings::systemService()});
  FakeCore::Gate operation;
  operation.close();
  core.operation = [&](OperationContext&) { operation.pass(); };
  openFilled();
  check();
  owned->mount(FakeCore::relocation("Musik"));
  QSignalSpy attempts(find<CheckResultView>("checkResult"), &CheckResultView::recheck);
  QTimer other;
  QSignalSpy ticks(&other, &QTimer::timeout);
  other.start(50);
  ASSERT_TRUE(pumpUntil([&] { return ticks.count() >= 6; }));
  EXPECT_EQ(attempts.count(), 0);
  operation.open();
  EXPECT_TRUE(pumpUntil([&] { return attempts.count() > 0; }));
  EXPECT_TRUE(untilIdle());
}

}  // namespace
}  // namespace fernwahrung
