// What closing the window means, how it comes back, and how small it may be.
#include "interface/WindowFixture.h"

#include <QSignalSpy>

namespace fernwahrung {
namespace {

using Closing = WindowFixture;

TEST_F(Closing, WhatOnlyHidesTheWindowNeedsNoQuestion) {
  openWithARestoreAtWork();
  window->setStaysWhenClosed([] { return true; });
  QSignalSpy accepted(&*window, &MainWindow::quitAccepted);
  EXPECT_TRUE(window->close());
  EXPECT_FALSE(window->isVisible());
  EXPECT_TRUE(questions.asked().empty());
  EXPECT_TRUE(owned->busyTitle());
  EXPECT_EQ(accepted.count(), 0);
  questions.expect("Erledigt", "OK");
  release();
  EXPECT_TRUE(untilIdle());
  EXPECT_TRUE(pumpUntil([this] { return questions.allAsked(); }));
}

TEST_F(Closing, WhetherItStaysIsAskedEachTime) {
  openLoaded();
  bool stays = true;
  window->setStaysWhenClosed([&] { return stays; });
  QSignalSpy accepted(&*window, &MainWindow::quitAccepted);
  EXPECT_TRUE(window->close());
  EXPECT_EQ(accepted.count(), 0);
  window->bringForward();
  stays = false;
  EXPECT_TRUE(window->close());
  EXPECT_EQ(accepted.count(), 1);
}

TEST_F(Closing, ReturnLetsTheOperationGoOn) {
  openWithARestoreAtWork();
  questions.expect("„Zurückholen“ läuft noch", "Weiterlaufen lassen");
  EXPECT_FALSE(window->close());
  const Question asked = questions.asked().back();
  EXPECT_EQ(asked.buttons.at(asked.defaultButton), "Weiterlaufen lassen");
  questions.expect("Erledigt", "OK");
  release();
  EXPECT_TRUE(untilIdle());
  EXPECT_TRUE(pumpUntil([this] { return questions.allAsked(); }));
}

TEST_F(Closing, AHiddenWindowComesBackWhenTheUserTurnsToTheProgram) {
  openLoaded();
  window->setStaysWhenClosed([] { return true; });
  window->close();
  ASSERT_FALSE(window->isVisible());
  {
    QWidget other;
    other.show();
    emit qApp->applicationStateChanged(Qt::ApplicationActive);
    EXPECT_FALSE(window->isVisible()) << "the user has turned to another window";
  }
  emit qApp->applicationStateChanged(Qt::ApplicationInactive);
  EXPECT_FALSE(window->isVisible());
  emit qApp->applicationStateChanged(Qt::ApplicationActive);
  EXPECT_TRUE(window->isVisible());
}

TEST_F(Closing, AtItsSmallestItsContentIsLargeEnough) {
  addMounted("Bilder");
  openLoaded();
  window->resize(1, 1);
  pumpOnce();
  EXPECT_EQ(window->centralWidget()->size(), QSize(860, 540));
}

}  // namespace
}  // namespace fernwahrung
