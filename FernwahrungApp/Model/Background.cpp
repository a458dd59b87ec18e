#include "FernwahrungApp/Model/Background.h"

namespace fernwahrung::Background {

QThreadPool& pool() {
  static QThreadPool pool;
  static const bool sized = [] {
    pool.setMaxThreadCount(8);
    return true;
  }();
  static_cast<void>(sized);
  return pool;
}

void start(std::function<void()> work) {
  pool().start(std::move(work));
}

}  // namespace fernwahrung::Background
