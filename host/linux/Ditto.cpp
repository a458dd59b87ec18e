#include "linux/Tools.h"

#include "Foundation/Errors.h"

#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>

namespace fernwahrung::host {

int ditto(const Arguments& arguments) {
  if (arguments.size() != 2 || arguments[0].starts_with('-')) {
    throw Failure("Usage: ditto src dst");
  }
  ::execl("/bin/cp", "cp", "-a", "--reflink=auto", "--no-target-directory", "--", arguments[0].c_str(),
          arguments[1].c_str(), nullptr);
  throw Failure("ditto: cp: " + errnoText(errno));
}

}  // namespace fernwahrung::host
