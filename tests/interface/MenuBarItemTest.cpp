// The symbol in the menu bar and its menu.
#include "FernwahrungApp/Views/Appearance.h"
#include "FernwahrungApp/Views/MenuBarItem.h"
#include "FernwahrungApp/Views/Symbols.h"
#include "unit/AppModel/ModelFixture.h"

#include <QApplication>
#include <QSignalSpy>

namespace fernwahrung {
namespace {

class MenuBarItemTest : public ModelFixture {
 protected:
  using Health = RelocationStatus::Health;

  void open() {
    start();
    item.emplace(*owned);
  }
  void TearDown() override {
    gate.open();
    item.reset();
    ModelFixture::TearDown();
  }
  Relocation& add(const std::string& name, Health health = Health::ok,
                  const std::string& summary = "Eingehängt") {
    core.world.relocations.push_back(FakeCore::relocation(name));
    Relocation& made = core.world.relocations.back();
    core.world.statuses[made.id] = {
        .health = health, .summary = summary, .details = {}, .mounted = health == Health::ok};
    return made;
  }
  std::vector<std::string> entries() {
    std::vector<std::string> texts;
    for (QAction* action : item->menu().actions()) {
      if (!action->isSeparator()) texts.push_back(action->text().toStdString());
    }
    return texts;
  }
  QAction* entry(const QString& name) {
    auto* found = item->menu().findChild<QAction*>(name);
    EXPECT_NE(found, nullptr) << name.toStdString();
    return found;
  }

