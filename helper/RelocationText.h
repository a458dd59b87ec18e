// Relocations as people read them.
#pragma once

#include "Engine/Status.h"
#include "Records/Relocation.h"

#include <string>
#include <vector>

namespace fernwahrung::RelocationText {

/// One row each, with the findings below it; `statuses` in the order of `relocations`.
std::string table(const std::vector<Relocation>& relocations, const std::vector<RelocationStatus>& statuses);
/// Everything about one.
std::string details(const Relocation& relocation, const RelocationStatus& status);

}  // namespace fernwahrung::RelocationText
