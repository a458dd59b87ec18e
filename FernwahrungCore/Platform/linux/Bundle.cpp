#include "Platform/Bundle.h"

#include <nlohmann/json.hpp>

namespace fernwahrung::Platform {

std::optional<nlohmann::json> localizedInfoDictionary(const std::string& /*bundlePath*/) {
  return std::nullopt;
}

}  // namespace fernwahrung::Platform
