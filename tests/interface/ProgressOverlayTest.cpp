// What lies over the window while an operation runs.
#include "interface/WindowFixture.h"

#include "Foundation/Clock.h"

#include <QListView>
#include <QMenuBar>
#include <QProgressBar>

namespace fernwahrung {
namespace {

class ProgressOverlayTest : public WindowFixture {
 protected:
  void begin() {
    addMounted("Bilder");
    addLink("Sampler");
    openLoaded();
    owned->restore(owned->relocations().front());
    ASSERT_TRUE(untilBusy());
  }
  void letGo() {
    questions.expect("Erledigt", "OK");
    release();
    EXPECT_TRUE(untilIdle());
    EXPECT_TRUE(pumpUntil([this] { return questions.allAsked(); }));
  }
};

TEST_F(ProgressOverlayTest, IsThereOnlyWhileAnOperationRuns) {
  holdOperations("Kopiere …", 0.25);
  begin();
  EXPECT_TRUE(visible("progressOverlay"));
  EXPECT_EQ(text("overlayTitle"), "Zurückholen");
  EXPECT_EQ(text("overlayMessage"), "Kopiere …");
  EXPECT_EQ(text("overlayWarning"), "Bitte die betroffene App nicht starten und das Laufwerk nicht trennen.");
  auto* bar = find<QProgressBar>("overlayBar");
  EXPECT_EQ(bar->value() * 4, bar->maximum());
  letGo();
  EXPECT_FALSE(visible("progressOverlay"));
}

TEST_F(ProgressOverlayTest, TheBarOnlyMovesWhileNothingIsKnown) {
  holdOperations("Lege an …");
  begin();
  EXPECT_EQ(find<QProgressBar>("overlayBar")->maximum(), 0);
  EXPECT_EQ(text("overlayTimeLeft"), "");
  letGo();
}

TEST_F(ProgressOverlayTest, TellsTheTimeLeft) {
  std::atomic<int> seconds = 0;
  Clock::Override clock([&] { return Dates::fromUnixSeconds(1'790'000'000 + seconds); }, [](double) {});
  FakeCore::Gate second;
  second.close();
  gate.close();
  core.operation = [&](OperationContext& context) {
    context.progress("Kopiere …", 0.1);
    second.pass();
    context.progress("Kopiere weiter …", 0.4);
    gate.pass();
  };
  begin();
  seconds = 60;
  second.open();
  EXPECT_TRUE(pumpUntil([this] { return text("overlayTimeLeft") == "noch etwa 2 Minuten"; }));
  letGo();
}

TEST_F(ProgressOverlayTest, CancelsOnce) {
  holdOperations();
  begin();
  auto* cancel = find<QPushButton>("overlayCancel");
  EXPECT_TRUE(cancel->isVisible());
  EXPECT_EQ(cancel->text(), "Abbrechen");
  cancel->click();
  pumpOnce();
  EXPECT_FALSE(cancel->isEnabled());
  EXPECT_EQ(text("overlayMessage"), "Breche ab und stelle den Ausgangszustand wieder her …");
  questions.expect("Fehler", "OK");
  release();
  EXPECT_TRUE(untilIdle());
  EXPECT_TRUE(pumpUntil([this] { return questions.allAsked(); }));

  holdOperations();
  owned->restore(owned->relocations().front());
  ASSERT_TRUE(untilBusy());
  EXPECT_TRUE(cancel->isEnabled());
  letGo();
}

TEST_F(ProgressOverlayTest, OffersNoCancelWhereThereIsNone) {
  holdOperations();
  addMounted("Bilder");
  openLoaded();
  owned->unmount(owned->relocations().front());
  ASSERT_TRUE(pumpUntil([this] { return visible("progressOverlay"); }));
  EXPECT_FALSE(visible("overlayCancel"));
  release();
  EXPECT_TRUE(untilIdle());
}

TEST_F(ProgressOverlayTest, NothingBelowCanBeReached) {
  holdOperations();
  begin();
  auto* overlay = find("progressOverlay");
  EXPECT_TRUE(overlay->isAncestorOf(QApplication::focusWidget()) || overlay->hasFocus());
  for (int i = 0; i < 10; ++i) {
    QTest::keyClick(QApplication::focusWidget(), i % 2 ? Qt::Key_Backtab : Qt::Key_Tab);
    ASSERT_NE(QApplication::focusWidget(), nullptr);
    EXPECT_TRUE(overlay == QApplication::focusWidget() || overlay->isAncestorOf(QApplication::focusWidget()));
  }
  for (const char* name : {"relocationList", "detailUnmount", "detailRestore", "detailSourceReveal",
                           "toolbarRelocate", "toolbarRefresh"}) {
    EXPECT_FALSE(find(name)->isEnabled()) << name;
    QPoint centre = find(name)->mapTo(&*window, find(name)->rect().center());
    QWidget* hit = window->childAt(centre);
    EXPECT_TRUE(hit == overlay || overlay->isAncestorOf(hit)) << name;
  }
  for (const char* name : {"menuRelocate", "menuUnmount", "menuMountAll", "menuRefresh"}) {
    EXPECT_FALSE(action(name)->isEnabled()) << name;
  }
  EXPECT_TRUE(action("menuQuit")->isEnabled());
  QTest::keyClick(QApplication::focusWidget(), Qt::Key_M, Qt::ControlModifier | Qt::ShiftModifier);
  letGo();
  EXPECT_EQ(count("mountAll"), 0U);
  EXPECT_TRUE(find("detailRestore")->isEnabled());
  EXPECT_TRUE(action("menuMountAll")->isEnabled());
}

TEST_F(ProgressOverlayTest, TheFocusComesBack) {
  holdOperations();
  begin();
  letGo();
  EXPECT_TRUE(pumpUntil([this] { return find("relocationList")->hasFocus(); }));
  find("detailRestore")->setFocus();
  holdOperations();
  owned->restore(owned->relocations().front());
  ASSERT_TRUE(untilBusy());
  EXPECT_FALSE(find("detailRestore")->hasFocus());
  letGo();
  EXPECT_TRUE(pumpUntil([this] { return find("detailRestore")->hasFocus(); }));
}

TEST_F(ProgressOverlayTest, ALongFileNameChangesNoSize) {
  holdOperations("Kopiere „" + std::string(1000, 'w') + "“", 0.5);
  addMounted("Bilder");
  openLoaded();
  const QSize before = window->size();
  owned->restore(owned->relocations().front());
  ASSERT_TRUE(untilBusy());
  EXPECT_EQ(window->size(), before);
  auto* overlay = find("progressOverlay");
  EXPECT_EQ(overlay->geometry().bottomRight(), window->rect().bottomRight());
  for (QWidget* part : overlay->findChildren<QWidget*>()) {
    EXPECT_TRUE(overlay->rect().contains(QRect(part->mapTo(overlay, QPoint()), part->size())))
        << part->objectName().toStdString();
  }
  window->resize(1300, 800);
  pumpOnce();
  EXPECT_EQ(overlay->geometry().bottomRight(), window->rect().bottomRight());
  letGo();
}

}  // namespace
}  // namespace fernwahrung
