#include "FernwahrungApp/Views/FollowFocus.h"

#include <QApplication>

namespace fernwahrung {

void followFocus(QScrollArea& area) {
  QObject::connect(qApp, &QApplication::focusChanged, &area, [&area](QWidget* before, QWidget* now) {
    if (!before || !now || !area.widget() || !area.widget()->isAncestorOf(now)) return;
    // A window that only becomes the active one again stays as its user left it.
    if (before->window() != now->window()) return;
    // What is clicked can be seen, and must not move away under the pointer.
    if (QApplication::mouseButtons() == Qt::NoButton) area.ensureWidgetVisible(now);
  });
}

}  // namespace fernwahrung
