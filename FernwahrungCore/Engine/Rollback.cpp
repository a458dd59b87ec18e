#include "Engine/Rollback.h"

#include "Engine/Operation.h"
#include "Foundation/Clock.h"
#include "Foundation/Errors.h"
#include "Foundation/Log.h"
#include "Foundation/PathString.h"
#include "Foundation/Paths.h"
#include "Records/RegistryStore.h"
#include "Storage/DiskImage.h"
#include "Storage/FileOps.h"

#include <algorithm>
#include <fmt/format.h>
#include <utility>

namespace fernwahrung::Relocator {
namespace {

/// A folder by lstat, so no link, with nothing mounted on it.
bool isPlainDirectory(const std::string& path) {
  return FileOps::isDirectory(path) && !FileOps::isMountPoint(path);
}

/// Undoing takes the arrangement apart. Where the folder has been offloaded anew since, that is another
/// one's.
void requireNoLaterRelocation(const Journal& journal) {
  Registry registry;
  try {
    registry = RegistryStore::load();
  } catch (const std::exception&) {
    return;  // an unreadable list must not keep an original from going back
  }
  const Relocation& own = journal.relocation;
  for (const Relocation& other : registry.relocations) {
    bool isLater =
        other.id != own.id && other.state == RelocationState::active && other.createdAt >= journal.startedAt;
    if (!isLater) continue;
    if (placeOf(other.sourcePath) == placeOf(own.sourcePath) ||
        placeOf(other.storagePath) == placeOf(own.storagePath)) {
      throw FernwahrungError::message(fmt::format(
          "Der Ordner oder sein Speicherort gehört inzwischen zur Fernwahrung „{}“; deshalb wird nichts zurückgerollt: {}",
          other.name, own.sourcePath));
    }
  }
}

/// The arrangement is taken apart only when the original is there to take its place: under its backup name,
/// or back at the source already. There a link or a mount is no original, and once the original had been
/// renamed, a locked folder is the mount point that stands in for it.
void requireOriginal(const Journal& journal) {
  const std::string& source = journal.relocation.sourcePath;
  auto backup = journal.path("backup");
  if (!backup || FileOps::exists(*backup)) return;
  bool isMountPointFolder = journal.has("originalRenamed") && FileOps::isLocked(source);
  if (isPlainDirectory(source) && !isMountPointFolder) return;
  throw FernwahrungError::message(
      fmt::format("Das Original ist nicht mehr da: {}\n"
                  "Die ausgelagerten Daten sind vielleicht die einzigen; deshalb wird nichts zurückgerollt.",
                  *backup));
}

void unregister(const Journal& journal) {
  RegistryStore::update([&](Registry& registry) {
    std::erase_if(registry.relocations,
                  [&](const Relocation& entry) { return entry.id == journal.relocation.id; });
  });
}

void restoreRegistryEntry(const Journal& journal) {
  RegistryStore::update([&](Registry& registry) {
    if (Relocation* entry = registry.find(journal.relocation.id)) *entry = journal.relocation;
  });
}

void detachTempMount(const Journal& journal) {
  auto tempMount = journal.path("tempMount");
  if (!tempMount) return;
  if (FileOps::isMountPoint(*tempMount)) DiskImage::detach(*tempMount);
  DiskImage::removeTemporaryMountPoint(*tempMount);
}

void attachAtSource(const Relocation& relocation) {
  DiskImage::attach(relocation.storagePath, relocation.sourcePath,
                    {.browsable = relocation.spotlight, .readOnly = false});
}

bool isUnmountedWithStorage(const Relocation& relocation) {
  return !FileOps::isMountPoint(relocation.sourcePath) && FileOps::exists(relocation.storagePath);
}

void removeOurSymlink(const Relocation& relocation) {
  // a link that points elsewhere is the user's
  if (FileOps::symlinkDestination(relocation.sourcePath) != relocation.storagePath) return;
  if (auto error = removeSymlink(relocation.sourcePath)) {
    throw SystemError("Der Symlink konnte nicht entfernt werden", relocation.sourcePath, error.value());
  }
}

/// The folder that relocate put in the original's place, recognised by the original lying under its backup
/// name.
void removeMountPointFolder(const Journal& journal) {
  const std::string& source = journal.relocation.sourcePath;
  auto backup = journal.path("backup");
  bool swapped = journal.has("mountPointCreated") || journal.has("originalRenamed");
  if (!swapped || !backup || !FileOps::exists(*backup) || !isPlainDirectory(source)) return;
  if (!FileOps::isDirectoryEmpty(source)) {
    throw FernwahrungError::message("Der neue Einhängepunkt ist nicht leer: " + source);
  }
  FileOps::setLocked(source, false);
  removeEmptyMountPoint(source);
}

/// The sidecar follows the copy it speaks of. One that names another relocation belongs to that one, and a
/// failure leaves no more than a file that the next saving of the list would have written anyway.
void trashSidecar(const Relocation& relocation) {
  try {
    const std::string sidecar = relocation.sidecarPath();
    if (!FileOps::exists(sidecar)) return;
    if (relocationFromJson(Json::parse(FileOps::readFile(sidecar))).id != relocation.id) return;
    FileOps::moveToTrash(sidecar);
  } catch (const std::exception& error) {
    Log::write(fmt::format("Die Begleitdatei bleibt liegen: {}", error.what()));
  }
}

/// The copy goes only when the original is verifiably back in its place and the image is in use nowhere.
void trashCopy(const Journal& journal) {
  auto copy = journal.path("image");
  if (!copy) copy = journal.path("target");
  if (!copy || !isPlainDirectory(journal.relocation.sourcePath)) return;
  if (FileOps::exists(*copy)) {
    if (journal.relocation.kind == RelocationKind::image && DiskImage::attachment(*copy)) return;
    FileOps::moveToTrash(*copy);
  }
  trashSidecar(journal.relocation);
}

void rollbackRelocate(const Journal& journal) {
  const Relocation& relocation = journal.relocation;
  const std::string& source = relocation.sourcePath;

  requireOriginal(journal);
  if (journal.has("registered")) unregister(journal);
  if (relocation.kind == RelocationKind::symlink) {
    removeOurSymlink(relocation);
  } else {
    if (FileOps::isMountPoint(source)) DiskImage::detach(source);
    removeMountPointFolder(journal);
  }
  if (auto backup = journal.path("backup"); backup && FileOps::exists(*backup) && !FileOps::exists(source)) {
    FileOps::renameExclusive(*backup, source);
  }
  detachTempMount(journal);
  trashCopy(journal);
}

/// After the old mount point or link was removed, a real folder at the source can only be the staged copy
/// under its final name, whether or not that rename was noted. A locked one is the mount point that an
/// earlier, interrupted rollback put back.
bool restoredDataIsAtSource(const Journal& journal) {
  bool sourceWasRemoved =
      journal.has("mountPointRemoved") || journal.has("symlinkRemoved") || journal.has("stagingRenamed");
  const std::string& source = journal.relocation.sourcePath;
  return sourceWasRemoved && isPlainDirectory(source) && !FileOps::isLocked(source);
}

/// The folder over which the image is mounted is made where it is gone. It gets its lock, and gets it back
/// where restore had taken it off; one that never had any stays without.
void provideMountPoint(Journal& journal) {
  const std::string& source = journal.relocation.sourcePath;
  if (!FileOps::exists(source)) {
    try {
      journal.record("wasLocked", "ja");  // an interruption right after the making must not cost the lock
    } catch (const std::exception&) {
      // on a full disk the way back counts for more than this note
    }
    FileOps::createDirectory(source, std::nullopt);
  }
  if (journal.path("wasLocked") && isPlainDirectory(source) && !FileOps::isLocked(source) &&
      FileOps::isDirectoryEmpty(source)) {
    FileOps::setLocked(source, true);
  }
}

/// Data that has come back to its place leaves it only for the storage, which restore never changes.
void requireStorage(const Journal& journal) {
  const std::string& storage = journal.relocation.storagePath;
  if (FileOps::exists(storage)) return;
  throw FernwahrungError::message(
      fmt::format("Der Speicherort ist nicht erreichbar: {}\n"
                  "Die zurückgeholten Daten sind vielleicht die einzigen; deshalb wird nichts zurückgerollt.",
                  storage));
}

void rollbackRestore(Journal& journal) {
  const Relocation& relocation = journal.relocation;
  const std::string& source = relocation.sourcePath;
  auto staging = journal.path("staging");

  const bool dataIsBack = staging && !FileOps::exists(*staging) && restoredDataIsAtSource(journal);
  if (dataIsBack) requireStorage(journal);
  // restore saves the list after this step, and may have died before it could note that
  if (journal.has("stagingRenamed") || journal.has("registered")) restoreRegistryEntry(journal);
  if (dataIsBack) FileOps::renameExclusive(source, *staging);
  if (relocation.kind == RelocationKind::symlink) {
    if (!FileOps::exists(source)) createSymlink(relocation.storagePath, source);
  } else {
    provideMountPoint(journal);
    detachTempMount(journal);
    if (journal.path("wasMountedAtSource") && isUnmountedWithStorage(relocation)) attachAtSource(relocation);
  }
  if (staging && FileOps::exists(*staging)) FileOps::moveToTrash(*staging);
}

/// resize and compact: until the changed image is proved, its clone takes its place.
void rollbackImageChange(const Journal& journal) {
  const Relocation& relocation = journal.relocation;
  const std::string& storage = relocation.storagePath;
  auto clone = journal.path("clone");

  if (journal.has("cloned") && !journal.has("fsVerified") && clone && FileOps::exists(*clone)) {
    if (FileOps::isMountPoint(relocation.sourcePath)) DiskImage::detach(relocation.sourcePath);
    if (FileOps::exists(storage)) {
      FileOps::renameExclusive(
          storage, fmt::format("{}.fehlerhaft-{}.sparsebundle", PathString::withoutExtension(storage),
                               Paths::timestamp(Clock::now())));
    }
    FileOps::renameExclusive(*clone, storage);
    Log::write("Sicherheits-Klon zurückgespielt");
  }
  if (journal.has("unmounted") && isUnmountedWithStorage(relocation)) attachAtSource(relocation);
}

void rollbackProtect(const Journal& journal) {
  const Relocation& relocation = journal.relocation;
  if (!journal.has("unmounted") || !isUnmountedWithStorage(relocation)) return;
  bool empty = false;
  try {
    empty = FileOps::isDirectoryEmpty(relocation.sourcePath);
  } catch (const std::exception&) {
    return;  // what can't be read may hold data, and stays uncovered
  }
  if (empty) attachAtSource(relocation);
}

}  // namespace

void rollback(Journal& journal) {
  requireNoLaterRelocation(journal);
  switch (journal.kind) {
    case OperationKind::relocate:
      rollbackRelocate(journal);
      break;
    case OperationKind::restore:
      rollbackRestore(journal);
      break;
    case OperationKind::resize:
    case OperationKind::compact:
      rollbackImageChange(journal);
      break;
    case OperationKind::protect:
      rollbackProtect(journal);
      break;
    case OperationKind::move:
    case OperationKind::resolveNotEmpty:
      throw FernwahrungError::message(fmt::format(
          "Diese Version von Fernwahrung kann den Vorgang „{}“ nicht zurückrollen.", title(journal.kind)));
  }
  journal.paths["ergebnis"] = "zurückgerollt";
  journal.close();
  Log::write("=== Zurückgerollt: " + title(journal.kind));
}

Journal rollbackUnfinished(const Uuid& id) {
  for (Journal& journal : Journal::unfinished()) {
    if (journal.id != id) continue;
    rollback(journal);
    return std::move(journal);
  }
  throw FernwahrungError::message(
      "Dieser Vorgang ist inzwischen abgeschlossen; es gibt nichts zurückzurollen.");
}

void rollbackAfterFailure(Journal& journal, const std::exception& error, OperationContext& context) {
  std::string first = error.what();
  Log::write(fmt::format("FEHLER: {} – rolle zurück", first));
  context.report("Fehler – stelle Ausgangszustand wieder her …");
  try {
    rollback(journal);
  } catch (const std::exception& second) {
    Log::write(fmt::format("ZURÜCKROLLEN FEHLGESCHLAGEN: {}", second.what()));
    throw FernwahrungError::message(
        fmt::format("{}\n\n"
                    "Zusätzlich konnte der Ausgangszustand nicht automatisch wiederhergestellt werden:\n"
                    "{}\n\n"
                    "Es ist nichts gelöscht worden. "
                    "Das Protokoll ist gespeichert; die App bietet beim nächsten Start „Zurückrollen“ an.\n"
                    "Bitte nicht von Hand eingreifen.",
                    first, second.what()));
  }
}

}  // namespace fernwahrung::Relocator
