// How long a step will still take, judged by what it has done so far.
#pragma once

#include "Foundation/Dates.h"

#include <optional>
#include <string>

namespace fernwahrung {

class TimeLeft {
 public:
  /// `fraction`: 0 to 1; nothing while it can't be told. A fraction below the last one begins a new step.
  void advance(std::optional<double> fraction, Date now);
  /// "noch etwa 3 Minuten"; empty while a step is too young or has done too little to judge it.
  std::string text() const;

 private:
  double firstFraction_ = 0;
  double lastFraction_ = 0;
  std::optional<Date> first_;
  Date last_;
};

}  // namespace fernwahrung
