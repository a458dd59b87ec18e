// Names and findings as users and disks bring them: with line feeds, with markup, in words without end.
#include "FernwahrungApp/Views/CapacityBar.h"
#include "FernwahrungApp/Views/ElidedLabel.h"
#include "FernwahrungApp/Views/Texts.h"
#include "FernwahrungApp/Views/WrappedText.h"
#include "interface/WindowFixture.h"

#include <QClipboard>
#include <QScrollArea>

namespace fernwahrung {
namespace {

TEST(TextsTest, InAMenuANameIsOneLine) {
  EXPECT_EQ(Texts::inMenu("Bilder\tStrg+Q\nneu\r\u2028x"), "Bilder Strg+Q neu  x");
  EXPECT_EQ(Texts::inMenu("Bilder & Töne"), "Bilder && Töne");
}

TEST(TextsTest, InAMenuALongNameIsShortenedInItsMiddle) {
  const QString shortened = Texts::inMenu("Anfang" + std::string(500, 'x') + "Ende");
  EXPECT_EQ(shortened.size(), 60);
  EXPECT_TRUE(shortened.startsWith("Anfang") && shortened.contains("…") && shortened.endsWith("Ende"));
  EXPECT_EQ(Texts::inMenu(std::string(60, 'x')), QString(60, 'x'));
}

TEST(TextsTest, ShorteningTearsNoCharacterApart) {
  for (int before = 0; before < 4; ++before) {
    std::string name(static_cast<std::size_t>(before), 'x');
    for (int i = 0; i < 60; ++i) name += "😀";
    const QString shortened = Texts::inMenu(name);
    EXPECT_EQ(QString::fromUtf8(shortened.toUtf8()), shortened) << before;
    EXPECT_FALSE(shortened.toUtf8().contains('?')) << before;
  }
}

class LongNames : public WindowFixture {
 protected:
  const std::string endless_ = std::string(300, 'x');

  void expectNothingIsPushedOut() {
    window->resize(1, 1);
    pumpOnce();
    auto* page = find<QScrollArea>("detailPage");
    EXPECT_LE(page->widget()->minimumSizeHint().width(), page->viewport()->width());
    EXPECT_LE(page->widget()->width(), page->viewport()->width());
    EXPECT_EQ(window->centralWidget()->width(), 860);
  }
};

TEST_F(LongNames, PushNothingOutOfTheDetail) {
  Relocation& photos = add(
      "Bilder", RelocationKind::image,
      {.health = Health::error, .summary = "Nicht " + endless_, .details = {"Unter /Volumes/" + endless_}});
  photos.guardedAppPaths = {"/Applications/" + endless_ + ".app"};
  openLoaded();
  expectNothingIsPushedOut();
  auto* finding = find<WrappedText>("statusFinding");
  EXPECT_GE(finding->height(), 4 * finding->fontMetrics().lineSpacing());
  finding->selectAll();
  finding->copy();
  EXPECT_EQ(QApplication::clipboard()->text().toStdString(), "Unter /Volumes/" + endless_);
}

TEST_F(LongNames, PushNothingOutOfTheSidebar) {
  addMounted(endless_);
  core.world.volumes = {{endless_, "/Volumes/Extern", 1000, 500, false, CapacityLevel::ok}};
  core.world.unfinished = {Journal(OperationKind::restore, core.world.relocations[0])};
  openLoaded();
  expectNothingIsPushedOut();
  EXPECT_LE(find("sidebar")->width(), 380);
}

TEST_F(LongNames, AreNeverTakenForMarkup) {
  const std::string marked = "<b>Fett</b>";
  add(marked, RelocationKind::image,
      {.health = Health::error, .summary = marked + " 1", .details = {marked + " 2"}});
  core.world.volumes = {{marked + " 3", "/Volumes/Extern", 1000, 500, false, CapacityLevel::ok}};
  core.world.unfinished = {Journal(OperationKind::restore, core.world.relocations[0])};
  openLoaded();
  EXPECT_EQ(text("statusSummary"), marked + " 1");
  EXPECT_EQ(text("statusFinding"), marked + " 2");
  auto* volume = find<ElidedLabel>("volumeName");
  EXPECT_EQ(volume->text().toStdString(), marked + " 3");
  EXPECT_TRUE(volume->toolTip().contains("&lt;b&gt;"));
  int labels = 0;
  for (QLabel* label : window->findChildren<QLabel*>()) {
    if (!label->text().contains("<b>")) continue;
    ++labels;
    EXPECT_EQ(label->textFormat(), Qt::PlainText) << label->text().toStdString();
  }
  EXPECT_GE(labels, 2) << "the banner and the volume";
}

TEST_F(LongNames, WithLineFeedsAndTabsLeaveTheMenusInShape) {
  addMounted("Bilder\tStrg+Q\nneu");
  openLoaded();
  EXPECT_EQ(action("menuSelection")->text(), "Ausgewählt: Bilder Strg+Q neu");
}

TEST_F(LongNames, ABannerWithoutStepsSaysSo) {
  core.world.unfinished = {Journal(OperationKind::restore, FakeCore::relocation("Bilder"))};
  openLoaded();
  EXPECT_TRUE(visibleTexts().contains("Unterbrochener Vorgang: „Bilder“ (" +
                                      std::string(title(OperationKind::restore)) +
                                      "). Erledigte Schritte: keine"));
}

TEST_F(LongNames, ABarTellsWhoseItIs) {
  core.world.volumes = {{"100 %2 Extern", "/Volumes/Extern", 1000, 500, false, CapacityLevel::ok},
                        {"Leer", "/Volumes/Leer", 1000, 1000, false, CapacityLevel::ok}};
  openLoaded();
  auto bars = window->findChildren<CapacityBar*>("volumeBar");
  ASSERT_EQ(bars.size(), 2);
  EXPECT_EQ(bars[0]->accessibleName(), "100 %2 Extern: zu 50 % belegt");
  EXPECT_EQ(bars[1]->accessibleName(), "Leer: zu 0 % belegt");
}

}  // namespace
}  // namespace fernwahrung
