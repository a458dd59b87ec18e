#include "FernwahrungApp/Model/TimeLeft.h"

#include <cmath>
#include <fmt/format.h>

namespace fernwahrung {
namespace {

constexpr double youngestSeconds = 4;
constexpr double smallestShare = 0.02;

std::string roughly(double seconds) {
  if (seconds < 10) return "noch wenige Sekunden";
  if (seconds <= 50)
    return fmt::format("noch etwa {} Sekunden", static_cast<int>(std::ceil(seconds / 10)) * 10);
  auto minutes = static_cast<std::int64_t>(std::llround(seconds / 60));
  if (minutes <= 1) return "noch etwa 1 Minute";
  if (minutes < 90) return fmt::format("noch etwa {} Minuten", minutes);
  return fmt::format("noch etwa {} Stunden", std::llround(seconds / 3600));
}

}  // namespace

void TimeLeft::advance(std::optional<double> fraction, Date now) {
  if (!fraction) {
    first_ = std::nullopt;
    return;
  }
  if (!first_ || *fraction < lastFraction_) {
    first_ = now;
    firstFraction_ = *fraction;
  }
  lastFraction_ = *fraction;
  last_ = now;
}

std::string TimeLeft::text() const {
  if (!first_) return {};
  double seconds = Dates::unixSeconds(last_) - Dates::unixSeconds(*first_);
  double share = lastFraction_ - firstFraction_;
  if (seconds < youngestSeconds || share < smallestShare) return {};
  return roughly(seconds / share * (1 - lastFraction_));
}

}  // namespace fernwahrung
