// Records as an operation writes them, for the suites of this room.
#pragma once

#include "Records/Journal.h"
#include "Records/RegistryStore.h"

#include <string>

namespace fernwahrung {

/// An image with every optional field, and texts that JSON must escape.
inline Relocation fullRelocation(const std::string& storage = "/Volumes/Extern/Fotos.sparsebundle") {
  return {.id = *Uuid::parse("68753A44-4D6F-4226-9C60-0050E4C00067"),
          .name = "Fotos „groß“ \"x\" \\ ä",
          .kind = RelocationKind::image,
          .sourcePath = "/Users/anna/Pictures/Fotos",
          .storagePath = storage,
          .originalBackupPath = "/Users/anna/Pictures/Fotos.ORIGINAL-20261115-100915",
          .guardedAppPaths = {"/Applications/Fotos.app"},
          .spotlight = true,
          .createdAt = *Dates::parseIso8601("2026-11-15T10:09:15Z"),
          .state = RelocationState::active,
          .safetyCopies = std::vector<std::string>{"/Volumes/Extern/Fotos.Sicherung-1.sparsebundle"},
          .previousStoragePaths = std::vector<std::string>{"/Volumes/Alt/Fotos.sparsebundle"},
          .asideFolders = std::vector<std::string>{}};
}

/// A link without any optional field.
inline Relocation plainRelocation(const std::string& storage = "/Volumes/Extern/Musik") {
  Relocation relocation;
  relocation.id = *Uuid::parse("0F3A5B60-1111-4222-8333-444455556666");
  relocation.name = "Musik";
  relocation.kind = RelocationKind::symlink;
  relocation.sourcePath = "/Users/anna/Music";
  relocation.storagePath = storage;
  relocation.createdAt = *Dates::parseIso8601("2025-01-02T03:04:05Z");
  relocation.state = RelocationState::restored;
  return relocation;
}

inline Registry sampleRegistry() {
  return {.version = 1, .relocations = {fullRelocation(), plainRelocation()}};
}

inline Journal sampleJournal() {
  Journal journal(OperationKind::relocate, fullRelocation());
  journal.completedSteps = {"imageCreated", "tempMounted"};
  journal.paths = {{"image", "/Volumes/Extern/Fotos.sparsebundle"}, {"tempMount", "/tmp/mnt/1"}};
  journal.startedAt = *Dates::parseIso8601("2026-11-15T10:09:15Z");
  return journal;
}

}  // namespace fernwahrung
