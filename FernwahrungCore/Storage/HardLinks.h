// Files with several names in a tree that was copied entry by entry.
#pragma once

#include <string>

namespace fernwahrung::HardLinks {

/// A file that had names in several entries of the source's top folder has come out as several files. Makes
/// them one again, name by name, and keeps the times of the folders around them. What does not lie in the
/// copy as it lies in the source is passed over: the comparison tells of it. Throws SystemError.
void rejoin(const std::string& source, const std::string& copy);

}  // namespace fernwahrung::HardLinks
