#include "Engine/Preflight.h"

#include "Foundation/ByteFormat.h"
#include "Foundation/Errors.h"
#include "Foundation/PathString.h"
#include "Foundation/Paths.h"
#include "Foundation/Text.h"
#include "Records/RegistryStore.h"

#include <fmt/format.h>

namespace fernwahrung::Relocator {
namespace {

bool isStrictlyInside(const std::string& path, const std::string& folder) {
  return path != folder && PathString::isInside(path, folder);
}

void checkSource(const RelocationPlan& plan, const std::string& source, std::vector<std::string>& blockers) {
  if (FileOps::isSymlink(plan.sourcePath)) {
    blockers.push_back("Der Ordner ist bereits ein Symlink (schon ferngewahrt?).");
  }
  if (!FileOps::isDirectory(plan.sourcePath)) blockers.push_back("Das ist kein Ordner.");
  if (FileOps::isMountPoint(plan.sourcePath)) {
    blockers.push_back("An diesem Ordner ist bereits ein Laufwerk eingehängt (schon ferngewahrt?).");
  }
  if (!Paths::homeOverride() && !isStrictlyInside(source, FileOps::normalize(Paths::homeDirectory()))) {
    blockers.push_back("Aus Sicherheitsgründen sind nur Ordner innerhalb deines Benutzerordners erlaubt.");
  }
}

void checkNotRegistered(const std::string& source, std::vector<std::string>& blockers) {
  Registry registry;
  try {
    registry = RegistryStore::load();
  } catch (const std::exception&) {
    return;  // relocate meets the same error when it registers, and rolls back
  }
  for (const Relocation& relocation : registry.relocations) {
    if (relocation.state == RelocationState::active && FileOps::normalize(relocation.sourcePath) == source) {
      blockers.push_back("Dieser Ordner ist bereits ferngewahrt.");
      return;
    }
  }
}

void checkStorage(const RelocationPlan& plan, const std::string& storageDirectory, PreflightResult& result) {
  if (!FileOps::isDirectory(plan.storageDirectory)) {
    result.blockers.push_back("Zielordner existiert nicht: " + plan.storageDirectory);
    return;
  }
  std::string type = FileOps::fileSystemType(plan.storageDirectory).value_or("?");
  if (type != "apfs" && type != "hfs") {
    result.blockers.push_back(
        fmt::format("Das Ziellaufwerk hat das Format „{}“. Nötig ist APFS (oder Mac OS Extended).", type));
  } else if (type != "apfs" && plan.kind == RelocationKind::image) {
    result.warnings.push_back(
        "Das Ziellaufwerk ist nicht APFS – vor Größenänderungen ist dann kein Sicherheits-Klon möglich.");
  }
  if (!Paths::homeOverride() &&
      isStrictlyInside(storageDirectory, FileOps::normalize(Paths::homeDirectory()))) {
    result.warnings.push_back("Das Ziel liegt auf derselben Festplatte – dadurch wird kein Platz frei.");
  }
  if (FileOps::exists(plan.storagePath())) {
    result.blockers.push_back(fmt::format("Am Ziel gibt es bereits „{}“. Bitte anderen Namen wählen.",
                                          PathString::lastComponent(plan.storagePath())));
  }
}

void checkProcesses(const RelocationPlan& plan, PreflightResult& result) {
  for (const std::string& app : FileOps::runningApps(plan.guardedAppPaths)) {
    result.blockers.push_back(PathString::lastComponent(app) + " läuft noch – bitte beenden.");
  }
  result.processes = ProcessDescriber::blockingProcesses(plan.sourcePath);
  for (const ProcessDescription& process : result.processes) {
    result.blockers.push_back(ProcessDescriber::message(process));
  }
}

void warnOfSandbox(const RelocationPlan& plan, std::vector<std::string>& warnings) {
  if (plan.kind != RelocationKind::symlink) return;
  for (const char* sandbox : {"/Library/Containers/", "/Library/Group Containers/"}) {
    if (plan.sourcePath.find(sandbox) != std::string::npos) {
      warnings.push_back(
          "Das ist der Ordner einer Sandbox-App. Ein Symlink funktioniert dort meist NICHT – besser "
          "„Virtuelle "
          "Festplatte“ wählen.");
      return;
    }
  }
}

void checkRoom(const RelocationPlan& plan, PreflightResult& result) {
  try {
    result.size = FileOps::treeSize(plan.sourcePath, /*isVolumeRoot=*/false, nullptr);
  } catch (const std::exception&) {
    result.blockers.push_back("Der Ordner kann nicht vollständig gelesen werden (fehlende Berechtigung?).");
    return;
  }
  std::int64_t needed = minimumImageSize(result.size);
  auto free = FileOps::freeBytes(plan.storageDirectory);
  if (free && *free < needed) {
    result.blockers.push_back(fmt::format("Zu wenig Platz am Ziel: nötig ca. {}, frei {}.",
                                          ByteFormat::string(needed), ByteFormat::string(*free)));
  }
  if (plan.kind == RelocationKind::image && plan.imageSizeBytes < needed) {
    result.blockers.push_back(
        fmt::format("Die virtuelle Festplatte ist zu klein. Mindestens {}.", ByteFormat::string(needed)));
  }
}

}  // namespace

PreflightResult preflight(const RelocationPlan& plan, bool measureSize) {
  PreflightResult result;
  if (!FileOps::exists(plan.sourcePath)) {
    result.blockers.push_back("Der Ordner existiert nicht: " + plan.sourcePath);
    return result;
  }
  std::string source = FileOps::normalize(plan.sourcePath);
  std::string storageDirectory = FileOps::normalize(plan.storageDirectory);

  checkSource(plan, source, result.blockers);
  if (PathString::isInside(storageDirectory, source)) {
    result.blockers.push_back("Das Ziel liegt innerhalb des fernzuwahrenden Ordners.");
  }
  checkNotRegistered(source, result.blockers);
  checkStorage(plan, storageDirectory, result);
  checkProcesses(plan, result);
  warnOfSandbox(plan, result.warnings);
  if (measureSize && result.blockers.empty()) checkRoom(plan, result);
  return result;
}

std::int64_t minimumImageSize(const TreeSize& size) {
  return static_cast<std::int64_t>(static_cast<double>(size.allocatedBytes) * 1.1) + 1'000'000'000;
}

std::int64_t suggestedImageSize(const TreeSize& size) {
  constexpr std::int64_t gigabyte = 1'000'000'000;
  std::int64_t wanted = std::max(size.allocatedBytes + 20 * gigabyte, 2 * size.allocatedBytes);
  return (wanted + gigabyte - 1) / gigabyte * gigabyte;
}

void ensureAppsClosed(const Relocation& relocation, const std::string& path) {
  std::vector<std::string> names;
  for (const std::string& app : FileOps::runningApps(relocation.guardedAppPaths)) {
    names.push_back(PathString::lastComponent(app));
  }
  if (!names.empty()) throw FernwahrungError::message("Bitte zuerst beenden: " + Text::join(names, ", "));

  std::vector<std::string> lines;
  for (const ProcessDescription& process : ProcessDescriber::blockingProcesses(path)) {
    lines.push_back("• " + ProcessDescriber::message(process));
  }
  if (!lines.empty()) {
    throw FernwahrungError::message("Bitte zuerst beenden – diese Programme haben noch Dateien offen:\n" +
                                    Text::join(lines, "\n"));
  }
}

void finalGate(const Relocation& relocation, const Verifier::Fingerprint& before, OperationContext& context) {
  context.report("Letzte Kontrolle vor dem Tausch …");
  ensureAppsClosed(relocation, relocation.sourcePath);
  if (Verifier::fingerprint(relocation.sourcePath, /*isVolumeRoot=*/false) != before) {
    throw FernwahrungError::message(
        "Die Daten wurden während des Kopierens verändert (läuft die App doch?). Vorgang wird sicher "
        "zurückgerollt.");
  }
}

}  // namespace fernwahrung::Relocator