  FakeCore::Gate gate;
  std::optional<MenuBarItem> item;
};

TEST_F(MenuBarItemTest, SaysThatThereIsNothing) {
  open();
  EXPECT_EQ(entries(),
            (std::vector<std::string>{"Keine Fernwahrungen", "Alle einhängen", "Fenster öffnen", "Beenden"}));
  EXPECT_FALSE(entry("trayNoRelocations")->isEnabled());
  EXPECT_EQ(item->symbol(), "externaldrive.badge.checkmark");
}

TEST_F(MenuBarItemTest, ListsRelocationsAndWhatIsWrong) {
  Relocation& photos = add("Bilder & Töne");
  core.world.imageCapacity[photos.id].level = CapacityLevel::warning;
  add("Mail", Health::error, "Nicht eingehängt");
  core.world.volumes = {
      {"Extern", "/Volumes/Extern", 1'000'000'000'000, 8'500'000'000, false, CapacityLevel::critical},
      {"Ruhig", "/Volumes/Ruhig", 1000, 900, false, CapacityLevel::ok}};
  core.world.unfinished = {Journal(OperationKind::restore, core.world.relocations.front())};
  open();
  EXPECT_EQ(entries(), (std::vector<std::string>{"Bilder && Töne – Eingehängt", "Mail – Nicht eingehängt",
                                                 "⚠️ Extern: nur noch 8,5 GB frei",
                                                 "⚠️ Bilder && Töne: Speicher knapp",
                                                 "⚠️ Unterbrochener Vorgang – bitte Fenster öffnen",
                                                 "Alle einhängen", "Fenster öffnen", "Beenden"}));
}

TEST_F(MenuBarItemTest, NothingIsMountedWhileAQuestionStands) {
  add("Bilder");
  open();
  EXPECT_TRUE(entry("trayMountAll")->isEnabled());
  questions.expect("Wirklich?", "Ja", [this] {
    settle();
    EXPECT_FALSE(entry("trayMountAll")->isEnabled());
    EXPECT_TRUE(entry("trayQuit")->isEnabled());
  });
  owned->questions().confirm("Wirklich?", "", "Ja");
  settle();
  EXPECT_TRUE(entry("trayMountAll")->isEnabled());
}

TEST_F(MenuBarItemTest, TheSymbolFollowsTheWorstOfAll) {
  add("Bilder");
  open();
  EXPECT_EQ(item->symbol(), "externaldrive.badge.checkmark");
  core.world.unfinished = {Journal(OperationKind::restore, core.world.relocations[0])};
  refresh();
  EXPECT_EQ(item->symbol(), "externaldrive.badge.exclamationmark");
  core.world.statuses[core.world.relocations[0].id].health = Health::error;
  refresh();
  EXPECT_EQ(item->symbol(), "externaldrive.badge.xmark");
  core.world.unfinished.clear();
  core.world.statuses[core.world.relocations[0].id].health = Health::ok;
  refresh();
  EXPECT_EQ(item->symbol(), "externaldrive.badge.checkmark");
}

TEST_F(MenuBarItemTest, MountsAllUnlessSomethingRuns) {
  add("Bilder");
  open();
  gate.close();
  core.operation = [this](OperationContext&) { gate.pass(); };
  entry("trayMountAll")->trigger();
  EXPECT_TRUE(pumpUntil([this] { return !entry("trayMountAll")->isEnabled(); }));
  EXPECT_TRUE(entry("trayQuit")->isEnabled());
  gate.open();
  EXPECT_TRUE(untilIdle());
  EXPECT_EQ(count("mountAll"), 1U);
  EXPECT_TRUE(entry("trayMountAll")->isEnabled());
}

TEST_F(MenuBarItemTest, OpensTheWindowAndEndsTheProgram) {
  add("Bilder");
  const Uuid mail = add("Mail").id;
  open();
  QSignalSpy window(&*item, &MenuBarItem::openWindow);
  QSignalSpy quit(&*item, &MenuBarItem::quit);
  entry("trayOpenWindow")->trigger();
  EXPECT_EQ(window.count(), 1);
  item->menu().actions()[1]->trigger();
  EXPECT_EQ(window.count(), 2);
  EXPECT_EQ(owned->selection(), mail);
  entry("trayQuit")->trigger();
  EXPECT_EQ(quit.count(), 1);
}

TEST_F(MenuBarItemTest, ARefreshThatBringsNothingNewLeavesTheMenuAlone) {
  add("Bilder");
  open();
  QAction* before = item->menu().actions().front();
  QSignalSpy destroyed(before, &QObject::destroyed);
  refresh();
  EXPECT_EQ(destroyed.count(), 0);
  EXPECT_EQ(item->menu().actions().front(), before);
}

TEST_F(MenuBarItemTest, UnderThePointerNoEntryBecomesAnother) {
  add("Bilder");
  open();
  item->menu().popup(QPoint());
  ASSERT_TRUE(item->menu().isVisible());
  const std::vector<std::string> before = entries();
  core.world.statuses.begin()->second.summary = "Nicht eingehängt";
  refresh();
  EXPECT_EQ(entries(), before);
  item->menu().hide();
  EXPECT_TRUE(pumpUntil([&] { return entries() != before; }));
  EXPECT_EQ(entries().front(), "Bilder – Nicht eingehängt");
}

TEST_F(MenuBarItemTest, TheSymbolsFollowThePalette) {
  add("Bilder", Health::error);
  open();
  const QPalette light = QApplication::palette();
  auto color = [this] {
    return item->menu().actions().front()->icon().pixmap(16).toImage().pixelColor(8, 2);
  };
  EXPECT_EQ(color(), Symbols::error(light));
  const QPalette dark = Appearance::darkPalette();
  QApplication::setPalette(dark);
  EXPECT_TRUE(pumpUntil([&] { return color() == Symbols::error(dark); }));
  QApplication::setPalette(light);
}

TEST_F(MenuBarItemTest, WithoutAPlaceOnTheDesktopItIsNotShown) {
  if (QSystemTrayIcon::isSystemTrayAvailable()) GTEST_SKIP() << "this desktop has a place for it";
  open();
  EXPECT_FALSE(item->isShown());
}

}  // namespace
}  // namespace fernwahrung
