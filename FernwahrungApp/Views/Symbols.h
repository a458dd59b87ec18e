// The program's symbols: line drawings in Resources/symbols, tinted when they are painted. Main thread only.
#pragma once

#include <QColor>
#include <QIcon>
#include <QPalette>
#include <QPixmap>
#include <QString>
#include <QStringList>

namespace fernwahrung::Symbols {

/// Every name there is a drawing for, sorted: "app", "arrow.clockwise", …
QStringList names();

/// The symbol in the colours of the application's palette at the time of painting (button text, its disabled
/// colour, highlighted text), so that a change between light and dark needs nothing. An unknown name is a
/// mistake in the program: a build with assertions ends there, a release shows a question mark.
QIcon icon(const QString& name);

/// The same in a colour of its own. Disabled and selected it still follows the palette, because no colour is
/// legible on every highlight.
QIcon icon(const QString& name, const QColor& color);

/// A square picture of `size` device-independent pixels.
QPixmap pixmap(const QString& name, int size, const QColor& color, qreal devicePixelRatio);

/// The application's own icon, in full colour.
QIcon applicationIcon();

/// The colours of the three states: legible as text (contrast of at least 4.5 : 1) on the window and text
/// backgrounds of a light or dark palette.
QColor good(const QPalette& palette);
QColor warning(const QPalette& palette);
QColor error(const QPalette& palette);

}  // namespace fernwahrung::Symbols
