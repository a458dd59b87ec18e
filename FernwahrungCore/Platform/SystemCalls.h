// What the two systems do differently, below the public headers of this folder. Only files of this folder
// include it; each function is defined once in linux/ and once in darwin/.
#pragma once

#include <spawn.h>
#include <string>
#include <system_error>

namespace fernwahrung::System {

inline std::error_code errorCode(int errnoValue) {
  return {errnoValue, std::generic_category()};
}

std::error_code renameExclusive(const std::string& from, const std::string& to);
/// The descriptor's data down to the medium.
std::error_code flush(int fd);
/// All that was written to the volume that holds the path, down to the medium.
std::error_code flushVolume(const std::string& path);
std::error_code setImmutable(const std::string& path, bool immutable);
bool isImmutable(const std::string& path);
std::error_code clone(const std::string& from, const std::string& to);
std::error_code copyDirectoryAttributes(const std::string& from, const std::string& to);
bool foldsNames(const std::string& folder);
bool imagesFoldNames();

std::string homeDirectory();
/// A pipe with close-on-exec on both ends; 0 or the errno.
int makePipe(int ends[2]);
/// Lets the child inherit no descriptor but 0, 1 and 2: adds to the actions or to the flags. 0 or the errno.
int keepStandardStreamsOnly(posix_spawn_file_actions_t& actions, short& flags);

/// Where the Mac's tool lies, without the test hooks; `directory` is the folder a test has set, or empty.
std::string toolPath(const std::string& tool, const std::string& directory);

}  // namespace fernwahrung::System
