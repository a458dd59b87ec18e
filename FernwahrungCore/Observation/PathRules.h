// What a path means for the question which folder could be offloaded. Pure text; nothing touches the disk.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace fernwahrung::PathRules {

std::vector<std::string> components(const std::string& path);
/// Without the data volume's prefix, ".", repeated and trailing slashes; a relative path as it stands.
std::string canonical(const std::string& path);
/// canonical in precomposed form: the key under which both spellings of a name meet.
std::string key(const std::string& path);
/// Without the last component; "/" if there is none.
std::string directory(const std::string& path);
bool isTooGeneral(const std::string& path, const std::string& home);
bool isSystem(const std::string& path, const std::optional<std::string>& appBundle);
/// The folder that stands for a whole application.
std::string mainFolder(const std::string& path, const std::string& home);
/// Cut to a depth below its main folder; a path outside it as it is.
std::string collapse(const std::string& path, const std::string& main, int maxDepthBelowMain);
std::string title(const std::string& main, const std::string& home);

}  // namespace fernwahrung::PathRules
