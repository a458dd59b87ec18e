// How full are the images and the volumes that matter to the program? Reads the file system and walks
// bundles: off the main thread. What can't be measured stays unknown or 0; nothing throws.
#pragma once

#include "Records/AppSettings.h"
#include "Records/Relocation.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace fernwahrung {

/// The worse of two levels is their maximum.
enum class CapacityLevel { ok = 0, warning = 1, critical = 2 };

std::string rawValue(CapacityLevel level);

struct ImageCapacity {
  std::optional<std::int64_t> usedBytes;      // inside the image; nothing while it isn't mounted
  std::optional<std::int64_t> capacityBytes;  // its nominal size
  std::int64_t occupiedOnDrive = 0;           // what its files occupy
  std::optional<std::int64_t> driveFreeBytes;
  CapacityLevel level = CapacityLevel::ok;
  std::vector<std::string> messages;  // one per test that is not ok

  std::optional<double> fraction() const;
  /// What still fits: limited by the image itself, or by its drive and what the image occupies there unused.
  std::optional<std::int64_t> canStillGrow() const;
  bool operator==(const ImageCapacity&) const = default;
};

struct VolumeCapacity {
  std::string name;
  std::string mountPoint;
  std::int64_t totalBytes = 0;
  std::int64_t freeBytes = 0;
  bool isInternal = false;
  CapacityLevel level = CapacityLevel::ok;

  double fraction() const;
  bool operator==(const VolumeCapacity&) const = default;
};

namespace Capacity {

/// The whole percents of a fraction, cut, not rounded. What a damaged image claims may be any fraction.
std::int64_t percent(double fraction);

/// An exact hit counts as the worse level.
CapacityLevel level(double fraction, double warn, double critical);
/// Decimal gigabytes; an exact hit counts as the better level.
CapacityLevel level(std::int64_t freeBytes, std::int64_t warnGB, std::int64_t criticalGB);

ImageCapacity image(const Relocation& relocation, const CapacityThresholds& thresholds);
/// Fills in level and messages from the measured fields.
void judge(ImageCapacity& capacity, const CapacityThresholds& thresholds);
/// The internal disk first, then each drive that carries an active relocation, once.
std::vector<VolumeCapacity> volumes(const std::vector<Relocation>& relocations,
                                    const CapacityThresholds& thresholds);

}  // namespace Capacity
}  // namespace fernwahrung
