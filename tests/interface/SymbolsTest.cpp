#include "Contrast.h"
#include "FernwahrungApp/Views/Appearance.h"
#include "FernwahrungApp/Views/Symbols.h"

#include <QApplication>
#include <QImage>
#include <QPainter>
#include <cmath>
#include <gtest/gtest.h>

namespace fernwahrung {
namespace {

/// What the windows and menus ask for.
const QStringList designNames{"app",
                              "arrow.clockwise",
                              "arrow.triangle.2.circlepath",
                              "checkmark.circle.fill",
                              "exclamationmark.octagon.fill",
                              "exclamationmark.triangle",
                              "exclamationmark.triangle.fill",
                              "externaldrive",
                              "externaldrive.badge.checkmark",
                              "externaldrive.badge.exclamationmark",
                              "externaldrive.badge.xmark",
                              "folder",
                              "folder.fill",
                              "gauge.with.dots.needle.100percent",
                              "internaldrive",
                              "link",
                              "magnifyingglass",
                              "minus.circle",
                              "plus",
                              "sidebar.left",
                              "xmark.octagon.fill",
                              "arrow.uturn.backward.circle.fill",
                              "arrow.uturn.right.circle.fill",
                              "chart.bar.doc.horizontal",
                              "checkmark.shield",
                              "clock.arrow.circlepath",
                              "doc.fill",
                              "doc.on.doc",
                              "ellipsis.circle",
                              "exclamationmark.shield",
                              "externaldrive.fill",
                              "link.badge.plus",
                              "list.bullet.rectangle",
                              "lock.fill",
                              "questionmark.circle.fill",
                              "stethoscope",
                              "xmark.circle"};

QImage picture(const QIcon& icon, int size, QIcon::Mode mode = QIcon::Normal, qreal ratio = 1) {
  return icon.pixmap(QSize(size, size), ratio, mode).toImage().convertToFormat(QImage::Format_ARGB32);
}

/// How much of the picture is covered, from 0 to 1.
double coverage(const QImage& image) {
  double sum = 0;
  for (int y = 0; y < image.height(); ++y) {
    for (int x = 0; x < image.width(); ++x) sum += qAlpha(image.pixel(x, y)) / 255.0;
  }
  return sum / (image.width() * image.height());
}

/// The mean difference in coverage of two pictures, from 0 to 1.
double difference(const QImage& a, const QImage& b) {
  double sum = 0;
  for (int y = 0; y < a.height(); ++y) {
    for (int x = 0; x < a.width(); ++x) {
      sum += std::abs(qAlpha(a.pixel(x, y)) - qAlpha(b.pixel(x, y))) / 255.0;
    }
  }
  return sum / (a.width() * a.height());
}

/// The colour of the fully covered pixels, if they all have the same.
QColor ink(const QImage& image) {
  QColor result;
  for (int y = 0; y < image.height(); ++y) {
    for (int x = 0; x < image.width(); ++x) {
      const QColor color = image.pixelColor(x, y);
      if (color.alpha() != 255) continue;
      if (result.isValid() && color != result) return {};
      result = color;
    }
  }
  return result;
}

class PaletteGuard {
 public:
  explicit PaletteGuard(const QPalette& palette) : old_(QApplication::palette()) {
    QApplication::setPalette(palette);
  }
  ~PaletteGuard() { QApplication::setPalette(old_); }
  PaletteGuard(const PaletteGuard&) = delete;
  PaletteGuard& operator=(const PaletteGuard&) = delete;

