// How the program presents itself as a whole: name, language, icon.
#pragma once

#include <QApplication>

namespace fernwahrung::Appearance {

/// To be called once, right after the application object was made. Qt's own texts become German, and numbers
/// in files keep the decimal point whatever the user's language is.
void apply(QApplication& application);

/// A palette in the manner of a dark desktop, for systems that don't bring one of their own.
QPalette darkPalette();

}  // namespace fernwahrung::Appearance
