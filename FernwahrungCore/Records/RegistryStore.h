// The list of relocations on disk, with its backup and a sidecar beside each storage.
#pragma once

#include "Records/Relocation.h"

#include <functional>
#include <vector>

namespace fernwahrung {

struct Registry {
  std::int64_t version = 1;
  std::vector<Relocation> relocations;

  Relocation* find(const Uuid& id);
  bool operator==(const Registry&) const = default;
};

/// Reads take no lock: every write is an atomic replacement. A sequence of load, change and save belongs
/// under the OperationLock.
namespace RegistryStore {

/// No files: the empty registry. A damaged or missing main file: the backup, with a log line. Throws
/// FernwahrungError "Die Liste der Fernwahrungen ist beschädigt: {path}" when there is no backup, and the
/// backup's own error when that is damaged too.
Registry load();

/// Writes "registry.json", keeping the old one as "registry.json.bak" if it can be read, then the sidecars of
/// all entries whose drive is there. Throws when the file can't be written; the old one is then intact and no
/// sidecar was touched.
void save(const Registry& registry);

/// load, change, save. What `change` throws stops everything.
void update(const std::function<void(Registry&)>& change);

/// Writes one sidecar; a missing drive and every failure are passed over in silence.
void writeSidecar(const Relocation& relocation);

}  // namespace RegistryStore
}  // namespace fernwahrung
