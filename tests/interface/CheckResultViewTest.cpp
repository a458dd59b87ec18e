#include "FernwahrungApp/Sheets/CheckResultView.h"
#include "FernwahrungApp/Sheets/FindingRow.h"
#include "FernwahrungApp/Views/SymbolView.h"
#include "SheetFindings.h"
#include "unit/AppModel/ModelFixture.h"

#include <QApplication>
#include <QPushButton>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTextEdit>
#include <QVBoxLayout>

namespace fernwahrung {
namespace {

using namespace std::chrono_literals;

class CheckResult : public ModelFixture {
 protected:
  /// The automatic re-check and the grace after a termination last so long that only a test that waits for
  /// them sees them.
  void open(std::optional<PreflightResult> result, CheckResultView::Timing timing = {1h, 1ms}) {
    start();
    view.emplace(*owned, "Ablauf: so.", timing, nullptr);
    rechecks = std::make_unique<QSignalSpy>(&*view, &CheckResultView::recheck);
    view->setResult(result);
    view->resize(500, 600);
    view->show();
    view->activateWindow();
    EXPECT_TRUE(QTest::qWaitForWindowActive(&*view));
  }
  QStringList texts(const QString& name) {
    QStringList found;
    for (QTextEdit* text : view->findChildren<QTextEdit*>(name)) found << text->toPlainText();
    return found;
  }
  QList<QPushButton*> buttons(const QString& name) { return view->findChildren<QPushButton*>(name); }
  void press(QPushButton* button) {
    button->setFocus();
    QTest::keyClick(button, Qt::Key_Space);
    pumpOnce();
  }
  /// Many intervals of a re-check that falls due each millisecond.
  void letTimePass() {
    QTimer other;
    QSignalSpy ticks(&other, &QTimer::timeout);
    other.start(1ms);
    ASSERT_TRUE(pumpUntil([&] { return ticks.count() >= 20; }));
  }
  void TearDown() override {
    view.reset();
    ModelFixture::TearDown();
  }

