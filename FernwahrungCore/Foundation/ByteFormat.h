// Sizes as people read them.
#pragma once

#include <cstdint>
#include <string>

namespace fernwahrung::ByteFormat {

/// The platform's byte count in file style. Defined by Platform: the system's own formatter on the Mac,
/// german() elsewhere.
std::string string(std::int64_t bytes);

/// The file style in German: powers of 1000; whole bytes and KB, at most one decimal for MB and two above;
/// trailing zeros dropped; half away from zero; "Null KB", "1 Byte", "999 Byte", "12,3 MB", "1,23 GB".
std::string german(std::int64_t bytes);

}  // namespace fernwahrung::ByteFormat
