#pragma once

#include "Storage/DiskImage.h"

#include <map>
#include <optional>
#include <string>

namespace fernwahrung {

/// The images attached to this machine, read once, when first asked for: what one look over many relocations
/// shares, so that it starts one hdiutil at most. Not for several threads.
class AttachedImages {
 public:
  /// Nothing when the image isn't attached, and when the images can't be read: that is not tried again.
  std::optional<AttachedImage> find(const std::string& imagePath);
  /// Lets the next look try again after a reading that failed.
  void forgetFailure();

 private:
  void read();

  std::optional<std::map<std::string, AttachedImage>> images_;  // by normalized path
  bool failed_ = false;
};

}  // namespace fernwahrung
