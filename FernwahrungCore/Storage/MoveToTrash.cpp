// FileOps::moveToTrash. Its way across volumes is the one place of the core that removes a tree.
#include "Foundation/Errors.h"
#include "Foundation/Log.h"
#include "Foundation/PathString.h"
#include "Foundation/Paths.h"
#include "Foundation/Uuid.h"
#include "Platform/Directory.h"
#include "Platform/FileChanges.h"
#include "Platform/FileInfo.h"
#include "Platform/Trash.h"
#include "Storage/Copier.h"
#include "Storage/FileOps.h"
#include "Storage/Verifier.h"

#include <cerrno>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace fernwahrung::FileOps {
namespace {

SystemError failedMove(const std::string& path, int code) {
  return SystemError("Das Objekt kann nicht in den Papierkorb gelegt werden", path, code);
}

FileInfo infoOf(const std::string& path) {
  const auto info = Platform::fileInfo(path);
  if (!info) throw SystemError("Das Objekt kann nicht gelesen werden", path, errno);
  return *info;
}

/// Visits every item of the tree at `root`, links not followed: `enter(relativePath, type)` for each, a
/// folder before what lies in it, and `leave(relativePath)` for each folder after all of it. The root's
/// relative path is empty.
template <typename Enter, typename Leave>
void walk(const std::string& root, Enter enter, Leave leave) {
  struct Item {
    std::string path;
    bool wasEntered;
  };
  std::vector<Item> pending = {{"", false}};
  while (!pending.empty()) {
    const Item item = std::move(pending.back());
    pending.pop_back();
    if (item.wasEntered) {
      leave(item.path);
      continue;
    }
    const std::string path = PathString::join(root, item.path);
    const FileType type = infoOf(path).type;
    enter(item.path, type);
    if (type != FileType::directory) continue;
    pending.push_back({item.path, true});
    for (const std::string& name : Platform::names(path)) {
      pending.push_back({PathString::join(item.path, name), false});
    }
  }
}

/// What is mounted inside would be copied with the rest, and then removed from its own volume.
void requireNoMountInside(const std::string& root) {
  const auto check = [&](const std::string& relative, FileType type) {
    const std::string path = PathString::join(root, relative);
    if (type == FileType::directory && isMountPoint(path)) {
      throw FernwahrungError::message(fmt::format(
          "Das Objekt kann nicht in den Papierkorb gelegt werden, solange darin etwas eingehängt ist: {}",
          path));
    }
  };
  walk(root, check, [](const std::string&) {});
}

/// Tells whether an item changed while it was copied.
Verifier::Fingerprint fingerprintOf(const std::string& path) {
  const FileInfo info = infoOf(path);
  if (info.type == FileType::directory) return Verifier::fingerprint(path, false);
  return {.files = 1,
          .directories = 0,
          .bytes = info.size,
          .newestChange = static_cast<double>(info.modifiedSeconds) +
                          static_cast<double>(info.modifiedNanoseconds) / 1'000'000'000.0};
}

void copyItem(const std::string& source, FileType type, const std::string& destination) {
  if (type != FileType::symlink) {
    Copier::copyItem(source, destination);
    return;
  }
  const auto text = Platform::linkText(source);
  if (!text) throw failedMove(source, errno);
  if (const auto error = Platform::makeSymlink(*text, destination)) throw failedMove(source, error.value());
}

std::vector<std::string> differences(const std::string& source, FileType type, const std::string& copy) {
  OperationContext context;
  switch (type) {
    case FileType::directory:
      return Verifier::compare(source, copy, {.quiet = true}, context).problems;
    case FileType::file:
      if (Verifier::filesAreEqual(source, copy, context)) return {};
      return {fmt::format("Anderer Inhalt: {}", source)};
    case FileType::symlink:
      if (Platform::linkText(source) == Platform::linkText(copy)) return {};
      return {fmt::format("Symlink zeigt woanders hin: {}", source)};
    case FileType::other:
      break;
  }
  return {fmt::format("Fehlt in der Kopie: {}", copy)};
}

/// Bytes and names of the whole tree down to the medium.
void flushTree(const std::string& root) {
  const auto flushFile = [&](const std::string& relative, FileType type) {
    if (type != FileType::file) return;
    const std::string path = PathString::join(root, relative);
    if (const auto error = Platform::flushFile(path)) throw failedMove(path, error.value());
  };
  const auto flushFolder = [&](const std::string& relative) {
    const std::string path = PathString::join(root, relative);
    if (const auto error = Platform::flushDirectory(path)) throw failedMove(path, error.value());
  };
  walk(root, flushFile, flushFolder);
}

/// The item is still what was copied, as far as its size, time and link text tell. Copies keep times to the
/// microsecond.
bool isAsCopied(const std::string& path, const std::string& copy) {
  const FileInfo item = infoOf(path);
  const FileInfo copied = infoOf(copy);
  if (item.type != copied.type) return false;
  switch (item.type) {
    case FileType::file:
      return item.size == copied.size && item.modifiedSeconds == copied.modifiedSeconds &&
             item.modifiedNanoseconds / 1000 == copied.modifiedNanoseconds / 1000;
    case FileType::symlink:
      return Platform::linkText(path) == Platform::linkText(copy);
    case FileType::directory:
    case FileType::other:
      break;
  }
  return true;
}

/// Removes from the tree at `root` what the tree at `copy` holds as it lies there, and nothing else: what
/// came into it or was changed since the copy was made stays, and with it the folders around it. Throws
/// SystemError at the first item that can't be removed.
void removeCopied(const std::string& root, const std::string& copy) {
  const auto removeItem = [&](const std::string& relative, FileType type) {
    const std::string path = PathString::join(root, relative);
    if (!isAsCopied(path, PathString::join(copy, relative)))
      throw SystemError("Das Objekt hat sich geändert", path, EEXIST);
    if (type == FileType::directory) return;
    if (const auto error = Platform::unlink(path)) throw failedMove(path, error.value());
  };
  const auto removeFolder = [&](const std::string& relative) {
    const std::string path = PathString::join(root, relative);
    if (const auto error = Platform::removeDirectory(path)) throw failedMove(path, error.value());
  };
  walk(copy, removeItem, removeFolder);
}

/// The item under its temporary name in the Trash, proved and flushed.
void makeProvedCopy(const std::string& path, FileType type, const std::string& temporary) {
  const auto before = fingerprintOf(path);
  copyItem(path, type, temporary);
  if (auto problems = differences(path, type, temporary); !problems.empty()) {
    throw FernwahrungError::verificationFailed(std::move(problems));
  }
  flushTree(temporary);
  if (fingerprintOf(path) != before) {
    throw FernwahrungError::message(fmt::format(
        "Das Objekt hat sich beim Kopieren in den Papierkorb geändert und bleibt, wo es ist: {}", path));
  }
}

/// The way across volumes. A copy that is given up goes again; until the whole copy has its final name, and
/// that name is on the disk, nothing of the item itself is touched.
void copyThenRemove(const std::string& path, const std::string& trash, const std::string& target) {
  const FileType type = infoOf(path).type;
  if (type == FileType::other) throw failedMove(path, EXDEV);
  requireNoMountInside(path);

  const std::string temporary = PathString::join(trash, fmt::format(".{}.unfertig", Uuid::random().text()));
  try {
    makeProvedCopy(path, type, temporary);
    if (const auto error = Platform::renameExclusive(temporary, target))
      throw failedMove(path, error.value());
  } catch (const std::exception&) {
    try {
      if (exists(temporary)) removeCopied(temporary, temporary);
    } catch (const SystemError&) {
      // An unfinished copy that can't be removed harms nothing under its hidden name.
    }
    throw;
  }
  if (const auto error = Platform::flushDirectory(trash)) throw failedMove(path, error.value());

  try {
    removeCopied(path, target);
  } catch (const SystemError& error) {
    throw FernwahrungError::message(
        fmt::format("Das Original konnte nicht vollständig entfernt werden: {}\n"
                    "Die vollständige, geprüfte Kopie liegt im Papierkorb: {}",
                    error.what(), target));
  }
}

/// A folder can't be moved into another one while its own mode keeps its owner from writing to it. It may be
/// while this object lives; a locked one stays where it is.
class MovableFolder {
 public:
  explicit MovableFolder(const std::string& path) : path_(path) {
    const auto info = Platform::fileInfo(path);
    if (!info || info->type != FileType::directory || info->owner != ::geteuid()) return;
    if ((info->permissions & S_IWUSR) != 0 || Platform::isImmutable(path)) return;
    if (!Platform::setPermissions(path, info->permissions | S_IWUSR)) mode_ = info->permissions;
  }
  ~MovableFolder() {
    if (mode_ && path_) Platform::setPermissions(*path_, *mode_);
  }
  MovableFolder(const MovableFolder&) = delete;
  MovableFolder& operator=(const MovableFolder&) = delete;

  /// Nothing: to where nobody knows.
  void hasMoved(const std::optional<std::string>& place) { path_ = place; }

 private:
  std::optional<std::string> path_;
  std::optional<mode_t> mode_;
};

std::error_code moveByRename(const std::string& path, const std::string& target) {
  MovableFolder folder(path);
  const auto error = Platform::renameExclusive(path, target);
  if (!error) folder.hasMoved(target);
  return error;
}

std::string moveToOwnTrash(const std::string& path, const std::string& home) {
  const std::string trash = PathString::join(home, "Papierkorb");
  Paths::ensure(trash);
  std::string target =
      PathString::join(trash, fmt::format("{}-{}", Uuid::random().text(), PathString::lastComponent(path)));
  const auto error = moveByRename(path, target);
  if (!error) return target;
  if (error.value() != EXDEV) throw failedMove(path, error.value());
  copyThenRemove(path, trash, target);
  return target;
}

}  // namespace

std::optional<std::string> moveToTrash(const std::string& path) {
  if (const auto home = Paths::homeOverride()) return moveToOwnTrash(path, *home);
  MovableFolder folder(path);
  auto place = Platform::moveToTrash(path);
  folder.hasMoved(place);
  Log::write(fmt::format("in den Papierkorb: {} → {}", path, place.value_or("?")));
  return place;
}

}  // namespace fernwahrung::FileOps
