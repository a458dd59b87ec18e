// Small file helpers for tests. All throw std::system_error, which fails the test with the path in the
// message.
#pragma once

#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace fernwahrung {

/// Creates or replaces the file; folders above it are created.
void writeFile(const std::string& path, std::string_view bytes, mode_t mode = 0644);
std::string readFile(const std::string& path);
/// The folder and those above it.
void makeFolder(const std::string& path);
/// lstat succeeds: a dangling link exists.
bool exists(const std::string& path);
bool isFolder(const std::string& path);
/// The names in a folder, sorted.
std::vector<std::string> namesIn(const std::string& folder);

/// Sets or clears the inode's immutable flag, as chattr does. False where the file system has no such flag.
bool setImmutableFlag(const std::string& path, bool immutable);

/// Removes whatever lies at the path, trees included: lets go of mounts inside and of loop devices whose file
/// lies inside, and takes no notice of immutable flags and missing permissions. Nothing there is no error.
void removeEverything(const std::string& path);

}  // namespace fernwahrung
