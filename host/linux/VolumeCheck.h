// Is the file system of an attached image sound? Answered while it stays mounted.
#pragma once

#include "linux/AttachedImages.h"
#include "linux/SystemProgram.h"

namespace fernwahrung::host {

/// The checker's lines and exit code; 0 for a sound one. Nothing on the image is changed.
///
/// A checker that looks at a volume in use, or at one whose journal was never replayed, finds errors that
/// aren't there. So such a volume is checked in a copy: its metadata, taken while the kernel holds all
/// changes back, with the journal replayed into the copy as a mount would do. The copy lies in memory and
/// holds none of the files' bytes. A volume that FUSE keeps up is written through before it is looked at; it
/// has no journal. Throws Failure when no such copy can be made.
ProgramOutcome checkVolume(const AttachedImage& image);

}  // namespace fernwahrung::host
