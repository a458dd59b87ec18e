#include "linux/Tools.h"
#include "linux/TreeCopy.h"

#include "Foundation/PathString.h"

#include <sys/stat.h>

namespace fernwahrung::host {
namespace {

bool isFolder(const std::string& path) {
  struct stat status;
  return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

}  // namespace

int ditto(const Arguments& arguments) {
  if (arguments.size() != 2 || arguments[0].starts_with('-')) throw Failure("Usage: ditto src dst");
  const std::string& source = arguments[0];
  const std::string& destination = arguments[1];
  // A file goes into a folder that is there; a folder's contents are merged into it.
  const bool goesInto = isFolder(destination) && !isFolder(source);
  const std::string place =
      goesInto ? PathString::join(destination, PathString::lastComponent(source)) : destination;
  return TreeCopy().copy(source, place) ? 0 : 1;
}

}  // namespace fernwahrung::host
