// Is a folder truly empty? A folder that can't be read is never taken for an empty one.
#pragma once

#include "Foundation/Dates.h"

#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <vector>

namespace fernwahrung {

struct DirectoryState {
  enum class Kind { unreadable, empty, notEmpty, accessDenied };
  Kind kind = Kind::unreadable;
  std::string reason;  // the system's text, for unreadable only

  static DirectoryState unreadable(std::string reason) { return {Kind::unreadable, std::move(reason)}; }
  static DirectoryState empty() { return {Kind::empty, {}}; }
  static DirectoryState notEmpty() { return {Kind::notEmpty, {}}; }
  static DirectoryState accessDenied() { return {Kind::accessDenied, {}}; }
  bool operator==(const DirectoryState&) const = default;
};

struct DirectoryContents {
  std::int64_t entries = 0;      // directly in the folder
  std::int64_t files = 0;        // at all depths; links and the like too
  std::int64_t directories = 0;  // at all depths, the root not counted
  std::int64_t bytes = 0;        // logical, without links
  std::optional<Date> newestChange = {};
  std::vector<std::string> sample = {};  // the first names, sorted
  bool truncated = false;                // the walk stopped at its cap

  /// One to three lines for the question put to the user.
  std::string summaryText() const;
  bool operator==(const DirectoryContents&) const = default;
};

/// A folder to mount over holds data.
class MountPointNotEmptyError : public std::exception {
 public:
  MountPointNotEmptyError(std::string path, DirectoryContents contents);
  const std::string& path() const { return path_; }
  const DirectoryContents& contents() const { return contents_; }
  const char* what() const noexcept override { return description_.c_str(); }
  bool operator==(const MountPointNotEmptyError& other) const {
    return path_ == other.path_ && contents_ == other.contents_;
  }

 private:
  std::string path_;
  DirectoryContents contents_;
  std::string description_;
};

/// The external drive is absent.
class StorageMissingError : public std::exception {
 public:
  explicit StorageMissingError(std::string path);
  const std::string& path() const { return path_; }
  const char* what() const noexcept override { return description_.c_str(); }

 private:
  std::string path_;
  std::string description_;
};

/// A folder to mount over can't be read. `alreadyUnmounted`: the caller has just unmounted the image to look
/// underneath it, and it stays unmounted.
class AccessDeniedError : public std::exception {
 public:
  AccessDeniedError(std::string path, bool alreadyUnmounted);
  const std::string& path() const { return path_; }
  bool alreadyUnmounted() const { return alreadyUnmounted_; }
  /// True when the owner's own permission bits forbid the reading, false when it is the system's privacy
  /// protection.
  bool isUnixPermission() const;
  const char* what() const noexcept override { return description_.c_str(); }

 private:
  std::string path_;
  bool alreadyUnmounted_;
  std::string description_;
};

namespace FileOps {

/// Stops at the first entry, whatever it is, ".DS_Store" included. Never fails.
DirectoryState directoryState(const std::string& path);
/// Counts at most `cap` names. Never fails; folders that can't be listed are passed over.
DirectoryContents describeContents(const std::string& path, std::int64_t cap, std::size_t sampleLimit);
/// The names, when the folder holds nothing but what macOS leaves behind; nothing for an empty folder, for
/// any other content and for one that can't be listed.
std::optional<std::vector<std::string>> onlyMacOSNoise(const std::string& path);

/// Fault hook: while set, reading a folder's state (and isDirectoryEmpty) fails with this errno.
extern std::optional<int> readdirErrorForTesting;

}  // namespace FileOps
}  // namespace fernwahrung
