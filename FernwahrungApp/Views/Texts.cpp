#include "FernwahrungApp/Views/Texts.h"

#include <QTextDocument>

namespace fernwahrung::Texts {
namespace {

constexpr qsizetype longestUnbroken = 24;
constexpr qsizetype longestPlainToolTip = 80;
constexpr QChar zeroWidthSpace(0x200B);

}  // namespace

QString shown(const std::string& text) {
  return QString::fromStdString(text);
}

QString inMenu(const std::string& text) {
  return shown(text).replace('&', "&&");
}

QString inToolTip(const QString& text) {
  if (text.size() <= longestPlainToolTip && !Qt::mightBeRichText(text)) return text;
  return "<p>" + breakable(text).toHtmlEscaped() + "</p>";
}

QString breakable(const QString& text) {
  QString result;
  qsizetype run = 0;
  for (const QChar& character : text) {
    if (character.isSpace()) {
      run = 0;
    } else if (++run > longestUnbroken && !character.isLowSurrogate() && !character.isMark()) {
      result += zeroWidthSpace;
      run = 1;
    }
    result += character;
  }
  return result;
}

}  // namespace fernwahrung::Texts
