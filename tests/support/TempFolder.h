#pragma once

#include "support/ScopedEnvironment.h"

#include <string>
#include <string_view>

namespace fernwahrung {

/// A fresh, empty folder (mode 0755, canonical path) that goes with the object, whatever was left in it:
/// mounts, immutable flags, folders without permissions.
///   TempFolder folder;
///   writeFile(folder / "a/b.txt", "bytes");
class TempFolder {
 public:
  /// In `parent`, or in the system's temporary folder.
  explicit TempFolder(const std::string& parent = "");
  ~TempFolder();
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  const std::string& path() const { return path_; }
  std::string operator/(std::string_view relative) const { return path_ + "/" + std::string(relative); }

 private:
  std::string path_;
};

/// A temporary folder that holds all private files while it lives: FERNWAHRUNG_HOME names it. The user's
/// Trash is redirected below it as well, so that nothing reaches the real home.
class TempHome : public TempFolder {
 public:
  explicit TempHome(const std::string& parent = "");

 private:
  ScopedEnvironment home_;
  ScopedEnvironment data_;
};

}  // namespace fernwahrung
