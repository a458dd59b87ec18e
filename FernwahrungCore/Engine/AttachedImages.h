#pragma once

#include "Storage/DiskImage.h"

#include <optional>
#include <string>
#include <vector>

namespace fernwahrung {

/// The images attached to this machine, read once, when first asked for: what one look over many relocations
/// shares, so that it starts one hdiutil at most. A failure to read them counts as none. Not for several
/// threads.
class AttachedImages {
 public:
  /// Nothing when the image isn't attached.
  std::optional<AttachedImage> find(const std::string& imagePath);

 private:
  std::optional<std::vector<AttachedImage>> images_;
};

}  // namespace fernwahrung
