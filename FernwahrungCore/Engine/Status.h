// In what state is a relocation now? A pure reading of the disk.
#pragma once

#include "Engine/AttachedImages.h"
#include "Records/Relocation.h"

#include <string>
#include <vector>

namespace fernwahrung {

struct RelocationStatus {
  enum class Health { ok, warning, error };

  Health health = Health::ok;
  std::string summary;               // one short line
  std::vector<std::string> details;  // the longer findings
  bool mounted = false;              // the image is mounted at the folder, or the link is right
  bool storageAvailable = false;
  bool locked = false;        // the mount-point folder carries the lock
  bool accessDenied = false;  // privacy protection, not the permission bits, denies reading the folder
  bool operator==(const RelocationStatus&) const = default;
};

std::string rawValue(RelocationStatus::Health health);

namespace Relocator {

/// Takes no lock; beside a running operation it may show a passing state. Starts no process for a mounted
/// image.
RelocationStatus status(const Relocation& relocation);

/// The same within a look over many relocations, which share one reading of the attached images.
RelocationStatus status(const Relocation& relocation, AttachedImages& attached);

}  // namespace Relocator
}  // namespace fernwahrung
