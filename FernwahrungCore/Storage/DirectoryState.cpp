#include "Storage/DirectoryState.h"

#include "Foundation/ByteFormat.h"
#include "Foundation/Errors.h"
#include "Foundation/PathString.h"
#include "Foundation/Text.h"
#include "Platform/Directory.h"
#include "Platform/FileInfo.h"
#include "Storage/Verifier.h"

#include <algorithm>
#include <cerrno>
#include <fmt/format.h>
#include <unistd.h>
#include <utility>

namespace fernwahrung {
namespace {

std::string accessDeniedText(const AccessDeniedError& error) {
  const std::string_view closing =
      error.alreadyUnmounted()
          ? "Die virtuelle Festplatte wurde dafür kurz ausgehängt und bleibt ausgehängt, bis der Zugriff möglich ist. "
            "Es wurde nichts verändert oder gelöscht."
          : "Es wurde nichts eingehängt und nichts verändert.";
  if (error.isUnixPermission()) {
    return fmt::format(
        "Die Zugriffsrechte dieses Ordners erlauben Fernwahrung das Lesen nicht:\n{}\n\n"
        "Bitte die Rechte im Finder (Informationen) oder mit chmod korrigieren, dann erneut versuchen.\n\n"
        "{} Ob im Ordner Daten liegen, kann ohne Lesezugriff nicht geprüft werden.",
        error.path(), closing);
  }
  return fmt::format(
      "macOS verweigert Fernwahrung den Zugriff auf diesen Ordner:\n{}\n\n"
      "Er gehört einer anderen App und ist durch den Datenschutz von macOS geschützt. "
      "Bitte unter Systemeinstellungen → Datenschutz & Sicherheit → Festplattenvollzugriff „Fernwahrung“ einschalten (und, falls aufgeführt, das Hilfsprogramm „fernwahrung“), dann die App neu starten.\n\n"
      "{} Ob im Ordner Daten liegen, kann ohne diese Freigabe nicht geprüft werden.",
      error.path(), closing);
}

DirectoryState failedState(int code) {
  if (code == EPERM || code == EACCES) return DirectoryState::accessDenied();
  return DirectoryState::unreadable(errnoText(code));
}

/// The names, sorted; nothing when the folder can't be listed.
std::optional<std::vector<std::string>> sortedNames(const std::string& path) {
  try {
    auto names = Platform::names(path);
    std::sort(names.begin(), names.end());
    return names;
  } catch (const SystemError&) {
    return std::nullopt;
  }
}

}  // namespace

MountPointNotEmptyError::MountPointNotEmptyError(std::string path, DirectoryContents contents)
    : path_(std::move(path)), contents_(std::move(contents)) {
  description_ = fmt::format(
      "Der Ordner ist nicht leer – eine App hat ohne virtuelle Festplatte geschrieben ({} Dateien, {}). "
      "Nicht eingehängt, damit nichts verdeckt wird. "
      "In der App fragt „Einhängen“, wie es weitergehen soll (beiseite legen oder einmischen).\n"
      "{}",
      contents_.files, ByteFormat::string(contents_.bytes), path_);
}

StorageMissingError::StorageMissingError(std::string path)
    : path_(std::move(path)),
      description_(fmt::format("Externes Laufwerk fehlt ({}). App NICHT starten!", path_)) {
}

AccessDeniedError::AccessDeniedError(std::string path, bool alreadyUnmounted)
    : path_(std::move(path)), alreadyUnmounted_(alreadyUnmounted), description_(accessDeniedText(*this)) {
}

bool AccessDeniedError::isUnixPermission() const {
  const auto info = Platform::fileInfo(path_);
  return info && info->owner == ::getuid() && (~info->permissions & 0500) != 0;
}

std::string DirectoryContents::summaryText() const {
  std::string text =
      fmt::format("Inhalt: {} Dateien in {} Unterordnern, {}", files, directories, ByteFormat::string(bytes));
  if (truncated) text += " (Zählung gekürzt)";
  if (newestChange) text += fmt::format("\nNeueste Änderung: {}", Dates::german(*newestChange));
  if (!sample.empty()) text += fmt::format("\nEnthält u. a.: {}", Text::join(sample, ", "));
  return text;
}

namespace FileOps {

std::optional<int> readdirErrorForTesting;

DirectoryState directoryState(const std::string& path) {
  try {
    Directory folder(path);
    if (readdirErrorForTesting) {
      return *readdirErrorForTesting == 0 ? DirectoryState::empty() : failedState(*readdirErrorForTesting);
    }
    return folder.next() ? DirectoryState::notEmpty() : DirectoryState::empty();
  } catch (const SystemError& error) {
    return failedState(error.code());
  }
}

DirectoryContents describeContents(const std::string& path, std::int64_t cap, std::size_t sampleLimit) {
  DirectoryContents contents;
  auto names = sortedNames(path).value_or(std::vector<std::string>());
  contents.entries = static_cast<std::int64_t>(names.size());
  contents.sample.assign(names.begin(),
                         names.begin() + static_cast<std::ptrdiff_t>(std::min(sampleLimit, names.size())));

  std::int64_t visited = 0;
  std::int64_t newest = 0;
  std::vector<std::string> pending;
  for (std::string folder = path;;) {
    for (const std::string& name : names) {
      if (visited >= cap) {
        contents.truncated = true;
        break;
      }
      ++visited;
      const std::string entry = PathString::join(folder, name);
      const auto info = Platform::fileInfo(entry);
      if (!info) continue;
      newest = std::max(newest, info->modifiedSeconds);
      if (info->type == FileType::directory) {
        ++contents.directories;
        pending.push_back(entry);
        continue;
      }
      ++contents.files;
      if (info->type != FileType::symlink) contents.bytes += info->size;
    }
    if (contents.truncated || pending.empty()) break;
    folder = std::move(pending.back());
    pending.pop_back();
    names = sortedNames(folder).value_or(std::vector<std::string>());
  }
  if (newest > 0) contents.newestChange = Dates::fromUnixSeconds(static_cast<double>(newest));
  return contents;
}

std::optional<std::vector<std::string>> onlyMacOSNoise(const std::string& path) {
  auto names = sortedNames(path);
  if (!names || names->empty()) return std::nullopt;
  const bool isNoise = std::all_of(names->begin(), names->end(), [](const std::string& name) {
    return Verifier::ignoredNames.contains(name);
  });
  if (!isNoise) return std::nullopt;
  return names;
}

}  // namespace FileOps
}  // namespace fernwahrung
