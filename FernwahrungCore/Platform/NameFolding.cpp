#include "Platform/NameFolding.h"

#include "Platform/SystemCalls.h"

namespace fernwahrung::Platform {

std::optional<bool> foldsNamesForTesting;

bool foldsNames(const std::string& folder) {
  return foldsNamesForTesting.value_or(System::foldsNames(folder));
}

bool imagesFoldNames() {
  return foldsNamesForTesting.value_or(System::imagesFoldNames());
}

}  // namespace fernwahrung::Platform
