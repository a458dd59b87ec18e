// Time and waiting, behind a seam, so that a test neither depends on the clock nor sleeps.
#pragma once

#include "Foundation/Dates.h"

#include <functional>

namespace fernwahrung::Clock {

Date now();
void sleep(double seconds);

/// Test hook: replaces both until the object dies. Install it while no other thread uses the clock.
class Override {
 public:
  Override(std::function<Date()> now, std::function<void(double)> sleep);
  ~Override();
  Override(const Override&) = delete;
  Override& operator=(const Override&) = delete;

 private:
  friend Date Clock::now();
  friend void Clock::sleep(double seconds);

  std::function<Date()> now_;
  std::function<void(double)> sleep_;
  Override* previous_;
};

}  // namespace fernwahrung::Clock
