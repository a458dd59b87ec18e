#include "Contrast.h"
#include "FernwahrungApp/Views/Appearance.h"

#include <QDialogButtonBox>
#include <QLocale>
#include <QPushButton>
#include <clocale>
#include <gtest/gtest.h>

namespace fernwahrung {
namespace {

TEST(AppearanceTest, QtsOwnButtonsAreGerman) {
  QDialogButtonBox box(QDialogButtonBox::Cancel | QDialogButtonBox::Save);
  EXPECT_EQ(box.button(QDialogButtonBox::Cancel)->text().remove('&').toStdString(), "Abbrechen");
  EXPECT_EQ(box.button(QDialogButtonBox::Save)->text().remove('&').toStdString(), "Speichern");
}

TEST(AppearanceTest, NumbersInFilesKeepTheDecimalPoint) {
  EXPECT_EQ(QLocale().decimalPoint().toStdString(), ",");
  EXPECT_STREQ(std::localeconv()->decimal_point, ".");
}

TEST(AppearanceTest, TheDarkPaletteIsLegible) {
  const QPalette dark = Appearance::darkPalette();
  EXPECT_GE(contrast(dark.color(QPalette::WindowText), dark.color(QPalette::Window)), 7);
  EXPECT_GE(contrast(dark.color(QPalette::Text), dark.color(QPalette::Base)), 7);
  EXPECT_GE(contrast(dark.color(QPalette::ButtonText), dark.color(QPalette::Button)), 4.5);
  EXPECT_GE(contrast(dark.color(QPalette::HighlightedText), dark.color(QPalette::Highlight)), 4.5);
}

}  // namespace
}  // namespace fernwahrung
