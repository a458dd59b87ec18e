#include "FernwahrungApp/Views/Appearance.h"

#include "FernwahrungApp/Views/Symbols.h"

#include <QLibraryInfo>
#include <QLocale>
#include <QProxyStyle>
#include <QStyle>
#include <QTranslator>
#include <clocale>

namespace fernwahrung::Appearance {
namespace {

/// Qt's own style, which stands in where a desktop brings none, with room around a button's text and colours
/// that can be read.
class StandIn : public QProxyStyle {
 public:
  StandIn() : QProxyStyle("fusion") {}

  QSize sizeFromContents(ContentsType type, const QStyleOption* option, const QSize& contents,
                         const QWidget* widget) const override {
    QSize size = QProxyStyle::sizeFromContents(type, option, contents, widget);
    return type == CT_PushButton ? size + QSize(12, 2) : size;
  }

  QPalette standardPalette() const override {
    QPalette palette = QProxyStyle::standardPalette();
    for (auto group : {QPalette::Active, QPalette::Inactive}) {
      palette.setColor(group, QPalette::Highlight, QColor(0x1f, 0x6f, 0xa8));
      palette.setColor(group, QPalette::PlaceholderText, QColor(0x66, 0x66, 0x66));
    }
    return palette;
  }
};

}  // namespace

void apply(QApplication& application) {
  // Qt takes over the user's locale; the property-list library reads and writes real numbers through it.
  std::setlocale(LC_NUMERIC, "C");
  QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
  auto* translator = new QTranslator(&application);
  if (translator->load(QLocale(), "qtbase", "_", QLibraryInfo::path(QLibraryInfo::TranslationsPath))) {
    application.installTranslator(translator);
  }
  application.setApplicationName("Fernwahrung");
  application.setApplicationDisplayName("Fernwahrung");
  application.setWindowIcon(Symbols::applicationIcon());
  application.setQuitOnLastWindowClosed(false);
  if (application.style()->name() == "fusion") application.setStyle(new StandIn);
}

QPalette darkPalette() {
  // Frames and boxes are drawn darker than the window; it must be light enough for them to be seen.
  QPalette palette(QColor(70, 70, 75));
  palette.setColor(QPalette::Window, QColor(54, 54, 58));
  palette.setColor(QPalette::WindowText, QColor(232, 232, 234));
  palette.setColor(QPalette::Base, QColor(28, 28, 30));
  palette.setColor(QPalette::AlternateBase, QColor(36, 36, 39));
  palette.setColor(QPalette::Text, QColor(232, 232, 234));
  palette.setColor(QPalette::PlaceholderText, QColor(168, 168, 173));
  palette.setColor(QPalette::Button, QColor(78, 78, 84));
  palette.setColor(QPalette::ButtonText, QColor(232, 232, 234));
  palette.setColor(QPalette::ToolTipBase, QColor(78, 78, 84));
  palette.setColor(QPalette::ToolTipText, QColor(232, 232, 234));
  palette.setColor(QPalette::Highlight, QColor(10, 96, 210));
  palette.setColor(QPalette::HighlightedText, QColor(255, 255, 255));
  palette.setColor(QPalette::Link, QColor(90, 160, 255));
  for (auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
    palette.setColor(QPalette::Disabled, role, QColor(140, 140, 146));
  }
  return palette;
}

}  // namespace fernwahrung::Appearance
