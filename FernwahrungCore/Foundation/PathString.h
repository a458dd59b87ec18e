// Paths are plain UTF-8 strings. These are the only functions that join and split them; none touches the
// disk.
#pragma once

#include <string>
#include <string_view>

namespace fernwahrung::PathString {

/// join("/a", "b") and join("/a/", "b") are "/a/b"; join("/", "b") is "/b".
std::string join(std::string_view folder, std::string_view name);
/// "/a/b/" and "/a/b" give "b"; "/" gives "/"; "" gives "".
std::string lastComponent(std::string_view path);
/// "/a/b" gives "/a"; "/a" gives "/"; "a" gives "".
std::string parent(std::string_view path);
/// "sparsebundle" for "/a/b.sparsebundle"; "" when there is none. A leading full stop begins no extension.
std::string extension(std::string_view path);
/// "/a/b" for "/a/b.sparsebundle".
std::string withoutExtension(std::string_view path);
/// `path` equals `folder` or lies below it, by text: "/a/b" contains "/a/b/c" and not "/a/bc".
bool isInside(std::string_view path, std::string_view folder);

/// Where the Mac's data volume lies, whose folders are shown in the system volume's as well.
inline constexpr std::string_view dataVolume = "/System/Volumes/Data";
/// "/Users/a" for "/System/Volumes/Data/Users/a", which is the same place; the data volume itself and every
/// other path stay as they are.
std::string withoutDataVolume(std::string path);

}  // namespace fernwahrung::PathString
