#pragma once

#include <QCoreApplication>
#include <QTest>
#include <functional>

namespace fernwahrung {

/// Runs the event loop until the condition holds; false when it does not come within the time.
inline bool pumpUntil(const std::function<bool()>& condition, int seconds = 30) {
  return QTest::qWaitFor(condition, seconds * 1000);
}

/// Delivers what is queued now.
inline void pumpOnce() {
  QCoreApplication::sendPostedEvents();
  QCoreApplication::processEvents();
}

}  // namespace fernwahrung
