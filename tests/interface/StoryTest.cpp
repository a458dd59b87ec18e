// A user offloads a folder and gets it back, on the real window with real images: keys, clicks and answers,
// nothing else.
#include "FernwahrungApp/Model/Background.h"
#include "FernwahrungApp/Views/MainWindow.h"
#include "MainThread.h"
#include "integration/Scene.h"
#include "support/EventLoop.h"
#include "support/Eventually.h"
#include "support/Files.h"
#include "support/ScriptedQuestions.h"

#include "Foundation/Host.h"
#include "Foundation/Paths.h"
#include "Storage/FileOps.h"

#include <QAbstractButton>
#include <QAction>
#include <QDialog>
#include <QLabel>
#include <QListView>
#include <QSignalSpy>
#include <QSpinBox>
#include <csignal>
#include <fcntl.h>
#include <sys/wait.h>

namespace fernwahrung {
namespace {

class Story : public Scene {
 protected:
  void SetUp() override {
    Scene::SetUp();
    if (IsSkipped()) return;
    makeSource();
  }
  void TearDown() override {
    window.reset();
    model.reset();
    Background::waitForDone();
    pumpOnce();
    Scene::TearDown();
  }

  void open() {
    CoreCalls calls;
    calls.notify = [](const std::string&, const std::string&) {};  // the test's machine may be short of space
    model.emplace(std::move(calls), questions, std::chrono::hours(1));
    window.emplace(*model);
    window->show();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&*window));
    ASSERT_TRUE(until([this] { return model->loaded(); }));
  }

  /// Runs the event loop until it holds. Whatever the main thread does meanwhile is watched.
  bool until(const std::function<bool()>& condition) {
    MainThreadWatch::Armed armed(watch);
    return pumpUntil(condition, 120);
  }

  QDialog* sheet() { return window->findChild<QDialog*>("newRelocationSheet"); }

  /// Presses the control by the keyboard.
  void press(const QString& name) {
    QAbstractButton* button = nullptr;
    ASSERT_TRUE(until([&] {
      QWidget* root = sheet() && sheet()->isVisible() ? static_cast<QWidget*>(sheet()) : &*window;
      button = root->findChild<QAbstractButton*>(name);
      return button != nullptr && button->isVisible() && button->isEnabled();
    })) << name.toStdString();
    MainThreadWatch::Armed armed(watch);
    // What closes or ends hands the focus on by itself, in its own time.
    ASSERT_TRUE(pumpUntil([&] {
      button->window()->activateWindow();
      button->setFocus();
      return button->hasFocus();
    })) << name.toStdString();
    QTest::keyClick(button, Qt::Key_Space);
  }

  /// Fills the sheet, lets it check, and starts.
  void offload(const QString& kind) {
    // The menus follow the model a moment later.
    ASSERT_TRUE(until([this] { return window->findChild<QAction*>("menuRelocate")->isEnabled(); }));
    QTest::keyClick(&*window, Qt::Key_N, Qt::ControlModifier);
    ASSERT_TRUE(until([this] { return sheet() != nullptr && sheet()->isVisible(); }));
    questions.expect("Fernzuwahrenden Ordner wählen", source);
    press("chooseSource");
    questions.expect("Zielordner auf dem externen Laufwerk", drive->path());
    press("chooseStorage");
    press(kind);
    auto* size = sheet()->findChild<QSpinBox*>("sizeField");
    ASSERT_NE(size, nullptr);
    size->selectAll();
    QTest::keyClicks(size, "3");
    press("checkButton");
    press("appClosed");
    press("startButton");
    ASSERT_TRUE(until([this] { return model->busyTitle() == "Fernwahren"; }));
  }
  bool untilIdle() {
    return until([this] {
      return !model->busyTitle() && questions.allAsked() && !model->errorMessage() && !model->infoMessage();
    });
  }
  bool untilMounted(bool mounted) {
    return until([this, mounted] {
      return !model->busyTitle() && model->statuses().size() == 1 &&
             model->statuses().begin()->second.mounted == mounted;
    });
  }
  /// The same names, bytes and attributes as before can be read at the place.
  void expectSameAt(const std::string& place) {
    EXPECT_EQ(diff(before, TreeManifest::of(place), {.ignoredTopNames = {"lost+found"}}), "");
  }

  MainThreadWatch watch;
  ScriptedQuestions questions;
  std::optional<AppModel> model;
  std::optional<MainWindow> window;
};

