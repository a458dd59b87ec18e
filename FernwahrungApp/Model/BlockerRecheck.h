// The automatic re-check: a service that the system started may let go of its files by itself, so while its
// user looks on, the check is repeated a number of times.
#pragma once

#include <QObject>
#include <QTimer>
#include <chrono>

namespace fernwahrung {

/// Main thread only.
class BlockerRecheck : public QObject {
  Q_OBJECT

 public:
  static constexpr int maximumAttempts = 24;

  explicit BlockerRecheck(std::chrono::milliseconds interval = std::chrono::seconds(5));

  /// Attempts are made only while watched: while such a service is among the blockers on screen.
  void setWatched(bool watched);
  /// An attempt that falls due while busy is left out and not counted.
  void setBusy(bool busy) { busy_ = busy; }
  /// All attempts have been made; there will be no more until forget().
  bool exhausted() const { return attempts_ >= maximumAttempts; }
  /// The next attempt is the first again.
  void forget();

 signals:
  void recheck();

 private:
  void attempt();
  void adjustTimer();

  QTimer timer_{this};
  bool watched_ = false;
  bool busy_ = false;
  int attempts_ = 0;
};

}  // namespace fernwahrung
