#include "Engine/Mount.h"

#include "Engine/AttachedImages.h"
#include "Engine/Preflight.h"
#include "Engine/Spotlight.h"
#include "Foundation/Clock.h"
#include "Foundation/Errors.h"
#include "Foundation/Log.h"
#include "Foundation/OperationLock.h"
#include "Foundation/PathString.h"
#include "Foundation/Paths.h"
#include "Records/AppSettings.h"
#include "Records/Journal.h"
#include "Records/MountPause.h"
#include "Records/RegistryStore.h"
#include "Storage/DirectoryState.h"
#include "Storage/DiskImage.h"
#include "Storage/FileOps.h"

#include <algorithm>
#include <fmt/format.h>

namespace fernwahrung::Relocator {
namespace {

constexpr double storagePollSeconds = 2.0;

void waitForStorage(const Relocation& relocation, Date deadline) {
  while (!FileOps::exists(relocation.storagePath)) {
    if (Clock::now() >= deadline) throw StorageMissingError(relocation.storagePath);
    Clock::sleep(storagePollSeconds);
  }
}

bool isMountedAt(const std::optional<AttachedImage>& image, const std::string& place) {
  if (!image) return false;
  std::string wanted = FileOps::normalize(place);
  return std::any_of(image->mountPoints.begin(), image->mountPoints.end(),
                     [&](const std::string& mountPoint) { return FileOps::normalize(mountPoint) == wanted; });
}

/// The shared reading may be old, and is no proof that it is another volume that is mounted here.
void requireMountedHere(const Relocation& relocation, AttachedImages& attached) {
  const std::string& storage = relocation.storagePath;
  const std::string& source = relocation.sourcePath;
  if (isMountedAt(attached.find(storage), source)) return;
  if (isMountedAt(DiskImage::find(DiskImage::attachedImages(), storage), source)) return;
  throw FernwahrungError::message(fmt::format(
      "An diesem Ort ist ein anderes Laufwerk eingehängt, nicht die virtuelle Festplatte „{}“: {}",
      relocation.name, source));
}

/// Where the image is mounted now.
std::vector<std::string> presentMountPoints(const Relocation& relocation) {
  auto image = DiskImage::attachment(relocation.storagePath);
  return image ? image->mountPoints : std::vector<std::string>{};
}

bool isTemporary(const std::string& mountPoint) {
  return PathString::isInside(FileOps::normalize(mountPoint),
                              FileOps::normalize(Paths::tempMountDirectory()));
}

/// A temporary mount point that no operation will come back to.
bool isAbandoned(const std::string& mountPoint) {
  if (!isTemporary(mountPoint)) return false;
  std::vector<Journal> open = Journal::unfinished();
  return std::none_of(open.begin(), open.end(), [&](const Journal& journal) {
    auto named = journal.path("tempMount");
    return named && FileOps::normalize(*named) == FileOps::normalize(mountPoint);
  });
}

FernwahrungError mountedElsewhere(const std::string& place) {
  return FernwahrungError::message("Bereits an anderer Stelle eingehängt: " + place);
}

MountPointNotEmptyError notEmptyError(const std::string& path) {
  constexpr std::int64_t mostNames = 200'000;
  constexpr std::size_t sampleNames = 8;
  return MountPointNotEmptyError(path, FileOps::describeContents(path, mostNames, sampleNames));
}

/// True for an empty folder, false for one with entries; throws when that can't be told.
bool isProvedEmpty(const std::string& path) {
  DirectoryState state = FileOps::directoryState(path);
  switch (state.kind) {
    case DirectoryState::Kind::accessDenied:
      throw AccessDeniedError(path, /*alreadyUnmounted=*/false);
    case DirectoryState::Kind::unreadable:
      throw FernwahrungError::message(
          fmt::format("Der Einhängepunkt kann nicht gelesen werden ({}): {}", state.reason, path));
    case DirectoryState::Kind::notEmpty:
      return false;
    case DirectoryState::Kind::empty:
      break;
  }
  return true;
}

/// Leaves the mount point empty, or throws. Only what macOS itself leaves behind is cleared away.
void emptyMountPoint(const std::string& path) {
  if (isProvedEmpty(path)) return;
  auto noise = FileOps::onlyMacOSNoise(path);
  if (!noise || FileOps::isLocked(path)) throw notEmptyError(path);
  for (const std::string& name : *noise) {
    try {
      FileOps::moveToTrash(PathString::join(path, name));
    } catch (const std::exception&) {
      // the folder's state, read again below, decides
    }
  }
  if (!isProvedEmpty(path)) throw notEmptyError(path);
}

void verifyImage(const Relocation& relocation) {
  try {
    DiskImage::verifyFileSystem(relocation.storagePath);
  } catch (const std::exception& error) {
    throw FernwahrungError::message(fmt::format(
        "Das Dateisystem der virtuellen Festplatte ist beschädigt – NICHT eingehängt, damit die App nichts verschlimmert. "
        "Reparatur mit dem Festplattendienstprogramm („Erste Hilfe“) nach dem Öffnen von {}.\n"
        "{}",
        PathString::lastComponent(relocation.storagePath), error.what()));
  }
}

void verifyAndAttach(const Relocation& relocation) {
  try {
    if (AppSettings::load().verifyBeforeMount) verifyImage(relocation);
    DiskImage::attach(relocation.storagePath, relocation.sourcePath,
                      {.browsable = relocation.spotlight, .readOnly = false});
  } catch (const std::exception&) {
    // Of an image that somebody attached since the shared reading, the tools tell only what follows from it.
    // One that is left at a temporary place is their own failure.
    std::vector<std::string> places = presentMountPoints(relocation);
    if (!places.empty() && !isTemporary(places.front())) throw mountedElsewhere(places.front());
    throw;
  }
}

void mountImage(const Relocation& relocation, AttachedImages& attached) {
  const std::string& source = relocation.sourcePath;
  attached.forgetFailure();
  if (FileOps::isMountPoint(source)) {
    requireMountedHere(relocation, attached);
    return;
  }
  if (auto image = attached.find(relocation.storagePath); image && !image->mountPoints.empty()) {
    releaseAbandonedMount(relocation);
    auto places = presentMountPoints(relocation);
    if (!places.empty()) throw mountedElsewhere(places.front());
  }
  if (!FileOps::isDirectory(source)) throw FernwahrungError::message("Einhängepunkt fehlt: " + source);
  emptyMountPoint(source);
  verifyAndAttach(relocation);
  if (relocation.spotlight) enableIndexing(source);
  Log::write("eingehängt: " + relocation.name);
}

void mountUnlocked(const Relocation& relocation, Date deadline, AttachedImages& attached) {
  waitForStorage(relocation, deadline);
  if (relocation.kind == RelocationKind::image) {
    mountImage(relocation, attached);
  } else if (FileOps::symlinkDestination(relocation.sourcePath) != relocation.storagePath) {
    throw FernwahrungError::message("Der Symlink fehlt oder zeigt woanders hin.");
  }
}

bool isMountedImage(const Relocation& relocation) {
  return relocation.kind == RelocationKind::image && FileOps::isMountPoint(relocation.sourcePath);
}

bool needsWaiting(const Relocation& relocation, const MountPause& pause) {
  return relocation.state == RelocationState::active && !pause.isPaused(relocation) &&
         !FileOps::exists(relocation.storagePath) && !isMountedImage(relocation);
}

void waitForDrives(Date deadline) {
  while (Clock::now() < deadline) {
    Registry registry;
    try {
      registry = RegistryStore::load();
    } catch (const std::exception&) {
      return;  // reported by the run itself
    }
    MountPause pause = MountPause::load();
    bool waiting = std::any_of(registry.relocations.begin(), registry.relocations.end(),
                               [&](const Relocation& relocation) { return needsWaiting(relocation, pause); });
    if (!waiting) return;
    Clock::sleep(storagePollSeconds);
  }
}

MountProblem::Kind problemKind(const std::exception& error) {
  if (dynamic_cast<const AccessDeniedError*>(&error)) return MountProblem::Kind::accessDenied;
  if (dynamic_cast<const MountPointNotEmptyError*>(&error)) return MountProblem::Kind::notEmpty;
  if (dynamic_cast<const StorageMissingError*>(&error)) return MountProblem::Kind::storageMissing;
  return MountProblem::Kind::other;
}

std::vector<MountProblem> mountRegistered() {
  Registry registry;
  try {
    registry = RegistryStore::load();
  } catch (const std::exception&) {
    return {{"", MountProblem::Kind::other, "Liste der Fernwahrungen nicht lesbar."}};
  }
  MountPause pause = MountPause::load();
  AttachedImages attached;
  std::vector<MountProblem> problems;
  for (const Relocation& relocation : registry.relocations) {
    if (relocation.state != RelocationState::active) continue;
    if (auto entry = pause.isPaused(relocation)) {
      if (relocation.kind == RelocationKind::image && !FileOps::isMountPoint(relocation.sourcePath)) {
        Log::write(fmt::format("nicht eingehängt (pausiert: {}): {}", entry->reason, relocation.name));
      }
      continue;
    }
    try {
      mountUnlocked(relocation, Clock::now(), attached);
    } catch (const std::exception& error) {
      problems.push_back({relocation.name, problemKind(error), error.what()});
      Log::write(fmt::format("Einhängen fehlgeschlagen: {}: {}", relocation.name, error.what()));
    }
  }
  return problems;
}

}  // namespace

void mount(const Relocation& relocation) {
  OperationLock lock;
  mountUnlocked(relocation, Clock::now());
}

void mountUnlocked(const Relocation& relocation, Date deadline) {
  AttachedImages attached;
  mountUnlocked(relocation, deadline, attached);
}

void requireMountedHere(const Relocation& relocation) {
  AttachedImages attached;
  requireMountedHere(relocation, attached);
}

void releaseAbandonedMount(const Relocation& relocation) {
  std::vector<std::string> places = presentMountPoints(relocation);
  if (places.empty() || !std::all_of(places.begin(), places.end(), isAbandoned)) return;
  for (const std::string& place : places) {
    if (FileOps::isMountPoint(place)) DiskImage::detach(place);
    DiskImage::removeTemporaryMountPoint(place);
  }
}

void unmount(const Relocation& relocation) {
  OperationLock lock;
  if (!isMountedImage(relocation)) return;
  ensureAppsClosed(relocation, relocation.sourcePath);
  DiskImage::detach(relocation.sourcePath);
}

std::vector<MountProblem> mountAllDetailed(double waitForStorage) {
  waitForDrives(Clock::now() + std::chrono::milliseconds(static_cast<std::int64_t>(waitForStorage * 1000)));
  try {
    OperationLock lock;
    return mountRegistered();
  } catch (const std::exception& error) {
    return {{"", MountProblem::Kind::skipped, fmt::format("Übersprungen: {}", error.what())}};
  }
}

std::vector<std::string> mountAll(double waitForStorage) {
  std::vector<std::string> lines;
  for (const MountProblem& problem : mountAllDetailed(waitForStorage)) lines.push_back(problem.text());
  return lines;
}

}  // namespace fernwahrung::Relocator
