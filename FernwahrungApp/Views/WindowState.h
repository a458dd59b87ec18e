// Where the main window lay and how it was divided, kept from run to run.
#pragma once

#include <QSplitter>
#include <QWidget>

namespace fernwahrung::WindowState {

/// A missing or damaged file leaves the window as it is.
void restore(QWidget& window, QSplitter& splitter);
/// A failure to write is no matter.
void save(const QWidget& window, const QSplitter& splitter);

}  // namespace fernwahrung::WindowState
