// Paths and small files, as the tools need them. What fails throws Failure with the reason alone, in the
// words that the Mac's tools use ("Resource busy").
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace fernwahrung::host {

/// The Mac's text for an errno value.
std::string reasonOf(int error);

/// Relative paths begin at the present folder. Touches nothing.
std::string absolutePath(const std::string& path);
/// Links and dots resolved; the path must exist.
std::string canonicalPath(const std::string& path);
/// The same for a path whose last component is left as it is and need not answer: a mount point may lead to a
/// file system whose drive is gone.
std::string canonicalPlace(const std::string& path);

/// Nothing, with errno set, when it can't be read.
std::optional<std::string> fileText(const std::string& path);
/// Creates or replaces the file, and flushes it.
void writeWholeFile(const std::string& path, std::string_view bytes);
void flushFolder(const std::string& path);

}  // namespace fernwahrung::host
