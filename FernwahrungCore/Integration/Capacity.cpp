#include "Integration/Capacity.h"

#include "Foundation/Arithmetic.h"
#include "Foundation/ByteFormat.h"
#include "Foundation/PathString.h"
#include "Platform/Volume.h"
#include "Storage/DiskImage.h"
#include "Storage/FileOps.h"

#include <algorithm>
#include <fmt/format.h>

namespace fernwahrung {

std::string rawValue(CapacityLevel level) {
  switch (level) {
    case CapacityLevel::ok:
      return "ok";
    case CapacityLevel::warning:
      return "warning";
    case CapacityLevel::critical:
      break;
  }
  return "critical";
}

namespace {

/// For an image of which both sizes are known. Never negative, whatever a damaged one claims.
std::int64_t roomInside(const ImageCapacity& capacity) {
  return *capacity.capacityBytes > *capacity.usedBytes ? *capacity.capacityBytes - *capacity.usedBytes : 0;
}

}  // namespace

std::optional<double> ImageCapacity::fraction() const {
  if (!usedBytes || !capacityBytes || *capacityBytes < 1) return std::nullopt;
  return static_cast<double>(*usedBytes) / static_cast<double>(*capacityBytes);
}

std::optional<std::int64_t> ImageCapacity::canStillGrow() const {
  if (!usedBytes || !capacityBytes) return std::nullopt;
  std::int64_t room = roomInside(*this);
  if (!driveFreeBytes) return room;
  std::int64_t reclaimable = std::max<std::int64_t>(occupiedOnDrive - *usedBytes, 0);
  std::int64_t onDrive = 0;
  // free space that can't be told in 64 bits is as good as endless
  if (__builtin_add_overflow(*driveFreeBytes, reclaimable, &onDrive)) return room;
  return std::min(room, onDrive);
}

double VolumeCapacity::fraction() const {
  return totalBytes < 1 ? 0 : static_cast<double>(totalBytes - freeBytes) / static_cast<double>(totalBytes);
}

namespace Capacity {
namespace {

void appendOnce(std::vector<std::string>& mountPoints, const std::string& path) {
  auto facts = Platform::volumeFacts(path);
  if (facts && std::find(mountPoints.begin(), mountPoints.end(), facts->mountPoint) == mountPoints.end()) {
    mountPoints.push_back(facts->mountPoint);
  }
}

VolumeCapacity volume(const std::string& mountPoint, const VolumeFacts& facts,
                      const CapacityThresholds& thresholds) {
  VolumeCapacity volume;
  volume.mountPoint = mountPoint;
  volume.isInternal = mountPoint == Platform::internalVolume();
  volume.name = volume.isInternal ? "Interne Festplatte" : PathString::lastComponent(mountPoint);
  volume.totalBytes = saturatingProduct(facts.blocks, facts.blockSize);
  volume.freeBytes = Platform::capacityForImportantUsage(mountPoint)
                         .value_or(saturatingProduct(facts.availableBlocks, facts.blockSize));
  volume.level =
      volume.isInternal
          ? level(volume.freeBytes, thresholds.internalWarnFreeGB, thresholds.internalCriticalFreeGB)
          : level(volume.freeBytes, thresholds.externalWarnFreeGB, thresholds.externalCriticalFreeGB);
  return volume;
}

}  // namespace

std::int64_t percent(double fraction) {
  constexpr double most = 1e15;
  return static_cast<std::int64_t>(std::clamp(fraction * 100, -most, most));
}

CapacityLevel level(double fraction, double warn, double critical) {
  if (fraction >= critical) return CapacityLevel::critical;
  return fraction >= warn ? CapacityLevel::warning : CapacityLevel::ok;
}

CapacityLevel level(std::int64_t freeBytes, std::int64_t warnGB, std::int64_t criticalGB) {
  // compared as real numbers: a limit that a user typed may exceed any count of bytes
  constexpr double gigabyte = 1e9;
  double free = static_cast<double>(freeBytes);
  if (free < static_cast<double>(criticalGB) * gigabyte) return CapacityLevel::critical;
  return free < static_cast<double>(warnGB) * gigabyte ? CapacityLevel::warning : CapacityLevel::ok;
}

void judge(ImageCapacity& capacity, const CapacityThresholds& thresholds) {
  if (auto fraction = capacity.fraction()) {
    capacity.level = level(*fraction, thresholds.imageWarnFraction, thresholds.imageCriticalFraction);
    if (capacity.level != CapacityLevel::ok) {
      capacity.messages.push_back(
          fmt::format("Die virtuelle Festplatte ist zu {} % voll – Größe erhöhen.", percent(*fraction)));
    }
  }
  auto growth = capacity.canStillGrow();
  if (!growth || *growth >= roomInside(capacity)) return;
  CapacityLevel drive = level(*growth, thresholds.externalWarnFreeGB, thresholds.externalCriticalFreeGB);
  if (drive == CapacityLevel::ok) return;
  capacity.messages.push_back(
      fmt::format("Das externe Laufwerk ist fast voll: die virtuelle Festplatte kann nur noch um {} wachsen.",
                  ByteFormat::string(*growth)));
  capacity.level = std::max(capacity.level, drive);
}

ImageCapacity image(const Relocation& relocation, const CapacityThresholds& thresholds) {
  ImageCapacity capacity;
  if (FileOps::isMountPoint(relocation.sourcePath)) {
    capacity.usedBytes = FileOps::usedBytesOnVolume(relocation.sourcePath);
  }
  capacity.capacityBytes = DiskImage::capacityBytes(relocation.storagePath);
  capacity.occupiedOnDrive = DiskImage::occupiedBytes(relocation.storagePath);
  capacity.driveFreeBytes = FileOps::freeBytes(PathString::parent(relocation.storagePath));
  judge(capacity, thresholds);
  return capacity;
}

std::vector<VolumeCapacity> volumes(const std::vector<Relocation>& relocations,
                                    const CapacityThresholds& thresholds) {
  std::vector<std::string> mountPoints{Platform::internalVolume()};
  for (const Relocation& relocation : relocations) {
    if (relocation.state != RelocationState::active) continue;
    appendOnce(mountPoints, relocation.kind == RelocationKind::symlink
                                ? relocation.storagePath
                                : PathString::parent(relocation.storagePath));
  }
  std::vector<VolumeCapacity> result;
  for (const std::string& mountPoint : mountPoints) {
    if (auto facts = Platform::volumeFacts(mountPoint))
      result.push_back(volume(mountPoint, *facts, thresholds));
  }
  return result;
}

}  // namespace Capacity
}  // namespace fernwahrung
