// Every system call of the core that changes a name or a small file goes through here, one function per call,
// so that there is one door to look at when one asks what the disk sees. The error code is empty on success;
// its message() is the system's text.
#pragma once

#include "Platform/FileInfo.h"

#include <string>
#include <string_view>
#include <sys/types.h>
#include <system_error>

namespace fernwahrung::Platform {

std::error_code makeDirectory(const std::string& path, mode_t mode);
std::error_code removeDirectory(const std::string& path);
std::error_code unlink(const std::string& path);
std::error_code makeSymlink(const std::string& text, const std::string& path);
std::error_code hardLink(const std::string& existing, const std::string& path);
std::error_code rename(const std::string& from, const std::string& to);
/// Fails with EEXIST rather than replacing anything. A file system that can't promise that gives ENOTSUP or
/// EINVAL: there is no unsafe fallback. Darwin: renamex_np with RENAME_EXCL; Linux: renameat2 with
/// RENAME_NOREPLACE.
std::error_code renameExclusive(const std::string& from, const std::string& to);

/// A new, empty file (mode 0644); EEXIST if anything lies there.
std::error_code createFile(const std::string& path);
/// Writes the data into the existing file and flushes it to the disk itself. Darwin: F_FULLFSYNC, and a plain
/// fsync where a file system refuses that, as external drives do.
std::error_code writeAndFlush(const std::string& path, std::string_view data);
/// The bytes of a file down to the disk; ELOOP for a link.
std::error_code flushFile(const std::string& path);
/// Makes the folder's names durable.
std::error_code flushDirectory(const std::string& path);
/// Waits until all that was written to the volume that holds the path lies on the medium. Darwin:
/// sync_volume_np(3); Linux: syncfs(2).
std::error_code flushVolume(const std::string& path);

/// The flag that keeps even the owner from changing the folder (UF_IMMUTABLE on the Mac). All other flags
/// stay. Linux: the inode's immutable flag for root; for an ordinary user the folder loses its write
/// permissions and keeps them in an extended attribute.
std::error_code setImmutable(const std::string& path, bool immutable);
bool isImmutable(const std::string& path);

/// A copy that shares its blocks with the source, of a file or a whole tree, and exists wholly or not at all.
/// EEXIST if the destination exists. Darwin: clonefile with flags 0; Linux: reflinks, file by file.
std::error_code clone(const std::string& from, const std::string& to);

/// The permission bits, times, attributes and, where allowed, the owner of one folder put onto another; the
/// contents of neither are looked at.
std::error_code copyDirectoryAttributes(const std::string& from, const std::string& to);

/// The permission bits of an item; a link is not followed.
std::error_code setPermissions(const std::string& path, mode_t mode);
/// The modification time of one item, with its nanoseconds, put onto another; a link is not followed.
std::error_code setModificationTime(const std::string& path, const FileInfo& like);

/// Test hook: is told of each successful change, in order, before the call returns. Null for none.
class ChangeObserver {
 public:
  virtual ~ChangeObserver() = default;
  virtual void madeDirectory(const std::string& path) = 0;
  virtual void removedDirectory(const std::string& path) = 0;
  virtual void unlinked(const std::string& path) = 0;
  virtual void madeLink(const std::string& existing, const std::string& path) = 0;
  virtual void madeSymlink(const std::string& text, const std::string& path) = 0;
  virtual void renamed(const std::string& from, const std::string& to) = 0;
  virtual void created(const std::string& path) = 0;
  virtual void wrote(const std::string& path, std::string_view data) = 0;
  virtual void flushed(const std::string& path) = 0;
  virtual void flushedDirectory(const std::string& path) = 0;
  virtual void changedImmutable(const std::string& /*path*/, bool /*immutable*/) {}
  virtual void cloned(const std::string& /*from*/, const std::string& /*to*/) {}
  virtual void copiedAttributes(const std::string& /*from*/, const std::string& /*to*/) {}
  virtual void flushedVolume(const std::string& /*path*/) {}
};
/// Set it while no other thread changes anything.
void observeChanges(ChangeObserver* observer);

}  // namespace fernwahrung::Platform
