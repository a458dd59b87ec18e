// File-system primitives on path strings. Almost all look at a path itself (lstat), so that a mount point, a
// real folder and a symbolic link stay distinct at the same path. Stateless; any thread.
#pragma once

#include "Foundation/OperationContext.h"
#include "Platform/FileInfo.h"
#include "Records/AtomicWrite.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <sys/types.h>
#include <vector>

namespace fernwahrung {

struct TreeSize {
  std::int64_t bytes = 0;           // logical sizes of all plain files
  std::int64_t allocatedBytes = 0;  // what those files occupy
  std::int64_t files = 0;           // plain files and all else that is neither folder nor link
  std::int64_t directories = 0;     // without the root
  std::int64_t symlinks = 0;

  std::int64_t entries() const { return files + directories + symlinks; }
  bool operator==(const TreeSize&) const = default;
};

struct OpenFile {
  std::int32_t pid = 0;
  std::string command;
  std::string access;  // "r", "w", "u" or empty, as lsof gives it
  std::string path;

  bool isWriting() const;
  auto operator<=>(const OpenFile&) const = default;
};

namespace FileOps {

/// Names of processes whose open files never stand in the way.
extern const std::set<std::string> harmlessReaders;

// Queries that cannot fail.

bool exists(const std::string& path);  // a dangling link exists
bool isDirectory(const std::string& path);
bool isSymlink(const std::string& path);
bool isLocked(const std::string& path);
std::optional<std::string> fileSystemType(const std::string& path);
std::optional<std::int64_t> freeBytes(const std::string& path);
std::optional<std::int64_t> usedBytesOnVolume(const std::string& path);
/// The link's text as stored.
std::optional<std::string> symlinkDestination(const std::string& path);
/// A folder, by lstat, on which a volume is mounted. A link never is one.
bool isMountPoint(const std::string& path);
/// Makes two spellings of one place comparable: "~", "~user", "." and ".." resolved, links resolved if the
/// path exists, "/System/Volumes/Data" in front dropped.
std::string normalize(const std::string& path);
/// Only a real, empty folder that is no mount point goes; false leaves everything as it was.
bool removeEmptyDirectory(const std::string& path);
/// All open files of the machine at or under the path, by ascending process id; one lsof, whatever it finds.
std::vector<OpenFile> openFiles(const std::string& folder);
/// Those of the applications whose executable folder has a running process, in their order.
std::vector<std::string> runningApps(const std::vector<std::string>& appPaths);

/// Makes durable that the name at the path came or went, so that after a power cut the disk is not behind
/// what the program's records say. A failure counts for nothing: some file systems of external drives refuse
/// to flush a folder.
void flushName(const std::string& path);

// Operations that throw. Those that make or change a name make it durable before they return.

/// Returns where the item lies now, when known. With FERNWAHRUNG_HOME set it goes to "Papierkorb" in it;
/// across volumes that is a copy, proved, and only then a removal, and at each instant one whole item exists.
std::optional<std::string> moveToTrash(const std::string& path);
/// Sees each entry of a tree that is measured, those of one folder in a row.
using EntryVisitor =
    std::function<void(const std::string& folder, const std::string& name, const FileInfo& info)>;
/// Throws SystemError when a folder of the tree can't be listed, FernwahrungError::cancelled; no partial
/// result.
TreeSize treeSize(const std::string& path, bool isVolumeRoot, const OperationContext* context,
                  const EntryVisitor& visit = {});
/// One level; the mode of `like` if that exists, else 0755. `extraMode` is added to it: S_IRWXU for a folder
/// that its maker must fill whatever the model's mode forbids, and which gets its exact mode afterwards.
void createDirectory(const std::string& path, const std::optional<std::string>& like, mode_t extraMode = 0);
/// ".DS_Store" counts as an entry. Throws SystemError.
bool isDirectoryEmpty(const std::string& path);
void renameExclusive(const std::string& source, const std::string& destination);
void setLocked(const std::string& path, bool locked);
void clone(const std::string& source, const std::string& destination);

/// The records of an lsof run with "-F pcan" at or under `normalizedFolder`, by ascending process id.
std::vector<OpenFile> parseOpenFiles(const std::string& lsofOutput, const std::string& normalizedFolder);

}  // namespace FileOps
}  // namespace fernwahrung
