// Reading folders: the only place that calls readdir, with errno cleared before and looked at after each
// call.
#pragma once

#include "Platform/FileInfo.h"

#include <dirent.h>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace fernwahrung {

/// An open folder. An unreadable folder never looks like an empty one: every failure throws SystemError
/// ("Der Ordner kann nicht gelesen werden: {path} ({reason})").
class Directory {
 public:
  explicit Directory(const std::string& path);

  /// The next name but "." and ".."; nothing at the end. The text is valid until the next call.
  const char* next();
  std::optional<FileInfo> info(const char* name) const { return Platform::fileInfoAt(descriptor(), name); }
  int descriptor() const;
  const std::string& path() const { return path_; }

  /// All remaining names, unsorted.
  std::vector<std::string> names();

 private:
  struct Closer {
    void operator()(DIR* stream) const { ::closedir(stream); }
  };
  std::string path_;
  std::unique_ptr<DIR, Closer> stream_;
};

namespace Platform {

/// The names in a folder, unsorted. Throws SystemError.
std::vector<std::string> names(const std::string& directory);

}  // namespace Platform
}  // namespace fernwahrung
