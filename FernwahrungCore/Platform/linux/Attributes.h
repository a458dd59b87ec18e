// The attributes of open files and folders.
#pragma once

#include <sys/stat.h>
#include <system_error>

namespace fernwahrung::System {

/// The extended attribute that holds the permission bits of a folder that an ordinary user has locked.
inline constexpr const char* lockMarker = "user.fernwahrung.gesperrt";

/// Puts owner (where allowed), extended attributes with the access lists, permission bits and times of one
/// open file or folder onto another. `status` is that of `from`. The lock marker is no attribute of the data
/// and stays behind.
std::error_code copyAttributes(int from, const struct stat& status, int to);

}  // namespace fernwahrung::System
