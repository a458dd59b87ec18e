#include "Engine/Rollback.h"

#include "Engine/Operation.h"
#include "Foundation/Clock.h"
#include "Foundation/Errors.h"
#include "Foundation/Log.h"
#include "Foundation/PathString.h"
#include "Foundation/Paths.h"
#include "Platform/FileChanges.h"
#include "Records/RegistryStore.h"
#include "Storage/DiskImage.h"
#include "Storage/FileOps.h"

#include <algorithm>
#include <fmt/format.h>

namespace fernwahrung::Relocator {
namespace {

/// A folder by lstat, so no link, with nothing mounted on it.
bool isPlainDirectory(const std::string& path) {
  return FileOps::isDirectory(path) && !FileOps::isMountPoint(path);
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
  if (auto error = Platform::unlink(relocation.sourcePath)) {
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

/// The copy goes only when the original is verifiably back in its place and the image is in use nowhere.
void trashCopy(const Journal& journal) {
  auto copy = journal.path("image");
  if (!copy) copy = journal.path("target");
  if (!copy || !FileOps::exists(*copy) || !isPlainDirectory(journal.relocation.sourcePath)) return;
  if (journal.relocation.kind == RelocationKind::image && DiskImage::attachment(*copy)) return;
  FileOps::moveToTrash(*copy);
}

void rollbackRelocate(const Journal& journal) {
  const Relocation& relocation = journal.relocation;
  const std::string& source = relocation.sourcePath;

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

/// A mount point that restore unlocked, or that an interrupted rollback made, gets its lock back.
void lockEmptyMountPoint(const Journal& journal) {
  const std::string& source = journal.relocation.sourcePath;
  bool touched = journal.has("unmounted") || journal.has("tempUnmounted");
  if (touched && isPlainDirectory(source) && !FileOps::isLocked(source) &&
      FileOps::isDirectoryEmpty(source)) {
    FileOps::setLocked(source, true);
  }
}

void rollbackRestore(const Journal& journal) {
  const Relocation& relocation = journal.relocation;
  const std::string& source = relocation.sourcePath;
  auto staging = journal.path("staging");

  if (journal.has("registered")) restoreRegistryEntry(journal);
  if (staging && !FileOps::exists(*staging) && restoredDataIsAtSource(journal)) {
    FileOps::renameExclusive(source, *staging);
  }
  if (relocation.kind == RelocationKind::symlink) {
    if (!FileOps::exists(source)) createSymlink(relocation.storagePath, source);
  } else {
    if (!FileOps::exists(source)) FileOps::createDirectory(source, std::nullopt);
    lockEmptyMountPoint(journal);
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

void rollbackAfterFailure(Journal& journal, const std::exception& error, OperationContext& context) {
  std::string first = error.what();
  Log::write(fmt::format("FEHLER: {} – rolle zurück", first));
  context.report("Fehler – stelle Ausgangszustand wieder her …");
  try {
    rollback(journal);
  } catch (const std::exception& second) {
    Log::write(fmt::format("ZURÜCKROLLEN FEHLGESCHLAGEN: {}", second.what()));
    throw FernwahrungError::message(
        fmt::format("{}\n\nZusätzlich konnte der Ausgangszustand nicht automatisch wiederhergestellt "
                    "werden:\n{}\n\nEs ist "
                    "nichts gelöscht worden. Das Protokoll ist gespeichert; die App bietet beim nächsten "
                    "Start „Zurückrollen“ "
                    "an.\nBitte nicht von Hand eingreifen.",
                    first, second.what()));
  }
}

}  // namespace fernwahrung::Relocator
