// The note that keeps the program from mounting what it has just taken down, before an eject or before sleep.
// It is shared by the application and the helper.
#pragma once

#include "Foundation/Dates.h"
#include "Foundation/Json.h"
#include "Records/Relocation.h"

#include <optional>
#include <string>
#include <vector>

namespace fernwahrung {

/// Persisted as "pause.json" in Paths::supportDirectory. Nothing here reports a failure: a pause that can't
/// be stored is lost, and the program behaves as if there were none. Without a lock; each change reads and
/// replaces the file.
struct MountPause {
  struct Entry {
    std::optional<std::string> volume;  // a mount path, as "/Volumes/Extern"; nothing: all drives
    Date since;
    Date until;  // when it ends by itself
    std::string reason;
    bool operator==(const Entry&) const = default;
  };

  std::vector<Entry> entries;

  /// The entries that have not run out. A missing or damaged file holds none.
  static MountPause load();
  void save() const;

  /// Replaces an entry of the same volume.
  static void set(const std::optional<std::string>& volume, double seconds, const std::string& reason);
  static void clear(const std::optional<std::string>& volume);

  /// The entry that keeps the relocation from being mounted. A pause of one volume ends when the volume is
  /// there again after the first 60 seconds; it is then removed from the file.
  std::optional<Entry> isPaused(const Relocation& relocation) const;

  bool operator==(const MountPause&) const = default;
};

/// An entry in the form of the file; without a volume the key is left out.
Json::Value toJson(const MountPause::Entry& entry);

}  // namespace fernwahrung
