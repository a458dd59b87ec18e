#include "Engine/Spotlight.h"

#include "Foundation/Shell.h"

#include <exception>

namespace fernwahrung::Relocator {

void enableIndexing(const std::string& mountPoint) noexcept {
  try {
    Shell::run("/usr/bin/mdutil", {"-i", "on", mountPoint}, {.check = false, .log = true});
  } catch (const std::exception&) {
    // it could not be started: nothing to index with
  }
}

}  // namespace fernwahrung::Relocator
