// The ext4 file system in an image, by way of e2fsprogs. `band` is the open, locked file; the programs
// inherit it. All throw Failure with the reason alone.
#pragma once

#include "linux/SystemProgram.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace fernwahrung::host::FileSystem {

/// A new one over the whole file: no reserved blocks, no "lost+found", the root folder the caller's with mode
/// 0755. Nothing is written that a later use would write anyway, so the file stays almost empty.
void make(const std::string& file, int band, std::int64_t bytes, const std::string& volumeName);

/// What ext4 has room for, cut between two characters.
std::string label(const std::string& volumeName);

/// Replays the journal and mends what can be mended without asking; with `discard` gives free blocks back to
/// the drive.
void repair(const std::string& file, int band, bool discard);

/// The smallest size that the programs consider safe.
std::int64_t minimumBytes(const std::string& file, int band);

/// To the given size, which the file must have room for.
void resize(const std::string& file, int band, std::int64_t bytes);

/// Looks at all of it without writing. 0: sound.
ProgramOutcome check(const std::string& fileOrDevice, int keptOpen = -1);

/// The journal holds changes that the file system doesn't have yet: it was not detached cleanly.
bool needsReplay(int fileOrDevice);

/// Blocks times their size in what `resize2fs -P` prints.
std::int64_t parseMinimumBlocks(std::string_view output);

}  // namespace fernwahrung::host::FileSystem
