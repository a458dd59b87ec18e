#pragma once

#include <string>

namespace fernwahrung {

/// The absolute path of a path from the command line, without ".", "..", repeated and trailing slashes. Links
/// stay as they are, but for those in front of a "..", which leads to the parent of the folder the kernel
/// sees. Throws SystemError when the working folder is gone.
std::string absolutePath(const std::string& argument);

}  // namespace fernwahrung
