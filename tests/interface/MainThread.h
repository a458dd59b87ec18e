// Looks after the thread that serves the user.
#pragma once

#include "Foundation/BlockingCalls.h"

#include <QAbstractEventDispatcher>
#include <QThread>
#include <atomic>
#include <chrono>
#include <fstream>
#include <mutex>
#include <set>
#include <string>
#include <sys/syscall.h>
#include <unistd.h>

namespace fernwahrung {

/// Notes every call that may wait for a disk or a process and is made on this object's thread while it
/// watches.
class MainThreadWatch {
 public:
  /// The test itself looks at the disk between its steps; only what is armed counts.
  class Armed {
   public:
    explicit Armed(MainThreadWatch& watch) : watch_(watch) { watch_.armed_ = true; }
    ~Armed() { watch_.armed_ = false; }
    Armed(const Armed&) = delete;
    Armed& operator=(const Armed&) = delete;

   private:
    MainThreadWatch& watch_;
  };

  /// "" when there was none.
  std::string offences() const {
    std::lock_guard guard(mutex_);
    std::string text;
    for (const std::string& call : calls_) text += call + " ";
    return text;
  }

 private:
  const QThread* const thread_ = QThread::currentThread();
  std::atomic<bool> armed_ = false;
  mutable std::mutex mutex_;
  std::set<std::string> calls_;
  BlockingCalls::Watch watch_{[this](const char* call) {
    if (!armed_ || QThread::currentThread() != thread_) return;
    std::lock_guard guard(mutex_);
    calls_.insert(call);
  }};
};

/// Measures how long the event loop of this thread is kept from waiting for the next event. Time in which the
/// thread could have run but the machine gave its processors to others is not counted: that is the machine's,
/// not the program's.
class StallWatch : public QObject {
 public:
  StallWatch() {
    auto* dispatcher = QAbstractEventDispatcher::instance();
    connect(dispatcher, &QAbstractEventDispatcher::awake, this, [this] { begin(); });
    connect(dispatcher, &QAbstractEventDispatcher::aboutToBlock, this, [this] { end(); });
    begin();
  }

  /// From the last waiting on, for what runs before the event loop does.
  void begin() {
    end();
    busySince_ = Clock::now();
    waitedSince_ = waitedForProcessor();
    busy_ = true;
  }
  void end() {
    if (!busy_) return;
    busy_ = false;
    longest_ = std::max(longest_, (Clock::now() - busySince_) - (waitedForProcessor() - waitedSince_));
  }
  double longestMilliseconds() const { return std::chrono::duration<double, std::milli>(longest_).count(); }
  void reset() { longest_ = {}; }

 private:
  using Clock = std::chrono::steady_clock;

  /// The kernel counts it for each thread; zero where it does not.
  static std::chrono::nanoseconds waitedForProcessor() {
    static thread_local const std::string file =
        "/proc/self/task/" + std::to_string(::syscall(SYS_gettid)) + "/schedstat";
    std::ifstream stream(file);
    std::int64_t run = 0, waited = 0;
    stream >> run >> waited;
    return std::chrono::nanoseconds(waited);
  }

  bool busy_ = false;
  Clock::time_point busySince_;
  std::chrono::nanoseconds waitedSince_{};
  std::chrono::nanoseconds longest_{};
};

}  // namespace fernwahrung
