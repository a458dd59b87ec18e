#pragma once

#include <string>

namespace fernwahrung::Relocator {

/// Asks the system to index the volume mounted at the path. Every failure is passed over: an image without an
/// index serves its application as well.
void enableIndexing(const std::string& mountPoint) noexcept;

}  // namespace fernwahrung::Relocator