  std::optional<CheckResultView> view;
  std::unique_ptr<QSignalSpy> rechecks;
};

TEST_F(CheckResult, AllIsWell) {
  open(SheetFindings::measured(12'300'000, 1234));
  EXPECT_EQ(texts("allGood"), QStringList{"Alle Voraussetzungen erfüllt."});
  EXPECT_EQ(texts("sizeLine"), QStringList{"1234 Dateien, 12,3 MB"});
  EXPECT_EQ(texts("procedure"), QStringList{"Ablauf: so."});
  EXPECT_TRUE(texts("recheckLine").empty());
}

TEST_F(CheckResult, WarningsAreShownInTheirOrder) {
  PreflightResult result = SheetFindings::measured();
  result.warnings = {"eins", "<b>zwei</b>"};
  open(result);
  EXPECT_EQ(texts("warning"), (QStringList{"eins", "<b>zwei</b>"}));
  EXPECT_TRUE(texts("allGood").empty());
}

TEST_F(CheckResult, AProcessIsShownAsItselfAndOtherBlockersBesides) {
  PreflightResult result = SheetFindings::heldBy({SheetFindings::terminable(), SheetFindings::forbidden()});
  result.blockers.push_back("Das ist kein Ordner.");
  open(result);
  EXPECT_EQ(texts("otherBlocker"), QStringList{"Das ist kein Ordner."});
  EXPECT_EQ(texts("blockerText"),
            (QStringList{QString::fromStdString(ProcessDescriber::message(SheetFindings::terminable())),
                         QString::fromStdString(ProcessDescriber::message(SheetFindings::forbidden()))}));
  EXPECT_EQ(texts("blockerForbidden"),
            QStringList{"Kann hier nicht beendet werden: Gehört einem anderen Benutzer (z. B. dem System)"});
  EXPECT_EQ(buttons("blockerQuit").size(), 1);
  EXPECT_EQ(buttons("blockerReveal").size(), 2);
  EXPECT_EQ(buttons("recheckButton").size(), 2);
  EXPECT_TRUE(texts("sizeLine").empty());
  EXPECT_TRUE(texts("allGood").empty());
}

TEST_F(CheckResult, AForbiddenProcessCanBeShownButNotEnded) {
  open(SheetFindings::heldBy({SheetFindings::forbidden()}));
  EXPECT_TRUE(buttons("blockerQuit").empty());
  press(buttons("blockerReveal").front());
  settle();
  EXPECT_EQ(count("reveal " + SheetFindings::forbidden().executablePath), 1U);
  press(buttons("recheckButton").front());
  EXPECT_EQ(rechecks->count(), 1);
}

TEST_F(CheckResult, EndingAProcessAsksAndThenChecksAgain) {
  open(SheetFindings::heldBy({SheetFindings::terminable()}));
  EXPECT_EQ(buttons("blockerQuit").front()->text(), "Beenden");
  questions.expect("„Microsoft Outlook“ beenden?", "Beenden");
  press(buttons("blockerQuit").front());
  ASSERT_TRUE(pumpUntil([this] { return rechecks->count() == 1; }));
  EXPECT_EQ(count("requestTermination 812"), 1U);
}

TEST_F(CheckResult, AServiceOfTheSystemIsAwaitedForAWhile) {
  open(SheetFindings::heldBy({SheetFindings::systemService()}), {1ms, 1ms});
  EXPECT_EQ(texts("recheckLine"),
            QStringList{"Ein vom System gestarteter Dienst hält Dateien offen. "
                        "Die App prüft alle 5 Sekunden selbst erneut und beendet nichts von allein."});
  ASSERT_TRUE(pumpUntil([this] { return rechecks->count() >= 24; }));
  EXPECT_EQ(texts("recheckLine"), QStringList{"Automatisches Prüfen beendet – „Erneut prüfen“ klicken."});
  settle();
  EXPECT_EQ(rechecks->count(), 24);
  // The same again is still the same wait; another check's result is a new one.
  view->setResult(SheetFindings::heldBy({SheetFindings::systemService()}));
  settle();
  EXPECT_EQ(rechecks->count(), 24);
  view->setResult(std::nullopt);
  view->setResult(SheetFindings::heldBy({SheetFindings::systemService()}));
  ASSERT_TRUE(pumpUntil([this] { return rechecks->count() >= 48; }));
}

TEST_F(CheckResult, NobodyIsAwaitedOutOfSightOrForAnApp) {
  open(SheetFindings::heldBy({SheetFindings::terminable()}), {1ms, 1ms});
  EXPECT_TRUE(texts("recheckLine").empty());
  letTimePass();
  EXPECT_EQ(rechecks->count(), 0);
  view->hide();
  view->setResult(SheetFindings::heldBy({SheetFindings::systemService()}));
  letTimePass();
  EXPECT_EQ(rechecks->count(), 0);
  view->show();
  EXPECT_TRUE(pumpUntil([this] { return rechecks->count() > 0; }));
}

TEST_F(CheckResult, ANewResultLeavesTheKeyboardWithItsProcess) {
  ProcessDescription service = SheetFindings::systemService();
  open(SheetFindings::heldBy({SheetFindings::terminable(), service}));
  QPushButton* second = buttons("recheckButton").back();
  second->setFocus();
  service.openFileCount = 7;
  view->setResult(SheetFindings::heldBy({service}));
  ASSERT_EQ(buttons("recheckButton").size(), 1);
  EXPECT_TRUE(buttons("recheckButton").front()->hasFocus());
}

TEST_F(CheckResult, TextsCanBeCopiedAndWrapEvenWhereTheyHaveNoBlanks) {
  PreflightResult result;
  result.blockers = {"Der Ordner existiert nicht: /" + std::string(400, 'x')};
  open(result);
  auto* text = view->findChild<QTextEdit*>("otherBlocker");
  EXPECT_LE(text->width(), view->viewport()->width());
  EXPECT_GE(text->height(), 4 * text->fontMetrics().lineSpacing());
  text->setFocus();
  QTest::keyClick(text, Qt::Key_A, Qt::ControlModifier);
  EXPECT_EQ(text->textCursor().selectedText().toStdString(), result.blockers.front());
}

TEST_F(CheckResult, EachFindingHasItsSymbolAndItsPlace) {
  PreflightResult result =
      SheetFindings::heldBy({SheetFindings::forbidden(), SheetFindings::systemService()});
  result.size = SheetFindings::measured().size;
  result.blockers.push_back("Das ist kein Ordner.");
  result.warnings = {"eins"};
  open(result);
  std::vector<std::string> found;
  for (FindingRow* row : view->findChildren<FindingRow*>()) {
    found.push_back(row->findChild<QTextEdit*>()->objectName().toStdString() + " " +
                    row->findChild<SymbolView*>()->symbol().toStdString());
  }
  EXPECT_EQ(found,
            (std::vector<std::string>{"otherBlocker xmark.octagon.fill", "blockerText xmark.octagon.fill",
                                      "blockerForbidden xmark.octagon.fill", "blockerText xmark.octagon.fill",
                                      "recheckLine arrow.clockwise", "warning exclamationmark.triangle.fill",
                                      "procedure list.bullet.rectangle", "sizeLine folder"}));
  view->setResult(SheetFindings::measured());
  EXPECT_EQ(view->findChild<SymbolView*>()->symbol(), "checkmark.circle.fill");
}

TEST_F(CheckResult, AChangedResultLeavesTheReaderWhereSheWas) {
  PreflightResult result;
  for (int i = 0; i < 60; ++i) result.warnings.push_back("Warnung " + std::to_string(i));
  open(result);
  pumpOnce();
  view->verticalScrollBar()->setValue(300);
  ASSERT_EQ(view->verticalScrollBar()->value(), 300);
  result.warnings.push_back("noch eine");
  view->setResult(result);
  EXPECT_TRUE(pumpUntil([this] { return view->viewport()->updatesEnabled(); }));
  EXPECT_EQ(view->verticalScrollBar()->value(), 300);
}

TEST_F(CheckResult, AKeyboardWhosePlaceIsGoneStaysInTheView) {
  open(SheetFindings::heldBy({SheetFindings::terminable()}));
  buttons("recheckButton").front()->setFocus();
  view->setResult(SheetFindings::measured());
  EXPECT_TRUE(view->hasFocus());
}

TEST_F(CheckResult, WhatTakesTheKeyboardFromBelowCanBeSeen) {
  PreflightResult result;
  for (int i = 0; i < 60; ++i) result.warnings.push_back("Warnung " + std::to_string(i));
  open(result);
  QWidget host;
  auto* below = new QPushButton("Darunter", &host);
  auto* column = new QVBoxLayout(&host);
  column->addWidget(&*view);
  column->addWidget(below);
  host.resize(500, 400);
  host.show();
  host.activateWindow();
  EXPECT_TRUE(QTest::qWaitForWindowActive(&host));
  QWidget::setTabOrder(view->findChildren<QTextEdit*>().back(), below);
  ASSERT_EQ(view->verticalScrollBar()->value(), 0);
  below->setFocus();
  QTest::keyClick(below, Qt::Key_Tab, Qt::ShiftModifier);
  QWidget* focused = QApplication::focusWidget();
  ASSERT_TRUE(view->isAncestorOf(focused));
  EXPECT_EQ(focused->objectName(), "sizeLine");
  const QRect place(focused->mapTo(view->viewport(), QPoint()), focused->size());
  EXPECT_TRUE(view->viewport()->rect().contains(place)) << place.y();
  view->setParent(nullptr);
}

}  // namespace
}  // namespace fernwahrung
