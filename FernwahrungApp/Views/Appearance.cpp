#include "FernwahrungApp/Views/Appearance.h"

#include "FernwahrungApp/Views/Symbols.h"

#include <QLibraryInfo>
#include <QLocale>
#include <QTranslator>
#include <clocale>

namespace fernwahrung::Appearance {

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
}

QPalette darkPalette() {
  QPalette palette(QColor(50, 50, 53));
  palette.setColor(QPalette::Window, QColor(40, 40, 43));
  palette.setColor(QPalette::WindowText, QColor(232, 232, 234));
  palette.setColor(QPalette::Base, QColor(30, 30, 32));
  palette.setColor(QPalette::AlternateBase, QColor(38, 38, 41));
  palette.setColor(QPalette::Text, QColor(232, 232, 234));
  palette.setColor(QPalette::PlaceholderText, QColor(150, 150, 155));
  palette.setColor(QPalette::Button, QColor(62, 62, 66));
  palette.setColor(QPalette::ButtonText, QColor(232, 232, 234));
  palette.setColor(QPalette::ToolTipBase, QColor(62, 62, 66));
  palette.setColor(QPalette::ToolTipText, QColor(232, 232, 234));
  palette.setColor(QPalette::Highlight, QColor(10, 96, 210));
  palette.setColor(QPalette::HighlightedText, QColor(255, 255, 255));
  palette.setColor(QPalette::Link, QColor(90, 160, 255));
  for (auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
    palette.setColor(QPalette::Disabled, role, QColor(125, 125, 130));
  }
  return palette;
}

}  // namespace fernwahrung::Appearance
