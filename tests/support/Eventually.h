#pragma once

#include <chrono>
#include <functional>
#include <thread>

namespace fernwahrung {

/// Waits for a condition that another process or thread brings about; false when it does not come within the
/// time.
inline bool eventually(const std::function<bool()>& condition, int seconds = 30) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  while (!condition()) {
    if (std::chrono::steady_clock::now() >= end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

}  // namespace fernwahrung