 private:
  QPalette old_;
};

QPalette paletteOf(const QColor& text, const QColor& disabled, const QColor& highlighted) {
  QPalette palette;
  palette.setColor(QPalette::ButtonText, text);
  palette.setColor(QPalette::Disabled, QPalette::ButtonText, disabled);
  palette.setColor(QPalette::HighlightedText, highlighted);
  return palette;
}

TEST(SymbolsTest, EveryNameOfTheDesignHasADrawingAndNoOtherHas) {
  QStringList expected = designNames;
  expected.sort();
  EXPECT_EQ(Symbols::names(), expected);
}

TEST(SymbolsTest, EachIsVisibleInEachSize) {
  for (const QString& name : designNames) {
    for (int size : {16, 18, 24, 48}) {
      const QImage image = picture(Symbols::icon(name), size);
      EXPECT_EQ(image.size(), QSize(size, size)) << name.toStdString();
      EXPECT_GT(coverage(image), 0.08) << name.toStdString() << " at " << size;
      EXPECT_LT(coverage(image), 0.8) << name.toStdString() << " at " << size;
    }
  }
}

TEST(SymbolsTest, NoneIsCutOffAtTheEdge) {
  for (const QString& name : designNames) {
    const QImage image = picture(Symbols::icon(name), 48);
    for (int i = 0; i < 48; ++i) {
      for (const QPoint& edge : {QPoint(i, 0), QPoint(i, 47), QPoint(0, i), QPoint(47, i)}) {
        EXPECT_EQ(qAlpha(image.pixel(edge)), 0)
            << name.toStdString() << " at " << edge.x() << "," << edge.y();
      }
    }
  }
}

TEST(SymbolsTest, NoTwoLookAlikeInAMenuBar) {
  for (int i = 0; i < designNames.size(); ++i) {
    for (int k = i + 1; k < designNames.size(); ++k) {
      const double different =
          difference(picture(Symbols::icon(designNames[i]), 18), picture(Symbols::icon(designNames[k]), 18));
      EXPECT_GT(different, 0.015) << designNames[i].toStdString() << " and " << designNames[k].toStdString();
    }
  }
}

TEST(SymbolsTest, TheStatesOfTheMenuBarDifferAtAGlance) {
  const QString states[] = {"externaldrive.badge.checkmark", "externaldrive.badge.exclamationmark",
                            "externaldrive.badge.xmark"};
  for (int size : {16, 18}) {
    for (int i = 0; i < 3; ++i) {
      const QImage one = picture(Symbols::icon(states[i]), size);
      const QImage other = picture(Symbols::icon(states[(i + 1) % 3]), size);
      // They differ in the quarter with the badge only, so a fifth of that is much.
      EXPECT_GT(difference(one, other), 0.02) << i << " at " << size;
      const QRect drive(0, 0, size, size * 2 / 5);
      EXPECT_LT(difference(one.copy(drive), other.copy(drive)), 0.01) << i << " at " << size;
    }
  }
}

TEST(SymbolsTest, TheColourFollowsThePaletteAtPainting) {
  const QIcon icon = Symbols::icon("folder.fill");
  const QColor dark(20, 30, 40);
  const QColor light(240, 230, 220);
  const QColor pale(120, 121, 122);
  {
    PaletteGuard guard(paletteOf(dark, pale, Qt::white));
    EXPECT_EQ(ink(picture(icon, 24)), dark);
  }
  PaletteGuard guard(paletteOf(light, pale, Qt::black));
  EXPECT_EQ(ink(picture(icon, 24)), light);
  EXPECT_EQ(ink(picture(icon, 24, QIcon::Disabled)), pale);
  EXPECT_EQ(ink(picture(icon, 24, QIcon::Selected)), QColor(Qt::black));
  EXPECT_EQ(ink(picture(icon, 24, QIcon::Active)), light);
}

TEST(SymbolsTest, AColourOfItsOwnYieldsWhereItCouldNotBeRead) {
  const QColor own(200, 30, 20);
  const QColor pale(120, 121, 122);
  PaletteGuard guard(paletteOf(Qt::black, pale, Qt::white));
  const QIcon icon = Symbols::icon("xmark.octagon.fill", own);
  EXPECT_EQ(ink(picture(icon, 24)), own);
  EXPECT_EQ(ink(picture(icon, 24, QIcon::Disabled)), pale);
  EXPECT_EQ(ink(picture(icon, 24, QIcon::Selected)), QColor(Qt::white));
}

TEST(SymbolsTest, AFineScreenGetsAFinePicture) {
  const QIcon icon = Symbols::icon("externaldrive", Qt::black);
  const QPixmap fine = icon.pixmap(QSize(24, 24), 2.0);
  EXPECT_EQ(fine.size(), QSize(48, 48));
  EXPECT_EQ(fine.devicePixelRatio(), 2.0);
  EXPECT_EQ(fine.toImage().convertToFormat(QImage::Format_ARGB32), picture(icon, 48));
  const QPixmap direct = Symbols::pixmap("externaldrive", 24, Qt::black, 2.0);
  EXPECT_EQ(direct.size(), QSize(48, 48));
  EXPECT_EQ(direct.devicePixelRatio(), 2.0);
}

TEST(SymbolsTest, AnOblongPlaceHoldsItInTheMiddle) {
  QImage image(40, 20, QImage::Format_ARGB32);
  image.fill(Qt::transparent);
  QPainter painter(&image);
  Symbols::icon("checkmark.circle.fill", Qt::black).paint(&painter, QRect(0, 0, 40, 20));
  painter.end();
  EXPECT_EQ(coverage(image.copy(0, 0, 10, 20)), 0);
  EXPECT_EQ(coverage(image.copy(30, 0, 10, 20)), 0);
  EXPECT_GT(coverage(image.copy(10, 0, 20, 20)), 0.4);
}

TEST(SymbolsTest, ColoursOfStatesAreLegibleAsText) {
  QPalette light(QColor(239, 239, 239));
  light.setColor(QPalette::Window, QColor(236, 236, 236));
  light.setColor(QPalette::Base, Qt::white);
  for (const QPalette& palette : {light, Appearance::darkPalette()}) {
    for (const QColor& color : {Symbols::good(palette), Symbols::warning(palette), Symbols::error(palette)}) {
      for (QPalette::ColorRole ground : {QPalette::Window, QPalette::Base, QPalette::AlternateBase}) {
        EXPECT_GE(contrast(color, palette.color(ground)), 4.5)
            << color.name().toStdString() << " on " << palette.color(ground).name().toStdString();
      }
    }
  }
}

TEST(SymbolsDeathTest, AnUnknownNameEndsADebugBuildAndShowsAQuestionMarkInARelease) {
#ifndef QT_NO_DEBUG
  EXPECT_DEATH(Symbols::icon("no.such.symbol"), "no.such.symbol");
#else
  EXPECT_EQ(picture(Symbols::icon("no.such.symbol"), 24),
            picture(Symbols::icon("questionmark.circle.fill"), 24));
#endif
}

TEST(SymbolsTest, TheApplicationsIconIsThere) {
  const QImage image = picture(Symbols::applicationIcon(), 128);
  EXPECT_GT(coverage(image), 0.5);
  EXPECT_EQ(qAlpha(image.pixel(0, 0)), 0);
}

}  // namespace
}  // namespace fernwahrung
