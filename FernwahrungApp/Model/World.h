// What one refresh reads of the world: everything the windows show of it, as of one moment.
#pragma once

#include "Integration/Capacity.h"

#include "Engine/Status.h"
#include "Records/Journal.h"
#include "Records/Relocation.h"

#include <map>
#include <set>
#include <string>
#include <vector>

namespace fernwahrung {

struct World {
  std::vector<Relocation> relocations;  // in the registry's order; empty when it can't be read
  std::string loadError;                // why not, as a finished sentence; empty when it could
  std::map<Uuid, RelocationStatus> statuses;
  // Of images only: what lies behind a link could be told but by walking all of the user's data, each time.
  std::map<Uuid, std::string> usage;  // see usageText()
  std::map<Uuid, ImageCapacity> imageCapacity;
  std::vector<VolumeCapacity> volumes;
  std::vector<Journal> unfinished;
  std::set<std::string> missingPaths;  // those of the relocations' kept copies that are known to be gone
};

/// Reads it all anew and changes nothing. Takes as long as the slowest drive: never on the main thread.
/// Starts one process at most, and walks each image once. Never throws; a registry that can't be read is also
/// logged.
World readWorld(const CapacityThresholds& thresholds);

/// "belegt 12 GB · max. 20 GB · auf dem Laufwerk 13 GB", as far as it is known; empty for a symbolic link.
std::string usageText(const Relocation& relocation, const ImageCapacity& capacity, bool storageAvailable);

/// What a relocation has left behind on purpose: the original, safety copies, set-aside folders, former
/// storages.
std::vector<std::string> keptPaths(const Relocation& relocation);

}  // namespace fernwahrung
