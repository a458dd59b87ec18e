// How the list draws its rows, and that what the detail shows stays marked in it.
#include "FernwahrungApp/Views/HealthIcon.h"
#include "FernwahrungApp/Views/RelocationList.h"
#include "FernwahrungApp/Views/Shades.h"
#include "FernwahrungApp/Views/Symbols.h"
#include "interface/WindowFixture.h"

#include <QHelpEvent>
#include <QImage>
#include <QToolTip>

namespace fernwahrung {
namespace {

using Health = RelocationStatus::Health;

TEST(HealthIconTest, EachHealthHasItsSymbolAndItsWord) {
  EXPECT_EQ(HealthIcon::symbol(Health::ok), "checkmark.circle.fill");
  EXPECT_EQ(HealthIcon::symbol(Health::warning), "exclamationmark.triangle.fill");
  EXPECT_EQ(HealthIcon::symbol(Health::error), "xmark.octagon.fill");
  EXPECT_EQ(HealthIcon::description(Health::ok), "In Ordnung");
  EXPECT_EQ(HealthIcon::description(Health::warning), "Warnung");
  EXPECT_EQ(HealthIcon::description(Health::error), "Fehler");
}

TEST(HealthIconTest, AFullImageIsNothingToBeCalmAbout) {
  EXPECT_EQ(HealthIcon::worst(Health::ok, CapacityLevel::ok), Health::ok);
  EXPECT_EQ(HealthIcon::worst(Health::ok, CapacityLevel::warning), Health::warning);
  EXPECT_EQ(HealthIcon::worst(Health::ok, CapacityLevel::critical), Health::error);
  EXPECT_EQ(HealthIcon::worst(Health::error, CapacityLevel::warning), Health::error);
}

class RelocationListTest : public WindowFixture {
 protected:
  QListView* list() { return find<QListView>("relocationList"); }
  QRect place(int row) { return list()->visualRect(list()->model()->index(row, 0)); }
  QImage picture(int row) { return list()->viewport()->grab(place(row)).toImage(); }
  QPalette palette() { return list()->palette(); }
  /// The right end of the name's line, where the gauge stands.
  QRect gauge(int row) { return QRect(place(row).right() - 46, place(row).top() + 2, 44, 30); }
  QImage gaugePicture(int row) { return list()->viewport()->grab(gauge(row)).toImage(); }

  static int pixels(const QImage& image, const QColor& color) {
    int count = 0;
    for (int y = 0; y < image.height(); ++y) {
      for (int x = 0; x < image.width(); ++x) count += image.pixelColor(x, y) == color ? 1 : 0;
    }
    return count;
  }
};

TEST_F(RelocationListTest, ARowShowsItsHealthByShapeAndColour) {
  addMounted("Gewählt");
  const Health healths[] = {Health::ok, Health::warning, Health::error};
  for (Health health : healths) {
    add("Ordner", RelocationKind::image, {.health = health, .summary = "So", .details = {}});
  }
  openLoaded();
  owned->setSelection(core.world.relocations[0].id);
  pumpOnce();
  for (int row = 0; row < 3; ++row) {
    const QImage image = picture(row + 1);
    EXPECT_GT(pixels(image, palette().color(QPalette::Text)), 10) << "a name in row " << row;
    for (Health health : healths) {
      const int found = pixels(image, HealthIcon::color(health, palette()));
      EXPECT_EQ(found > 20, health == healths[row]) << row << ": " << found;
    }
  }
}

TEST_F(RelocationListTest, AGaugeTellsOfScarceSpaceAndKeepsItsColourOnTheSelection) {
  core.world.imageCapacity[addMounted("Bilder").id].level = CapacityLevel::warning;
  addMounted("Mail");
  core.world.imageCapacity[addMounted("Musik").id].level = CapacityLevel::warning;
  openLoaded();
  owned->setSelection(core.world.relocations[0].id);
  list()->setFocus();
  pumpOnce();
  const QColor warning = Symbols::warning(palette());
  EXPECT_GT(pixels(gaugePicture(0), warning), 5);
  EXPECT_GT(pixels(gaugePicture(0), palette().color(QPalette::Base)), 5) << "nothing to tell it from";
  EXPECT_EQ(pixels(gaugePicture(1), warning), 0);
  EXPECT_GT(pixels(gaugePicture(2), warning), 5);
}

TEST_F(RelocationListTest, TheGaugeExplainsItself) {
  core.world.imageCapacity[addMounted("Bilder").id].level = CapacityLevel::warning;
  openLoaded();
  auto pointAt = [this](const QPoint& point) {
    QHelpEvent event(QEvent::ToolTip, point, list()->viewport()->mapToGlobal(point));
    QApplication::sendEvent(list()->viewport(), &event);
  };
  pointAt(place(0).topLeft() + QPoint(50, 15));
  EXPECT_FALSE(QToolTip::isVisible()) << QToolTip::text().toStdString();
  pointAt(QPoint(place(0).right() - 20, place(0).top() + 16));
  EXPECT_EQ(QToolTip::text(), "Speicher wird knapp");
  QToolTip::hideText();
}

TEST_F(RelocationListTest, OneSeesWhetherTheKeyboardIsInTheList) {
  addMounted("Bilder");
  openLoaded();
  const QColor highlight = palette().color(QPalette::Highlight);
  const QColor ring = Shades::blend(palette().color(QPalette::HighlightedText), highlight, 0.7);
  list()->setFocus();
  EXPECT_GT(pixels(picture(0), highlight), 1000);
  EXPECT_GT(pixels(picture(0), ring), 100);
  find("detailName")->setFocus();
  EXPECT_EQ(pixels(picture(0), highlight), 0);
  EXPECT_EQ(pixels(picture(0), ring), 0);
  EXPECT_GT(pixels(picture(0), Shades::blend(highlight, palette().color(QPalette::Base), 0.25)), 1000);
}

TEST_F(RelocationListTest, WhatTheDetailShowsStaysMarked) {
  addMounted("Bilder");
  addMounted("Mail");
  openLoaded();
  QTest::mouseClick(list()->viewport(), Qt::LeftButton, Qt::ControlModifier, place(1).center());
  const auto selected = [this] { return list()->selectionModel()->isSelected(list()->model()->index(1, 0)); };
  EXPECT_TRUE(selected());
  QTest::mouseClick(list()->viewport(), Qt::LeftButton, Qt::ControlModifier, place(1).center());
  EXPECT_TRUE(selected());
  QTest::mouseClick(list()->viewport(), Qt::LeftButton, {}, place(1).bottomLeft() + QPoint(20, 40));
  EXPECT_TRUE(selected());
  QTest::keyClick(list(), Qt::Key_Space, Qt::ControlModifier);
  EXPECT_TRUE(selected());
  EXPECT_EQ(owned->selectedRelocation()->name, "Mail");
}

}  // namespace
}  // namespace fernwahrung
