#pragma once

#include <cstdint>
#include <string>

namespace fernwahrung {

/// Whole decimal gigabytes as a user types them, in bytes; from 1 to 1,000,000. Throws UsageError.
std::int64_t sizeInBytes(const std::string& gigabytes);

}  // namespace fernwahrung
