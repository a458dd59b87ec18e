#include "FernwahrungApp/Model/World.h"

#include "Foundation/ByteFormat.h"
#include "Foundation/Log.h"
#include "Foundation/PathString.h"
#include "Platform/FileInfo.h"
#include "Records/RegistryStore.h"

#include <cerrno>
#include <fmt/format.h>
#include <fmt/ranges.h>

namespace fernwahrung {
namespace {

void append(std::vector<std::string>& all, const std::optional<std::vector<std::string>>& some) {
  if (some) all.insert(all.end(), some->begin(), some->end());
}

/// What can't be looked at, or lies in a folder that isn't there because its drive is not, may well be there
/// still.
bool isGone(const std::string& path) {
  if (Platform::fileInfo(path) || errno != ENOENT) return false;
  return Platform::fileInfo(PathString::parent(path) + "/.").has_value();
}

}  // namespace

World readWorld(const CapacityThresholds& thresholds) {
  World world;
  try {
    world.relocations = RegistryStore::load().relocations;
  } catch (const std::exception& error) {
    world.loadError = fmt::format("Die Liste der Fernwahrungen kann nicht gelesen werden: {}", error.what());
    Log::write(fmt::format("FEHLER beim Lesen der Liste: {}", error.what()));
  }
  AttachedImages attached;
  for (const Relocation& relocation : world.relocations) {
    RelocationStatus status = Relocator::status(relocation, attached);
    if (relocation.kind == RelocationKind::image) {
      ImageCapacity capacity = Capacity::image(relocation, thresholds);
      world.usage[relocation.id] = usageText(relocation, capacity, status.storageAvailable);
      world.imageCapacity[relocation.id] = std::move(capacity);
    }
    world.statuses[relocation.id] = std::move(status);
    for (const std::string& path : keptPaths(relocation)) {
      if (isGone(path)) world.missingPaths.insert(path);
    }
  }
  world.volumes = Capacity::volumes(world.relocations, thresholds);
  world.unfinished = Journal::unfinished();
  return world;
}

std::string usageText(const Relocation& relocation, const ImageCapacity& capacity, bool storageAvailable) {
  if (relocation.kind != RelocationKind::image) return {};
  std::vector<std::string> parts;
  if (capacity.usedBytes) parts.push_back("belegt " + ByteFormat::string(*capacity.usedBytes));
  if (capacity.capacityBytes) parts.push_back("max. " + ByteFormat::string(*capacity.capacityBytes));
  if (storageAvailable) parts.push_back("auf dem Laufwerk " + ByteFormat::string(capacity.occupiedOnDrive));
  return fmt::format("{}", fmt::join(parts, " · "));
}

std::vector<std::string> keptPaths(const Relocation& relocation) {
  std::vector<std::string> paths;
  if (relocation.originalBackupPath) paths.push_back(*relocation.originalBackupPath);
  append(paths, relocation.safetyCopies);
  append(paths, relocation.asideFolders);
  append(paths, relocation.previousStoragePaths);
  return paths;
}

}  // namespace fernwahrung
