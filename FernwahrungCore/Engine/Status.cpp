#include "Engine/Status.h"

#include "Storage/DirectoryState.h"
#include "Storage/FileOps.h"

#include <fmt/format.h>

namespace fernwahrung {

std::string rawValue(RelocationStatus::Health health) {
  switch (health) {
    case RelocationStatus::Health::ok:
      return "ok";
    case RelocationStatus::Health::warning:
      return "warning";
    case RelocationStatus::Health::error:
      break;
  }
  return "error";
}

namespace Relocator {
namespace {

RelocationStatus statusOfMissingMount(const Relocation& relocation, bool storageExists,
                                      AttachedImages& attached) {
  RelocationStatus status;
  status.health = RelocationStatus::Health::error;
  status.storageAvailable = storageExists;
  status.locked = FileOps::isLocked(relocation.sourcePath);
  status.summary = storageExists ? "Nicht eingehängt" : "Externes Laufwerk fehlt";

  if (!storageExists) status.details.push_back("Externes Laufwerk fehlt.");
  if (attached.find(relocation.storagePath)) status.details.push_back("An anderer Stelle eingehängt.");
  if (FileOps::isDirectory(relocation.sourcePath)) {
    DirectoryState state = FileOps::directoryState(relocation.sourcePath);
    switch (state.kind) {
      case DirectoryState::Kind::empty:
        break;
      case DirectoryState::Kind::notEmpty:
        status.details.push_back(
            "ACHTUNG: Der Ordner ist nicht leer – eine App hat ohne virtuelle Festplatte geschrieben. "
            "„Einhängen“ fragt, wie es weitergehen soll.");
        break;
      case DirectoryState::Kind::accessDenied:
        status.details.push_back(
            "Zugriff verweigert: macOS erlaubt Fernwahrung nicht, diesen Ordner zu lesen. "
            "Ob er leer ist, ist unbekannt. "
            "Bitte den Festplattenvollzugriff für Fernwahrung freigeben.");
        status.accessDenied = !AccessDeniedError(relocation.sourcePath, false).isUnixPermission();
        break;
      case DirectoryState::Kind::unreadable:
        status.details.push_back(fmt::format("Der Ordner kann nicht gelesen werden ({}).", state.reason));
        break;
    }
  }
  if (!status.locked) status.details.push_back("Einhängepunkt ist nicht schreibgeschützt.");
  return status;
}

RelocationStatus imageStatus(const Relocation& relocation, bool storageExists, AttachedImages& attached) {
  if (!FileOps::isMountPoint(relocation.sourcePath)) {
    RelocationStatus status = statusOfMissingMount(relocation, storageExists, attached);
    // What another process mounts during the look must not pass for data written into the empty folder.
    if (!FileOps::isMountPoint(relocation.sourcePath)) return status;
  }
  RelocationStatus status;
  status.summary = "Eingehängt";
  status.mounted = true;
  status.storageAvailable = storageExists;
  return status;
}

RelocationStatus symlinkStatus(const Relocation& relocation, bool storageExists) {
  RelocationStatus status;
  status.storageAvailable = storageExists;
  if (!storageExists) {
    status.health = RelocationStatus::Health::error;
    status.summary = "Externes Laufwerk fehlt";
    status.details.push_back("App nicht starten, bis das Laufwerk verbunden ist.");
  } else if (FileOps::symlinkDestination(relocation.sourcePath) == relocation.storagePath) {
    status.summary = "Verlinkt";
    status.mounted = true;
  } else {
    status.health = RelocationStatus::Health::error;
    status.summary = "Symlink fehlt oder zeigt woanders hin";
  }
  return status;
}

}  // namespace

RelocationStatus status(const Relocation& relocation, AttachedImages& attached) {
  bool storageExists = FileOps::exists(relocation.storagePath);
  if (relocation.state == RelocationState::restored) {
    RelocationStatus status;
    status.summary = "Zurückgeholt – Daten liegen wieder auf dem Mac";
    status.storageAvailable = storageExists;
    return status;
  }
  return relocation.kind == RelocationKind::image ? imageStatus(relocation, storageExists, attached)
                                                  : symlinkStatus(relocation, storageExists);
}

RelocationStatus status(const Relocation& relocation) {
  AttachedImages attached;
  return status(relocation, attached);
}

}  // namespace Relocator
}  // namespace fernwahrung
