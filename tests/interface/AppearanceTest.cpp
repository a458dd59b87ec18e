#include "Contrast.h"
#include "FernwahrungApp/Views/Appearance.h"
#include "FernwahrungApp/Views/Shades.h"

#include <QDialogButtonBox>
#include <QLocale>
#include <QPushButton>
#include <QStyle>
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

TEST(AppearanceTest, WhatStandsInForADesktopsLightColoursIsLegible) {
  const QPalette light = QApplication::style()->standardPalette();
  EXPECT_GE(contrast(light.color(QPalette::HighlightedText), light.color(QPalette::Highlight)), 4.5);
}

TEST(AppearanceTest, QuietTextIsLegibleToo) {
  for (const QPalette& palette : {QApplication::style()->standardPalette(), Appearance::darkPalette()}) {
    const QColor placeholder = palette.color(QPalette::PlaceholderText);
    EXPECT_EQ(placeholder.alpha(), 255);
    for (QPalette::ColorRole ground : {QPalette::Base, QPalette::Window}) {
      EXPECT_GE(contrast(placeholder, palette.color(ground)), 4.5);
      EXPECT_GE(contrast(Shades::secondary(palette), palette.color(ground)), 4.5);
    }
  }
}

}  // namespace
}  // namespace fernwahrung
