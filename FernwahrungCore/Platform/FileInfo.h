// What lies at a path, without following a link that lies there.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <sys/types.h>

namespace fernwahrung {

enum class FileType { file, directory, symlink, other };

struct FileInfo {
  FileType type = FileType::other;
  std::int64_t size = 0;          // logical, bytes
  std::int64_t allocated = 0;     // 512 times the block count
  std::uint32_t permissions = 0;  // mode & 07777
  uid_t owner = 0;
  std::int64_t modifiedSeconds = 0;
  std::int64_t modifiedNanoseconds = 0;
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::uint64_t links = 0;
  std::uint32_t format = 0;  // mode & S_IFMT, which tells the kinds of FileType::other apart
  bool isDataless = false;   // its bytes must be fetched from a cloud first (SF_DATALESS); on the Mac only
};

namespace Platform {

/// lstat. Nothing when it fails, errno says why.
std::optional<FileInfo> fileInfo(const std::string& path);
/// The same for a name inside an open folder.
std::optional<FileInfo> fileInfoAt(int directory, const char* name);

/// Test hook: while set, items of this name count as dataless.
extern std::string datalessNameForTesting;

/// realpath; nothing when it fails.
std::optional<std::string> realPath(const std::string& path);

/// The text of a symbolic link, whatever its length; nothing when it fails.
std::optional<std::string> linkText(const std::string& path);
std::optional<std::string> linkTextAt(int directory, const char* name);

}  // namespace Platform
}  // namespace fernwahrung
