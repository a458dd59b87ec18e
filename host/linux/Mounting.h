// The two ways in which an image becomes a volume.
#pragma once

#include "linux/SparseBundle.h"

#include <string>

namespace fernwahrung::host::Mounting {

/// Root has the kernel mount it; anyone else has a FUSE process.
bool usesKernel();

/// `band` is open and locked; the lock passes to who keeps the volume up. The mount is there on return, and
/// nothing is left on failure. Both throw Failure with the reason alone.
void mountByKernel(int band, const std::string& mountPoint, bool readOnly);
void mountByFuse(const SparseBundle& bundle, int band, const std::string& mountPoint, bool readOnly);

/// The image's path as a value in a list of mount options.
std::string escapedOption(const std::string& value);

}  // namespace fernwahrung::host::Mounting
