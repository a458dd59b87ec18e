// What the user wants: the input of a preflight and of an offloading.
#pragma once

#include "Records/Relocation.h"

#include <cstdint>
#include <string>
#include <vector>

namespace fernwahrung {

struct RelocationPlan {
  std::string name;
  RelocationKind kind = RelocationKind::image;
  std::string sourcePath;           // the folder to offload
  std::string storageDirectory;     // the folder on the external drive
  std::int64_t imageSizeBytes = 0;  // the image's maximum size; ignored for a symlink
  std::vector<std::string> guardedAppPaths;
  bool spotlight = false;

  /// The name as a file name: all but letters, marks, digits, "-", "_", " " and "." becomes "_";
  /// "Fernwahrung" if nothing is left.
  std::string safeName() const;
  std::string storagePath() const;
};

}  // namespace fernwahrung
