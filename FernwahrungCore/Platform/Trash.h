// The user's Trash.
#pragma once

#include <optional>
#include <string>

namespace fernwahrung::Platform {

/// Moves the item to the Trash of its volume and tells where it is now, when the system says so. Throws
/// SystemError, and then the item lies where it was. Darwin: NSFileManager trashItem. Linux: the
/// freedesktop.org Trash, by rename only: "$XDG_DATA_HOME/Trash" on the home volume, ".Trash-{uid}" at the
/// top of any other.
std::optional<std::string> moveToTrash(const std::string& path);

}  // namespace fernwahrung::Platform
