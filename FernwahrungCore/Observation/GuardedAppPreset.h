// The applications that a new relocation's list starts with.
#pragma once

#include <string>
#include <vector>

namespace fernwahrung::GuardedAppPreset {

/// `existing` as it stands, and after it, in canonical form, those of `preset` that are application bundles
/// and not in the list yet. Pure text; see PathRules::canonical.
std::vector<std::string> merged(std::vector<std::string> existing, const std::vector<std::string>& preset);

/// Whether one of the paths, in canonical form, is the same application.
bool contains(const std::vector<std::string>& apps, const std::string& app);

}  // namespace fernwahrung::GuardedAppPreset
