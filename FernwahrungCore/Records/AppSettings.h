// The program's preferences, shared by the application and the helper.
#pragma once

#include "Foundation/Dates.h"
#include "Foundation/Json.h"

#include <cstdint>
#include <optional>

namespace fernwahrung {

/// From which fill, and below which free space, a volume gives cause for concern. A gigabyte is 1,000,000,000
/// bytes.
struct CapacityThresholds {
  double imageWarnFraction = 0.85;
  double imageCriticalFraction = 0.95;
  std::int64_t externalWarnFreeGB = 50;
  std::int64_t externalCriticalFreeGB = 10;
  std::int64_t internalWarnFreeGB = 30;
  std::int64_t internalCriticalFreeGB = 10;

  bool operator==(const CapacityThresholds&) const = default;
};

/// "settings.json" in Paths::supportDirectory. Every reader loads it at the moment it needs a value, so that
/// a change takes effect without a restart.
struct AppSettings {
  CapacityThresholds thresholds;
  std::int64_t healthIntervalDays = 7;
  std::optional<Date> lastHealthCheck;  // end of the last automatic one
  bool unmountBeforeSleep = true;
  bool safeEject = true;
  bool verifyBeforeMount = true;
  bool mountOnGuardedAppLaunch = true;

  /// Never fails: a missing or damaged file gives the defaults.
  static AppSettings load();
  /// Throws what Paths::ensure, Json::print and FileOps::atomicWrite throw.
  void save() const;

  bool operator==(const AppSettings&) const = default;
};

Json::Value toJson(const AppSettings& settings);
/// A missing key takes its default. Throws JsonError for a value of another type.
AppSettings settingsFromJson(const Json::Value& value);

}  // namespace fernwahrung
