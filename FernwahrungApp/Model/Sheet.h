#pragma once

#include "Records/Relocation.h"

#include <optional>
#include <string>

namespace fernwahrung {

/// The dialog that the main window is to show.
struct Sheet {
  enum class Kind {
    resize,
    move,
    guardedApps,
    newRelocation,
    adopt,
    settings,
    status,
    protocolLog,
    recovery
  };

  Kind kind = Kind::newRelocation;
  std::optional<Relocation> relocation = {};  // for resize, move and guardedApps

  /// Differs for every two sheets that are not the same one.
  std::string id() const;
  bool operator==(const Sheet&) const = default;
};

}  // namespace fernwahrung
