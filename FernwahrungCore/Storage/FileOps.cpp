#include "Storage/FileOps.h"

#include "Foundation/Arithmetic.h"
#include "Foundation/Errors.h"
#include "Foundation/Log.h"
#include "Foundation/PathString.h"
#include "Foundation/Paths.h"
#include "Foundation/Text.h"
#include "Platform/Directory.h"
#include "Platform/FileChanges.h"
#include "Platform/FileInfo.h"
#include "Platform/Volume.h"
#include "Storage/DirectoryState.h"
#include "Storage/Verifier.h"

#include <algorithm>
#include <cerrno>
#include <fmt/format.h>
#include <pwd.h>
#include <utility>

namespace fernwahrung::FileOps {
namespace {

bool hasType(const std::string& path, FileType type) {
  const auto info = Platform::fileInfo(path);
  return info && info->type == type;
}

std::optional<std::string> homeOf(const std::string& user) {
  if (user.empty()) return Paths::homeDirectory();
  std::vector<char> buffer(1024);
  passwd record{};
  passwd* found = nullptr;
  int error = 0;
  while ((error = ::getpwnam_r(user.c_str(), &record, buffer.data(), buffer.size(), &found)) == ERANGE) {
    buffer.resize(2 * buffer.size());
  }
  if (error != 0 || !found) return std::nullopt;
  return found->pw_dir;
}

/// "~" and "~user" in front become the home; of an unknown user they stay.
std::string expandingTilde(const std::string& path) {
  if (!path.starts_with('~')) return path;
  const std::size_t end = std::min(path.find('/'), path.size());
  const auto home = homeOf(path.substr(1, end - 1));
  return home ? *home + path.substr(end) : path;
}

/// The path without ".", "..", repeated slashes and one at the end. ".." leads to the real parent folder
/// where the way there exists, since the folder before it may be a link; in a relative path it stays, for
/// there is no telling where it leads.
std::string standardized(const std::string& path) {
  const std::string expanded = expandingTilde(path);
  const bool isAbsolute = expanded.starts_with('/');
  std::string result = isAbsolute ? "/" : "";
  for (const std::string& component : Text::split(expanded, '/')) {
    if (component == ".") continue;
    if (component == ".." && isAbsolute) {
      result = PathString::parent(Platform::realPath(result).value_or(result));
    } else {
      result = PathString::join(result, component);
    }
  }
  return result;
}

}  // namespace

bool exists(const std::string& path) {
  return Platform::fileInfo(path).has_value();
}

bool isDirectory(const std::string& path) {
  return hasType(path, FileType::directory);
}

bool isSymlink(const std::string& path) {
  return hasType(path, FileType::symlink);
}

bool isLocked(const std::string& path) {
  return Platform::isImmutable(path);
}

std::optional<std::string> fileSystemType(const std::string& path) {
  const auto facts = Platform::volumeFacts(path);
  if (!facts) return std::nullopt;
  return facts->type;
}

std::optional<std::int64_t> freeBytes(const std::string& path) {
  const auto facts = Platform::volumeFacts(path);
  if (!facts) return std::nullopt;
  return saturatingProduct(facts->availableBlocks, facts->blockSize);
}

std::optional<std::int64_t> usedBytesOnVolume(const std::string& path) {
  const auto facts = Platform::volumeFacts(path);
  if (!facts) return std::nullopt;
  return saturatingProduct(facts->blocks - facts->freeBlocks, facts->blockSize);
}

std::optional<std::string> symlinkDestination(const std::string& path) {
  return Platform::linkText(path);
}

bool isMountPoint(const std::string& path) {
  if (!isDirectory(path)) return false;
  if (const auto isRoot = Platform::isVolumeRoot(path)) return *isRoot;
  const auto facts = Platform::volumeFacts(path);
  return facts && normalize(facts->mountPoint) == normalize(path);
}

std::string normalize(const std::string& path) {
  std::string result = standardized(path);
  if (auto real = Platform::realPath(result)) result = std::move(*real);
  return PathString::withoutDataVolume(std::move(result));
}

bool removeEmptyDirectory(const std::string& path) {
  return isDirectory(path) && !isMountPoint(path) && !Platform::removeDirectory(path);
}

void flushName(const std::string& path) {
  static_cast<void>(Platform::flushDirectory(PathString::parent(path)));
}

TreeSize treeSize(const std::string& path, bool isVolumeRoot, const OperationContext* context,
                  const EntryVisitor& visit) {
  TreeSize size;
  std::vector<std::string> pending = {path};
  bool isRoot = true;
  while (!pending.empty()) {
    if (context) context->checkCancelled();
    Directory folder(std::exchange(pending.back(), {}));
    pending.pop_back();
    while (const char* name = folder.next()) {
      if (isRoot && isVolumeRoot && Verifier::isIgnoredVolumeEntry(name)) continue;
      const auto info = folder.info(name);
      if (!info) continue;
      if (visit) visit(folder.path(), name, *info);
      switch (info->type) {
        case FileType::directory:
          ++size.directories;
          pending.push_back(PathString::join(folder.path(), name));
          break;
        case FileType::symlink:
          ++size.symlinks;
          break;
        case FileType::file:
        case FileType::other:
          ++size.files;
          size.bytes += info->size;
          size.allocatedBytes += info->allocated;
          break;
      }
    }
    isRoot = false;
  }
  return size;
}

void createDirectory(const std::string& path, const std::optional<std::string>& like, mode_t extraMode) {
  mode_t mode = 0755;
  if (like) {
    if (const auto info = Platform::fileInfo(*like)) mode = info->permissions;
  }
  if (const auto error = Platform::makeDirectory(path, mode | extraMode)) {
    throw FernwahrungError::message(
        fmt::format("Ordner konnte nicht angelegt werden: {} ({})", path, errnoText(error.value())));
  }
  flushName(path);
}

bool isDirectoryEmpty(const std::string& path) {
  if (readdirErrorForTesting) {
    // The system's texts tell an existing code from a made-up one.
    const bool isKnown =
        *readdirErrorForTesting > 0 && !errnoText(*readdirErrorForTesting).starts_with("Unknown");
    throw SystemError("Der Ordner kann nicht gelesen werden", path, isKnown ? *readdirErrorForTesting : EIO);
  }
  return Directory(path).next() == nullptr;
}

void renameExclusive(const std::string& source, const std::string& destination) {
  if (const auto error = Platform::renameExclusive(source, destination)) {
    throw FernwahrungError::message(fmt::format("Umbenennen fehlgeschlagen: {} → {} ({})", source,
                                                destination, errnoText(error.value())));
  }
  flushName(destination);
  if (PathString::parent(source) != PathString::parent(destination)) flushName(source);
  Log::write(fmt::format("umbenannt: {} → {}", source, destination));
}

void setLocked(const std::string& path, bool locked) {
  // The flag belongs to the folder under the mount, which can't be reached while a volume lies over it.
  if (isMountPoint(path)) {
    throw FernwahrungError::message(fmt::format(
        "Sperre kann nicht gesetzt werden, solange die virtuelle Festplatte eingehängt ist: {}", path));
  }
  if (!exists(path)) throw FernwahrungError::message(fmt::format("Nicht gefunden: {}", path));
  if (const auto error = Platform::setImmutable(path, locked)) {
    throw FernwahrungError::message(
        fmt::format("Sperre konnte nicht geändert werden: {} ({})", path, errnoText(error.value())));
  }
  Log::write(fmt::format("{}: {}", locked ? "gesperrt" : "entsperrt", path));
}

void clone(const std::string& source, const std::string& destination) {
  if (const auto error = Platform::clone(source, destination)) {
    throw FernwahrungError::message(
        fmt::format("Sicherheits-Klon konnte nicht angelegt werden ({}). Das Ziellaufwerk muss APFS sein.",
                    errnoText(error.value())));
  }
  Log::write(fmt::format("geklont: {} → {}", source, destination));
}

}  // namespace fernwahrung::FileOps
