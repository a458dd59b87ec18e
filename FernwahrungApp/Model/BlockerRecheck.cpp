#include "FernwahrungApp/Model/BlockerRecheck.h"

namespace fernwahrung {

BlockerRecheck::BlockerRecheck(std::chrono::milliseconds interval) {
  timer_.setInterval(interval);
  connect(&timer_, &QTimer::timeout, this, &BlockerRecheck::attempt);
}

void BlockerRecheck::setWatched(bool watched) {
  watched_ = watched;
  adjustTimer();
}

void BlockerRecheck::forget() {
  attempts_ = 0;
  adjustTimer();
}

void BlockerRecheck::attempt() {
  if (busy_) return;
  ++attempts_;
  adjustTimer();
  emit recheck();
}

void BlockerRecheck::adjustTimer() {
  bool wanted = watched_ && !exhausted();
  if (wanted == timer_.isActive()) return;
  if (wanted) {
    timer_.start();
  } else {
    timer_.stop();
  }
}

}  // namespace fernwahrung
