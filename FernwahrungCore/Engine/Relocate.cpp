#include "Engine/Relocate.h"

#include "Engine/FaultHook.h"
#include "Engine/Operation.h"
#include "Engine/Preflight.h"
#include "Engine/Spotlight.h"
#include "Foundation/Clock.h"
#include "Foundation/Errors.h"
#include "Foundation/OperationLock.h"
#include "Records/RegistryStore.h"
#include "Storage/Copier.h"
#include "Storage/DiskImage.h"
#include "Storage/FileOps.h"
#include "Storage/Verifier.h"

#include <fmt/format.h>
#include <functional>
#include <sys/stat.h>

namespace fernwahrung::Relocator {
namespace {

/// One offloading under way: what its steps share.
struct Offloading {
  const RelocationPlan& plan;
  std::int64_t totalBytes;
  Verifier::Fingerprint before;
  Relocation& relocation;
  Journal& journal;
  OperationContext& context;

  void complete(const std::string& step) { completeStep(journal, step); }
};

/// Notes the name and makes the copy's place under it. What has come to lie there since the check is somebody
/// else's: undoing must not know its name.
void makeStorage(Offloading& run, const std::string& key, const std::function<void()>& make) {
  const std::string& storage = run.relocation.storagePath;
  if (FileOps::exists(storage)) throw FernwahrungError::message(storageTakenText(run.plan));
  run.journal.record(key, storage);
  try {
    make();
  } catch (const FernwahrungError&) {
    // refused before anything was made, unlike the failure of a tool half-way
    run.journal.paths.erase(key);
    throw;
  }
}

void copyAndVerify(Offloading& run, const std::string& destination, bool destinationIsVolumeRoot) {
  const std::string& source = run.relocation.sourcePath;
  std::int64_t baseline = FileOps::usedBytesOnVolume(destination).value_or(0);
  Copier::ditto(source, destination, run.totalBytes, baseline, run.context);
  carryOverFolderAttributes(source, destination);
  run.context.report("Kopieren abgeschlossen", 1.0);
  run.complete("copied");

  proveCopy(source, destination,
            {.totalBytes = run.totalBytes, .destinationIsVolumeRoot = destinationIsVolumeRoot}, run.context);
  run.complete("verified");
}

/// From here on the original bears another name; there is no cancellation point until the end. What was
/// written into it while the gate walked it, or through a file still open, shows in a second look once
/// nothing can reach it by its old path any more.
std::string renameOriginal(Offloading& run) {
  std::string backup = siblingPath(run.relocation.sourcePath, "ORIGINAL");
  run.journal.record("backup", backup);
  FileOps::renameExclusive(run.relocation.sourcePath, backup);
  run.relocation.originalBackupPath = backup;
  run.complete("originalRenamed");
  return backup;
}

void registerRelocation(Offloading& run) {
  RegistryStore::update([&](Registry& registry) { registry.relocations.push_back(run.relocation); });
  run.complete("registered");
}

void relocateImage(Offloading& run) {
  const std::string& source = run.relocation.sourcePath;
  const std::string& image = run.relocation.storagePath;
  DiskImage::AttachOptions hidden{.browsable = false, .readOnly = false};

  run.context.report("Lege virtuelle Festplatte an …");
  makeStorage(run, "image", [&] { DiskImage::create(image, run.plan.imageSizeBytes, run.plan.safeName()); });
  run.complete("imageCreated");

  std::string tempMount =
      DiskImage::temporaryMountPoint([&](const std::string& path) { run.journal.record("tempMount", path); });
  DiskImage::attach(image, tempMount, hidden);
  run.complete("tempMounted");

  copyAndVerify(run, tempMount, /*destinationIsVolumeRoot=*/true);

  run.context.report("Hänge vorübergehend aus …");
  DiskImage::detach(tempMount);
  DiskImage::removeTemporaryMountPoint(tempMount);
  flushToDrive(image);
  run.complete("tempUnmounted");

  finalGate(run.relocation, run.before, run.context);

  run.context.report("Tausche Original gegen virtuelle Festplatte …");
  std::string backup = renameOriginal(run);

  FileOps::createDirectory(source, backup);
  FileOps::setLocked(source, true);
  run.complete("mountPointCreated");

  DiskImage::attach(image, source, {.browsable = run.relocation.spotlight, .readOnly = false});
  run.complete("mounted");

  run.context.report("Kontrolliere Ergebnis …");
  Verifier::Fingerprint after = Verifier::fingerprint(source, /*isVolumeRoot=*/true);
  const Verifier::Fingerprint& before = run.before;
  if (after.files != before.files || after.directories != before.directories || after.bytes != before.bytes) {
    throw FernwahrungError::message(
        fmt::format("Nach dem Einhängen stimmt der Inhalt nicht (Dateien {}/{}, Bytes {}/{}).", after.files,
                    before.files, after.bytes, before.bytes));
  }
  requireUnchanged(backup, before);
  run.complete("postChecked");

  if (run.relocation.spotlight) enableIndexing(source);
  registerRelocation(run);
}

void relocateSymlink(Offloading& run) {
  const std::string& source = run.relocation.sourcePath;
  const std::string& target = run.relocation.storagePath;

  makeStorage(run, "target", [&] { FileOps::createDirectory(target, source, S_IRWXU); });
  run.complete("targetCreated");

  copyAndVerify(run, target, /*destinationIsVolumeRoot=*/false);
  finalGate(run.relocation, run.before, run.context);

  run.context.report("Tausche Original gegen Symlink …");
  std::string backup = renameOriginal(run);
  createSymlink(target, source);
  run.complete("symlinkCreated");

  Verifier::Fingerprint after = Verifier::fingerprint(target, /*isVolumeRoot=*/false);
  if (FileOps::symlinkDestination(source) != target || after.files != run.before.files ||
      after.bytes != run.before.bytes) {
    throw FernwahrungError::message("Der Symlink oder der Inhalt am Ziel stimmt nicht.");
  }
  requireUnchanged(backup, run.before);
  run.complete("postChecked");

  registerRelocation(run);
}

Relocation newRelocation(const RelocationPlan& plan) {
  Relocation relocation;
  relocation.id = Uuid::random();
  relocation.name = plan.name;
  relocation.kind = plan.kind;
  relocation.sourcePath = plan.sourcePath;
  relocation.storagePath = plan.storagePath();
  relocation.guardedAppPaths = plan.guardedAppPaths;
  relocation.spotlight = plan.spotlight;
  relocation.createdAt = Clock::now();
  relocation.state = RelocationState::active;
  return relocation;
}

}  // namespace

Relocation relocate(const RelocationPlan& plan, OperationContext& context) {
  OperationLock lock;
  context.report("Prüfe Voraussetzungen …");
  PreflightResult check = preflight(plan, /*measureSize=*/true);
  if (!check.blockers.empty()) throw BlockedError(check.blockers);
  Verifier::Fingerprint before = Verifier::fingerprint(plan.sourcePath, /*isVolumeRoot=*/false);

  Relocation relocation = newRelocation(plan);
  Journal journal(OperationKind::relocate, relocation);
  Offloading run{plan, check.size.bytes, before, relocation, journal, context};
  runJournalled(
      journal,
      fmt::format("{} → {} [{}]", relocation.sourcePath, relocation.storagePath, rawValue(relocation.kind)),
      context, [&] {
        if (plan.kind == RelocationKind::image) {
          relocateImage(run);
        } else {
          relocateSymlink(run);
        }
      });
  return relocation;
}

}  // namespace fernwahrung::Relocator
