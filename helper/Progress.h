// An operation's progress on standard error.
#pragma once

#include "helper/Streams.h"

#include "Foundation/Dates.h"

#include <mutex>
#include <optional>
#include <string>

namespace fernwahrung {

/// Tells from the fractions so far how long a stretch of progress will still take. A fraction that falls, or
/// a report without one, begins a new stretch.
class TimeLeft {
 public:
  void note(std::optional<double> fraction, Date now);
  /// Seconds. Nothing until three seconds and a fiftieth of the way have passed, since what comes earlier is
  /// a guess.
  std::optional<double> seconds() const;

 private:
  struct Point {
    double fraction;
    Date time;
  };
  std::optional<Point> first_;
  std::optional<Point> last_;
};

/// "noch etwa 40 Sek.", "noch etwa 3 Min.", "noch etwa 2 Std. 5 Min.".
std::string timeLeftText(double seconds);

/// "[#####-----]  50 %  Kopiere … · noch etwa 3 Min.", never wider than `width` columns.
std::string progressLine(const std::string& text, std::optional<double> fraction,
                         std::optional<double> secondsLeft, int width);

/// On a terminal one line that rewrites itself; elsewhere nothing, or one line per text. Any thread.
class ProgressDisplay {
 public:
  ProgressDisplay(Streams& streams, bool verbose);
  /// Takes the line away.
  ~ProgressDisplay();
  ProgressDisplay(const ProgressDisplay&) = delete;
  ProgressDisplay& operator=(const ProgressDisplay&) = delete;

  void show(const std::string& text, std::optional<double> fraction);

 private:
  void rewrite(const std::string& text, std::optional<double> fraction);

  std::mutex lock_;
  Streams& streams_;
  const bool verbose_;
  TimeLeft timeLeft_;
  std::string lastText_;
  std::optional<Date> lastDrawn_;
};

}  // namespace fernwahrung
