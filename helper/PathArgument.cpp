#include "helper/PathArgument.h"

#include "Foundation/Errors.h"
#include "Foundation/PathString.h"
#include "Foundation/Text.h"
#include "Platform/FileInfo.h"

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <unistd.h>

namespace fernwahrung {

namespace {

std::string workingFolder() {
  // Without a buffer the C library gives one of the right size, on both systems.
  const std::unique_ptr<char, decltype(&std::free)> folder(::getcwd(nullptr, 0), &std::free);
  if (!folder) throw SystemError("Der aktuelle Ordner kann nicht ermittelt werden", ".", errno);
  return folder.get();
}

}  // namespace

std::string absolutePath(const std::string& argument) {
  const bool isAbsolute = !argument.empty() && argument.front() == '/';
  const std::string whole = isAbsolute ? argument : PathString::join(workingFolder(), argument);
  std::string path = "/";
  for (const std::string& component : Text::split(whole, '/')) {
    if (component == ".") continue;
    path = component == ".." ? PathString::parent(Platform::realPath(path).value_or(path))
                             : PathString::join(path, component);
  }
  return path;
}

}  // namespace fernwahrung
