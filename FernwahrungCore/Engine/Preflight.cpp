#include "Engine/Preflight.h"

#include "Foundation/ByteFormat.h"
#include "Foundation/PathString.h"
#include "Foundation/Paths.h"
#include "Foundation/Text.h"
#include "Foundation/Unicode.h"
#include "Platform/NameFolding.h"
#include "Records/RegistryStore.h"

#include <algorithm>
#include <fmt/format.h>
#include <map>

namespace fernwahrung {

BlockedError::BlockedError(const std::vector<std::string>& blockers)
    : FernwahrungError(Case::message, {}, Text::join(blockers, "\n")) {
}

namespace Relocator {
namespace {

constexpr std::size_t longestName = 255;  // bytes, on every file system in question
/// ".ORIGINAL-20261121-200000", behind the source's name.
constexpr std::size_t backupMark = 25;
/// Around the storage's name while its sidecar is written: ".….fernwahrung.json.{UUID}.tmp".
constexpr std::size_t sidecarMarks = 59;

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
  if (PathString::lastComponent(plan.sourcePath).size() + backupMark > longestName) {
    blockers.push_back(
        "Der Name des Ordners ist zu lang: Das Original könnte nicht umbenannt daneben liegen bleiben.");
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

/// What the copy could not carry over, looked for while the folder is measured.
class Uncopyable {
 public:
  explicit Uncopyable(bool targetFoldsNames) : targetFoldsNames_(targetFoldsNames) {}

  void visit(const std::string& folder, const std::string& name, const FileInfo& info) {
    if (info.isDataless && ++dataless_ == 1) firstDataless_ = PathString::join(folder, name);
    if (!targetFoldsNames_) return;
    if (folder != folder_) names_.clear();
    folder_ = folder;
    const auto [known, isNew] = names_.emplace(Unicode::foldedForComparison(name), name);
    if (!isNew && ++folded_ == 1)
      firstFolded_ = fmt::format("{} und {}", PathString::join(folder, known->second), name);
  }

  void report(std::vector<std::string>& blockers) const {
    if (dataless_ > 0) {
      blockers.push_back(
          fmt::format("Nicht auf diesem Mac, sondern nur in der Cloud: {}{}. Bitte zuerst laden.",
                      firstDataless_, andOthers(dataless_)));
    }
    if (folded_ > 0) {
      blockers.push_back(
          fmt::format("Am Ziel zählt Groß- und Kleinschreibung nicht; dort wären das dieselben Namen: {}{}.",
                      firstFolded_, andOthers(folded_)));
    }
  }

 private:
  static std::string andOthers(std::int64_t count) {
    return count > 1 ? fmt::format(" (und {} weitere)", count - 1) : "";
  }

  const bool targetFoldsNames_;
  std::int64_t dataless_ = 0;
  std::string firstDataless_;
  std::int64_t folded_ = 0;
  std::string firstFolded_;
  std::string folder_;
  std::map<std::string, std::string> names_;  // of this folder, by their folded form
};

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
  const std::string name = PathString::lastComponent(plan.storagePath());
  if (name.size() + sidecarMarks > longestName) {
    result.blockers.push_back("Der Name ist zu lang. Bitte einen kürzeren wählen.");
  }
  if (FileOps::exists(plan.storagePath())) result.blockers.push_back(storageTakenText(plan));
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
          "Das ist der Ordner einer Sandbox-App. "
          "Ein Symlink funktioniert dort meist NICHT – besser „Virtuelle Festplatte“ wählen.");
      return;
    }
  }
}

void checkRoom(const RelocationPlan& plan, PreflightResult& result) {
  Uncopyable uncopyable(plan.kind == RelocationKind::image ? Platform::imagesFoldNames()
                                                           : Platform::foldsNames(plan.storageDirectory));
  try {
    result.size = FileOps::treeSize(plan.sourcePath, /*isVolumeRoot=*/false, nullptr,
                                    [&](const std::string& folder, const std::string& name,
                                        const FileInfo& info) { uncopyable.visit(folder, name, info); });
  } catch (const std::exception&) {
    result.blockers.push_back("Der Ordner kann nicht vollständig gelesen werden (fehlende Berechtigung?).");
    return;
  }
  result.isMeasured = true;
  uncopyable.report(result.blockers);
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

std::string storageTakenText(const RelocationPlan& plan) {
  return fmt::format("Am Ziel gibt es bereits „{}“. Bitte anderen Namen wählen.",
                     PathString::lastComponent(plan.storagePath()));
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
  requireUnchanged(relocation.sourcePath, before);
}

void requireUnchanged(const std::string& folder, const Verifier::Fingerprint& before) {
  if (Verifier::fingerprint(folder, /*isVolumeRoot=*/false) != before) {
    throw FernwahrungError::message(
        "Die Daten wurden während des Kopierens verändert (läuft die App doch?). "
        "Vorgang wird sicher zurückgerollt.");
  }
}

}  // namespace Relocator
}  // namespace fernwahrung
