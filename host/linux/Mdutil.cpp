#include "linux/Tools.h"

#include <iostream>

namespace fernwahrung::host {

/// There is no index of volumes to switch on here, which is what the tool says of a volume that can't have
/// one.
int mdutil(const Arguments& arguments) {
  if (arguments.size() != 3 || arguments[0] != "-i" || (arguments[1] != "on" && arguments[1] != "off")) {
    throw Failure("Usage: mdutil -i on|off volume");
  }
  std::cout << arguments[2] << ":\n\tIndexing and searching disabled." << std::endl;
  return 1;
}

}  // namespace fernwahrung::host
