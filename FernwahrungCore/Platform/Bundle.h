#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

namespace fernwahrung::Platform {

/// The localized dictionary of an application bundle in the user's language; nothing when there is none.
/// Darwin: NSBundle localizedInfoDictionary. Linux: none.
std::optional<nlohmann::json> localizedInfoDictionary(const std::string& bundlePath);

}  // namespace fernwahrung::Platform
