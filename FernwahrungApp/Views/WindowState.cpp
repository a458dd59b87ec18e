#include "FernwahrungApp/Views/WindowState.h"

#include "Foundation/PathString.h"
#include "Foundation/Paths.h"

#include <QSettings>

namespace fernwahrung::WindowState {
namespace {

QString file() {
  return QString::fromStdString(PathString::join(Paths::supportDirectory(), "window.ini"));
}

}  // namespace

void restore(QWidget& window, QSplitter& splitter) {
  const QSettings settings(file(), QSettings::IniFormat);
  window.restoreGeometry(settings.value("geometry").toByteArray());
  splitter.restoreState(settings.value("splitter").toByteArray());
}

void save(const QWidget& window, const QSplitter& splitter) {
  QSettings settings(file(), QSettings::IniFormat);
  settings.setValue("geometry", window.saveGeometry());
  settings.setValue("splitter", splitter.saveState());
}

}  // namespace fernwahrung::WindowState
