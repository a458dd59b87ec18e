// Which commands make sense for a relocation as it stands.
#pragma once

#include "Engine/Status.h"
#include "Records/Relocation.h"

namespace fernwahrung::AvailableCommands {

/// Only an image is mounted and unmounted: a link needs neither while it is right, and mounting does not mend
/// one that is wrong. `status` is nothing while it isn't known.
bool mount(const Relocation& relocation, const RelocationStatus* status);
bool unmount(const Relocation& relocation, const RelocationStatus* status);
bool restore(const Relocation& relocation);

}  // namespace fernwahrung::AvailableCommands
