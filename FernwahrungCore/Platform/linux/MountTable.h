// The kernel's table of mounts, /proc/self/mountinfo as proc(5) describes it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace fernwahrung {

struct MountEntry {
  std::uint64_t mountId = 0;
  std::uint64_t parentId = 0;
  unsigned deviceMajor = 0;
  unsigned deviceMinor = 0;
  std::string root;          // the folder of the file system that forms the root of this mount
  std::string mountPoint;    // relative to the process's root, escapes resolved
  std::string fsType;        // "ext4", "fuse.sshfs" …
  std::string source;        // "/dev/loop0", "none" …
  std::string options;       // of this mount: "ro,nosuid"
  std::string superOptions;  // of the file system behind it

  bool operator==(const MountEntry&) const = default;
};

namespace MountTable {

/// The entries in the order of the text, which is the order of mounting within one parent: of several on one
/// mount point the last hides the others. Lines that don't have the documented form are skipped.
std::vector<MountEntry> parse(std::string_view mountInfo);

/// The kernel's table now. Throws SystemError.
std::vector<MountEntry> read();

}  // namespace MountTable
}  // namespace fernwahrung
