#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace fernwahrung::Platform {

/// Bytes that deleting the file frees at once: what it has on the medium and shares with no clone and no
/// snapshot. Further names of the same file are not considered. Nothing when it can't be told, and for what
/// is no file; a link is not followed. Data not yet written may be written first. Darwin:
/// ATTR_CMNEXT_PRIVATESIZE. Linux: the extents that are not shared, of a file that may be read.
std::optional<std::int64_t> privateSize(const std::string& path);

}  // namespace fernwahrung::Platform
