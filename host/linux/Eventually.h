#pragma once

#include <algorithm>
#include <chrono>
#include <functional>
#include <thread>

namespace fernwahrung::host {

/// Waits for something that another process or the kernel is about to finish; false when it takes more than
/// the time.
inline bool eventually(const std::function<bool()>& condition,
                       std::chrono::seconds patience = std::chrono::seconds(10)) {
  const auto end = std::chrono::steady_clock::now() + patience;
  for (auto pause = std::chrono::milliseconds(1); !condition();
       pause = std::min(pause * 2, std::chrono::milliseconds(50))) {
    if (std::chrono::steady_clock::now() >= end) return false;
    std::this_thread::sleep_for(pause);
  }
  return true;
}

}  // namespace fernwahrung::host
