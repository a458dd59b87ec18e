// The sheet over the window, when it goes in the midst of something.
#include "FernwahrungApp/Views/MainWindow.h"
#include "SheetFindings.h"
#include "unit/AppModel/ModelFixture.h"

#include <QDialog>
#include <QPushButton>

namespace fernwahrung {
namespace {

/// While the chooser stands, the event loop runs on.
class StandingChooser : public Questions {
 public:
  std::size_t ask(const Question& question) override {
    if (meanwhile) meanwhile();
    return question.buttons.size() - 1;
  }
  std::optional<std::string> chooseFolder(const std::string&, const std::string&) override {
    if (meanwhile) meanwhile();
    return "/Volumes/Extern";
  }
  std::optional<std::string> chooseApplication(const std::string&, const std::string&) override {
    if (meanwhile) meanwhile();
    return "/Applications/Fotos.app";
  }

  std::function<void()> meanwhile;
};

class SheetHostTest : public ModelFixture {
 protected:
  void SetUp() override {
    core.check = SheetFindings::heldBy({SheetFindings::terminable()});
    CoreCalls calls = core.calls();
    calls.preflight = [this](const RelocationPlan&) {
      gate.pass();
      auto guard = core.lock();
      return core.check;
    };
    owned.emplace(calls, chooser, std::chrono::hours(1));
    window.emplace(*owned);
    window->show();
    ASSERT_TRUE(pumpUntil([this] { return owned->loaded(); }));
    owned->newRelocation("/Users/anna/Bilder", {});
    ASSERT_TRUE(pumpUntil([this] { return sheet() && sheet()->isVisible(); }));
  }
  void TearDown() override {
    gate.open();
    window.reset();
    ModelFixture::TearDown();
  }
  QDialog* sheet() { return window->findChild<QDialog*>("newRelocationSheet"); }
  QPushButton* button(const QString& name) { return sheet()->findChild<QPushButton*>(name); }
  void goesMeanwhile() {
    chooser.meanwhile = [this] {
      gone = true;
      sheet()->reject();
      settle();
    };
  }
  void expectGone() {
    EXPECT_TRUE(gone);
    settle();
    EXPECT_EQ(sheet(), nullptr);
    EXPECT_FALSE(owned->sheet());
    EXPECT_FALSE(owned->busyTitle());
  }

  StandingChooser chooser;
  FakeCore::Gate gate;
  std::optional<MainWindow> window;
  bool gone = false;
};

TEST_F(SheetHostTest, TheSheetGoesWhileItsCheckRuns) {
  button("chooseStorage")->click();
  gate.close();
  button("checkButton")->click();
  ASSERT_TRUE(sheet()->findChild<QWidget*>("checking")->isVisible());
  gone = true;
  sheet()->reject();
  pumpOnce();
  gate.open();
  expectGone();
}

TEST_F(SheetHostTest, TheSheetGoesWhileAChooserStands) {
  for (const char* name : {"chooseSource", "chooseStorage", "addApp"}) {
    gone = false;
    if (!sheet()) owned->newRelocation("/Users/anna/Bilder", {});
    ASSERT_TRUE(pumpUntil([this] { return sheet() && sheet()->isVisible(); }));
    goesMeanwhile();
    button(name)->click();
    expectGone();
  }
}

TEST_F(SheetHostTest, TheSheetGoesWhileItAsksWhetherToEndAProcess) {
  button("chooseStorage")->click();
  button("checkButton")->click();
  ASSERT_TRUE(pumpUntil([this] { return button("blockerQuit") != nullptr; }));
  goesMeanwhile();
  button("blockerQuit")->click();
  ASSERT_TRUE(pumpUntil([this] { return gone; }));
  expectGone();
}

}  // namespace
}  // namespace fernwahrung
