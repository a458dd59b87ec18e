// SIGINT, SIGTERM and SIGHUP as a wish that an operation can follow at its own pace.
#pragma once

#include "Foundation/FileDescriptor.h"

#include <array>
#include <csignal>
#include <functional>
#include <thread>

namespace fernwahrung {

/// While it lives, the first of these signals calls `wish` on a thread of its own, and every further one does
/// nothing. Closing the terminal (SIGHUP) counts as well: nobody would see the end of what goes on, and
/// rolling back leaves everything as it was; under nohup the signal stays ignored. Once a signal came they
/// are ignored for the rest of the program, so that an impatient second one cannot cut off the message;
/// otherwise the old handling returns. One at a time.
class Interruption {
 public:
  /// Without a wish the signals only wait for the end of what can't be cancelled.
  explicit Interruption(std::function<void()> wish = [] {});
  ~Interruption();
  Interruption(const Interruption&) = delete;
  Interruption& operator=(const Interruption&) = delete;

 private:
  static constexpr std::array<int, 3> signals{SIGINT, SIGTERM, SIGHUP};

  std::array<struct sigaction, signals.size()> old_{};
  FileDescriptor readEnd_;
  FileDescriptor writeEnd_;
  std::thread thread_;
  bool cameIn_ = false;  // written by the thread, read after its end
};

}  // namespace fernwahrung