TEST_F(Story, OffloadUnmountMountAndBringBackAnImage) {
  open();
  offload("kindImage");
  questions.expect("Erledigt", "OK");
  ASSERT_TRUE(untilIdle());
  ASSERT_TRUE(untilMounted(true));
  EXPECT_TRUE(FileOps::isMountPoint(source));
  expectSameAt(source);
  auto* list = window->findChild<QListView*>("relocationList");
  ASSERT_NE(list, nullptr);
  EXPECT_TRUE(until([list] { return list->model()->rowCount() == 1; }));
  EXPECT_EQ(model->selectedRelocation()->name, "Große Bibliothek");

  questions.expect("Aushängen: Große Bibliothek?", "Aushängen");
  press("detailUnmount");
  ASSERT_TRUE(untilMounted(false));
  EXPECT_FALSE(FileOps::isMountPoint(source));
  press("detailMount");
  ASSERT_TRUE(untilMounted(true));

  questions.expect("Zurück auf den Mac holen: Große Bibliothek?", "Zurück auf den Mac holen");
  questions.expect("Erledigt", "OK");
  press("detailRestore");
  ASSERT_TRUE(untilIdle());
  EXPECT_FALSE(FileOps::isMountPoint(source));
  EXPECT_EQ(sourceDifference(), "");
  EXPECT_EQ(watch.offences(), "");
}

TEST_F(Story, OffloadAndBringBackALink) {
  open();
  offload("kindSymlink");
  questions.expect("Erledigt", "OK");
  ASSERT_TRUE(untilIdle());
  EXPECT_TRUE(FileOps::isSymlink(source));
  expectSameAt(FileOps::normalize(source));
  questions.expect("Zurück auf den Mac holen: Große Bibliothek?", "Zurück auf den Mac holen");
  questions.expect("Erledigt", "OK");
  press("detailRestore");
  ASSERT_TRUE(untilIdle());
  EXPECT_EQ(sourceDifference(), "");
  EXPECT_EQ(watch.offences(), "");
}

TEST_F(Story, CancelInTheMiddleAndFindEverythingAsItWas) {
  writeFile(source + "/groß", std::string(200'000'000, 'x'));
  before = TreeManifest::of(source);
  open();
  offload("kindImage");
  questions.expect("Fehler", "OK");
  ASSERT_TRUE(until([this] { return model->progressFraction().has_value() || !model->busyTitle(); }));
  press("overlayCancel");
  EXPECT_EQ(model->progressMessage(), "Breche ab und stelle den Ausgangszustand wieder her …");
  ASSERT_TRUE(untilIdle());
  expectAsBefore();
  EXPECT_EQ(watch.offences(), "");
}

TEST_F(Story, ClosingTheWindowInTheMiddleCancelsOnlyAfterAYes) {
  writeFile(source + "/groß", std::string(200'000'000, 'x'));
  before = TreeManifest::of(source);
  open();
  offload("kindImage");
  questions.expect("„Fernwahren“ läuft noch", "Weiterlaufen lassen");
  EXPECT_FALSE(window->close());
  EXPECT_TRUE(window->isVisible());
  EXPECT_TRUE(model->busyTitle());
  QSignalSpy accepted(&*window, &MainWindow::quitAccepted);
  questions.expect("„Fernwahren“ läuft noch", "Abbrechen und beenden");
  questions.expect("Fehler", "OK", [&] {
    pumpOnce();
    EXPECT_EQ(accepted.count(), 0) << "the program ended before the user could read it";
  });
  EXPECT_FALSE(window->close());
  ASSERT_TRUE(untilIdle());
  expectAsBefore();
  EXPECT_TRUE(until([&] { return accepted.count() == 1; }));
}

TEST_F(Story, RollBackFromTheBannerWhatACrashLeft) {
  writeFile(source + "/groß", std::string(300'000'000, 'x'));
  before = TreeManifest::of(source);
  FileDescriptor null(::open("/dev/null", O_RDWR | O_CLOEXEC));
  pid_t helper =
      Host::spawn(FERNWAHRUNG_HELPER,
                  {"relocate", "--source", source, "--storage", drive->path(), "--size-gb", "2", "--yes"},
                  null.get(), null.get(), null.get());
  ASSERT_TRUE(eventually([] {
    auto open = Journal::unfinished();
    return !open.empty() && open.front().has("tempMounted");
  }));
  ::kill(helper, SIGKILL);
  ::waitpid(helper, nullptr, 0);
  ASSERT_EQ(Journal::unfinished().size(), 1U);

  open();
  questions.expect("Unterbrochenen Vorgang zurückrollen?", "Abbrechen");
  press("bannerRollback");
  EXPECT_EQ(Journal::unfinished().size(), 1U);
  questions.expect("Unterbrochenen Vorgang zurückrollen?", "Zurückrollen");
  questions.expect("Erledigt", "OK");
  press("bannerRollback");
  ASSERT_TRUE(untilIdle());
  ASSERT_TRUE(until([this] { return model->unfinished().empty(); }));
  EXPECT_TRUE(until([this] { return window->findChild<QWidget*>("bannerUnfinished") == nullptr; }));
  expectAsBefore();
  EXPECT_EQ(watch.offences(), "");
}

}  // namespace
}  // namespace fernwahrung
