#include "linux/diskutil/Verbs.h"

#include "Foundation/PropertyList.h"

#include <iostream>

namespace fernwahrung::host::Diskutil {

/// There are no APFS containers on this machine.
int apfs(const Arguments& arguments) {
  if (arguments != Arguments{"list", "-plist"}) throw Failure("Usage:  diskutil apfs list -plist");
  std::cout << PropertyList::printXml({{"Containers", nlohmann::json::array()}});
  return 0;
}

}  // namespace fernwahrung::host::Diskutil
