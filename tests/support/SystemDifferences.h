// What each system spells differently, for the tests' own use, beside what the core does with it. Defined in
// linux/ and darwin/. Failures are -1 (or false) and errno, as with the calls beneath.
#pragma once

#include <cstdint>
#include <string>
#include <sys/stat.h>
#include <sys/types.h>

namespace fernwahrung {

/// The flag that keeps even the owner from changing a file or folder.
bool changeImmutable(int fd, bool immutable);

/// Extended attributes of what lies at the path itself, links not followed.
int setAttributeAt(const std::string& path, const char* name, const std::string& value);
ssize_t attributeAt(const std::string& path, const char* name, void* value, std::size_t size);
ssize_t attributeNamesAt(const std::string& path, char* names, std::size_t size);

std::int64_t modifiedNanoseconds(const struct stat& info);

}  // namespace fernwahrung
