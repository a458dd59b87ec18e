// Files with several names in a tree that was copied entry by entry.
#pragma once

#include "Foundation/OperationContext.h"

#include <string>
#include <vector>

namespace fernwahrung::HardLinks {

/// A file that had names in several of these entries of the source's top folder has come out as several
/// files. Makes them one again, name by name, and keeps the times of the folders around them. What does not
/// lie in the copy as it lies in the source is passed over: the comparison tells of it. Where the copy allows
/// no second name the files stay as they are, which costs room and loses nothing; the log says so. Throws
/// SystemError, FernwahrungError::cancelled.
void rejoin(const std::string& source, const std::vector<std::string>& entries, const std::string& copy,
            const OperationContext& context);

}  // namespace fernwahrung::HardLinks
