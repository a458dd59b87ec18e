#include "Foundation/Clock.h"

#include "Foundation/BlockingCalls.h"

#include <chrono>
#include <thread>

namespace fernwahrung::Clock {

namespace {

Override* installed = nullptr;

}  // namespace

Date now() {
  if (installed != nullptr) return installed->now_();
  return std::chrono::floor<Date::duration>(std::chrono::system_clock::now());
}

void sleep(double seconds) {
  BlockingCalls::announce("sleep");
  if (installed != nullptr) {
    installed->sleep_(seconds);
  } else if (seconds > 0) {
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
  }
}

Override::Override(std::function<Date()> now, std::function<void(double)> sleep)
    : now_(std::move(now)), sleep_(std::move(sleep)), previous_(installed) {
  installed = this;
}

Override::~Override() {
  installed = previous_;
}

}  // namespace fernwahrung::Clock
