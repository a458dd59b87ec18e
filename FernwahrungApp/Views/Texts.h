// The core's texts, made ready for widgets.
#pragma once

#include <QString>
#include <string>

namespace fernwahrung::Texts {

QString shown(const std::string& text);
/// For menus and buttons, where a single "&" would be taken for a shortcut and what follows a tab for its
/// description: one line, shortened in its middle where it is very long.
QString inMenu(const std::string& text);
/// Never taken for markup; a long one wraps.
QString inToolTip(const QString& text);
/// May be broken anywhere inside its long words, so that no path or file name makes a label wider. For texts
/// that can't be copied.
QString breakable(const QString& text);

}  // namespace fernwahrung::Texts
