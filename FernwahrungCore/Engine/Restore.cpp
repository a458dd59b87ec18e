#include "Engine/Restore.h"

#include "Engine/FaultHook.h"
#include "Engine/Mount.h"
#include "Engine/Operation.h"
#include "Engine/Preflight.h"
#include "Foundation/ByteFormat.h"
#include "Foundation/Errors.h"
#include "Foundation/Log.h"
#include "Foundation/OperationLock.h"
#include "Foundation/PathString.h"
#include "Records/RegistryStore.h"
#include "Storage/Copier.h"
#include "Storage/DiskImage.h"
#include "Storage/Verifier.h"

#include <fmt/format.h>
#include <sys/stat.h>

namespace fernwahrung::Relocator {
namespace {

/// One way back under way: what its steps share.
struct Restoring {
  const Relocation& relocation;
  Journal& journal;
  OperationContext& context;

  void complete(const std::string& step) { completeStep(journal, step); }
};

/// Where the data is read from, measured before the copy.
struct Origin {
  std::string path;
  bool isVolumeRoot;
  std::int64_t totalBytes;
  Verifier::Fingerprint before;
};

void requireRoom(const Relocation& relocation, const TreeSize& size) {
  std::int64_t needed =
      static_cast<std::int64_t>(static_cast<double>(size.allocatedBytes) * 1.1) + 2'000'000'000;
  auto free = FileOps::freeBytes(PathString::parent(relocation.sourcePath));
  if (free && *free < needed) {
    throw FernwahrungError::message(fmt::format("Zu wenig Platz auf dem Mac: nötig ca. {}, frei {}.",
                                                ByteFormat::string(needed), ByteFormat::string(*free)));
  }
}

Origin examine(const Relocation& relocation, const std::string& path, bool isVolumeRoot) {
  TreeSize size = FileOps::treeSize(path, isVolumeRoot, nullptr);
  requireRoom(relocation, size);
  return {path, isVolumeRoot, size.bytes, Verifier::fingerprint(path, isVolumeRoot)};
}

std::string createStaging(Restoring& run, const Origin& origin) {
  std::string staging = siblingPath(run.relocation.sourcePath, "ZURUECK");
  run.journal.record("staging", staging);
  // it is filled before it gets its exact mode, which may forbid that to its owner
  FileOps::createDirectory(staging, origin.path, S_IRWXU);
  run.complete("stagingCreated");
  return staging;
}

void finishCopy(Restoring& run, const Origin& origin, const std::string& staging) {
  carryOverFolderAttributes(origin.path, staging);
  run.complete("copied");
}

void verifyCopy(Restoring& run, const Origin& origin, const std::string& staging) {
  proveCopy(origin.path, staging,
            {.totalBytes = origin.totalBytes, .sourceIsVolumeRoot = origin.isVolumeRoot}, run.context);
  run.complete("verified");
}

void ensureUnchanged(Restoring& run, const Origin& origin) {
  ensureAppsClosed(run.relocation, run.relocation.sourcePath);
  if (Verifier::fingerprint(origin.path, origin.isVolumeRoot) != origin.before) {
    throw FernwahrungError::message(
        "Die Daten wurden während des Kopierens verändert. Vorgang wird sicher zurückgerollt.");
  }
}

void renameStaging(Restoring& run, const std::string& staging) {
  FileOps::renameExclusive(staging, run.relocation.sourcePath);
  run.complete("stagingRenamed");
}

void markRestored(Restoring& run) {
  RegistryStore::update([&](Registry& registry) {
    if (Relocation* entry = registry.find(run.relocation.id)) entry->state = RelocationState::restored;
  });
  run.complete("registered");
}

/// The path the image's content can be read at: the source itself, or a temporary mount.
std::string mountedPath(Restoring& run) {
  const Relocation& relocation = run.relocation;
  if (FileOps::isMountPoint(relocation.sourcePath)) {
    requireMountedHere(relocation);
    run.journal.record("wasMountedAtSource", "ja");
    return relocation.sourcePath;
  }
  releaseAbandonedMount(relocation);
  std::string tempMount =
      DiskImage::temporaryMountPoint([&](const std::string& path) { run.journal.record("tempMount", path); });
  DiskImage::attach(relocation.storagePath, tempMount, {.browsable = false, .readOnly = false});
  run.complete("tempMounted");
  return tempMount;
}

void unmountImage(Restoring& run) {
  run.context.report("Hänge virtuelle Festplatte aus …");
  auto tempMount = run.journal.path("tempMount");
  if (run.journal.has("tempMounted") && tempMount) {
    DiskImage::detach(*tempMount);
    DiskImage::removeTemporaryMountPoint(*tempMount);
    run.complete("tempUnmounted");
  } else {
    DiskImage::detach(run.relocation.sourcePath);
    run.complete("unmounted");
  }
}

void removeMountPoint(Restoring& run) {
  const std::string& source = run.relocation.sourcePath;
  bool isEmptyFolder =
      FileOps::isDirectory(source) && !FileOps::isMountPoint(source) && FileOps::isDirectoryEmpty(source);
  if (!isEmptyFolder) {
    throw FernwahrungError::message(
        "Der leere Einhängepunkt ist nicht leer – Abbruch, um nichts zu überschreiben: " + source);
  }
  if (FileOps::isLocked(source)) run.journal.record("wasLocked", "ja");
  FileOps::setLocked(source, false);
  removeEmptyMountPoint(source);
  run.complete("mountPointRemoved");
}

void restoreImage(Restoring& run) {
  const Relocation& relocation = run.relocation;
  const std::string& source = relocation.sourcePath;
  if (!FileOps::exists(relocation.storagePath)) {
    throw FernwahrungError::message("Die virtuelle Festplatte ist nicht erreichbar: " +
                                    relocation.storagePath);
  }
  ensureAppsClosed(relocation, source);

  Origin origin = examine(relocation, mountedPath(run), /*isVolumeRoot=*/true);
  std::string staging = createStaging(run, origin);
  Copier::copyContents(origin.path, staging, origin.totalBytes, /*sourceIsVolumeRoot=*/true, run.context);
  finishCopy(run, origin, staging);
  verifyCopy(run, origin, staging);

  ensureUnchanged(run, origin);
  unmountImage(run);
  removeMountPoint(run);
  renameStaging(run, staging);

  Verifier::Fingerprint after = Verifier::fingerprint(source, /*isVolumeRoot=*/false);
  if (after.files != origin.before.files || after.bytes != origin.before.bytes) {
    throw FernwahrungError::message("Nach dem Zurückholen stimmt der Inhalt nicht.");
  }
  run.complete("postChecked");
  markRestored(run);
}

void restoreSymlink(Restoring& run) {
  const Relocation& relocation = run.relocation;
  const std::string& source = relocation.sourcePath;
  const std::string& storage = relocation.storagePath;
  if (FileOps::symlinkDestination(source) != storage) {
    throw FernwahrungError::message("Der Symlink zeigt nicht (mehr) auf " + storage);
  }
  if (!FileOps::isDirectory(storage)) {
    throw FernwahrungError::message("Das Ziel ist nicht erreichbar: " + storage);
  }
  ensureAppsClosed(relocation, source);

  Origin origin = examine(relocation, storage, /*isVolumeRoot=*/false);
  std::string staging = createStaging(run, origin);
  std::int64_t baseline = FileOps::usedBytesOnVolume(staging).value_or(0);
  Copier::ditto(storage, staging, origin.totalBytes, baseline, run.context);
  run.context.report("Kopieren abgeschlossen", 1.0);
  finishCopy(run, origin, staging);
  verifyCopy(run, origin, staging);

  ensureUnchanged(run, origin);
  if (removeSymlink(source)) {
    throw FernwahrungError::message("Symlink konnte nicht entfernt werden: " + source);
  }
  Log::write("Symlink entfernt: " + source);
  run.complete("symlinkRemoved");
  renameStaging(run, staging);
  markRestored(run);
}

}  // namespace

void restore(const Relocation& relocation, OperationContext& context) {
  OperationLock lock;
  if (relocation.state != RelocationState::active) {
    throw FernwahrungError::message("Diese Fernwahrung ist nicht aktiv.");
  }
  Journal journal(OperationKind::restore, relocation);
  Restoring run{relocation, journal, context};
  runJournalled(journal, fmt::format("{} → {}", relocation.storagePath, relocation.sourcePath), context, [&] {
    if (relocation.kind == RelocationKind::image) {
      restoreImage(run);
    } else {
      restoreSymlink(run);
    }
  });
}

}  // namespace fernwahrung::Relocator
