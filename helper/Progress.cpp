#include "helper/Progress.h"

#include "helper/TextColumns.h"

#include "Foundation/Clock.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <ostream>

namespace fernwahrung {

namespace {

constexpr double leastSeconds = 3;
constexpr double leastFraction = 0.02;
constexpr std::chrono::milliseconds redrawInterval{100};
constexpr int barCells = 20;

double secondsBetween(Date from, Date to) {
  return std::chrono::duration<double>(to - from).count();
}

std::string bar(double fraction) {
  const auto filled = static_cast<std::size_t>(fraction * barCells);
  return "[" + std::string(filled, '#') + std::string(barCells - filled, '-') + "]";
}

}  // namespace

void TimeLeft::note(std::optional<double> fraction, Date now) {
  if (!fraction) {
    first_.reset();
    last_.reset();
    return;
  }
  if (!first_ || *fraction < last_->fraction) first_ = Point{*fraction, now};
  last_ = Point{*fraction, now};
}

std::optional<double> TimeLeft::seconds() const {
  if (!first_) return std::nullopt;
  const double elapsed = secondsBetween(first_->time, last_->time);
  const double done = last_->fraction - first_->fraction;
  if (elapsed < leastSeconds || done < leastFraction) return std::nullopt;
  return elapsed * (1 - last_->fraction) / done;
}

std::string timeLeftText(double seconds) {
  if (seconds < 59.5) return fmt::format("noch etwa {} Sek.", std::max(1L, std::lround(seconds)));
  const long minutes = std::lround(seconds / 60);
  if (minutes < 60) return fmt::format("noch etwa {} Min.", minutes);
  return minutes % 60 == 0 ? fmt::format("noch etwa {} Std.", minutes / 60)
                           : fmt::format("noch etwa {} Std. {} Min.", minutes / 60, minutes % 60);
}

std::string progressLine(const std::string& text, std::optional<double> fraction,
                         std::optional<double> secondsLeft, int width) {
  std::string line;
  if (fraction && std::isfinite(*fraction)) {
    const double shown = std::clamp(*fraction, 0.0, 1.0);
    line = fmt::format("{} {:3} %  ", bar(shown), static_cast<int>(shown * 100));
  }
  line += visible(text);
  if (secondsLeft) line += " · " + timeLeftText(*secondsLeft);
  return shortened(line, width);
}

ProgressDisplay::ProgressDisplay(Streams& streams, bool verbose) : streams_(streams), verbose_(verbose) {
}

ProgressDisplay::~ProgressDisplay() {
  if (lastDrawn_) streams_.err << "\r\x1b[K" << std::flush;
}

void ProgressDisplay::show(const std::string& text, std::optional<double> fraction) {
  const std::lock_guard guard(lock_);
  if (streams_.errorIsTerminal) {
    rewrite(text, fraction);
  } else if (verbose_ && text != lastText_) {
    streams_.err << visible(text) << std::endl;
  }
  lastText_ = text;
}

void ProgressDisplay::rewrite(const std::string& text, std::optional<double> fraction) {
  const Date now = Clock::now();
  timeLeft_.note(fraction, now);
  // A text without a fraction announces a step and is never passed over; the many reports of one walk are.
  const bool tooSoon = lastDrawn_ && now >= *lastDrawn_ && now - *lastDrawn_ < redrawInterval;
  if (tooSoon && fraction && *fraction < 1) return;
  // The last column stays free: a terminal that wraps there could not be rewritten.
  const int width = std::max(1, streams_.errorColumns() - 1);
  streams_.err << "\r\x1b[K" << progressLine(text, fraction, timeLeft_.seconds(), width) << std::flush;
  lastDrawn_ = now;
}

}  // namespace fernwahrung
