#include "FernwahrungApp/Views/Texts.h"

#include <QTextDocument>

namespace fernwahrung::Texts {
namespace {

constexpr qsizetype longestUnbroken = 24;
constexpr qsizetype longestPlainToolTip = 80;
constexpr qsizetype longestInMenu = 60;
constexpr QChar zeroWidthSpace(0x200B);

/// No character that Unicode builds of two is torn apart.
QString shortened(const QString& text, qsizetype longest) {
  if (text.size() <= longest) return text;
  QString begin = text.left(longest / 2);
  QString end = text.right(longest - longest / 2 - 1);
  if (begin.back().isHighSurrogate()) begin.chop(1);
  while (!end.isEmpty() && (end.front().isLowSurrogate() || end.front().isMark())) end.remove(0, 1);
  return begin + "…" + end;
}

}  // namespace

QString shown(const std::string& text) {
  return QString::fromStdString(text);
}

QString inMenu(const std::string& text) {
  QString line = shown(text);
  for (QChar& character : line) {
    const QChar::Category category = character.category();
    if (category == QChar::Other_Control || category == QChar::Separator_Line ||
        category == QChar::Separator_Paragraph) {
      character = ' ';
    }
  }
  return shortened(line, longestInMenu).replace('&', "&&");
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
