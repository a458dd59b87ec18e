// The temporary folder of a Mac lies on its internal disk, which clones.
#include "../Places.h"

#include <sys/stat.h>
#include <unistd.h>

namespace fernwahrung::contract {

struct CloningFolder::State {
  TempFolder folder;
};

CloningFolder::CloningFolder() : state_(std::make_unique<State>()) {
}
CloningFolder::~CloningFolder() = default;

const std::string& CloningFolder::path() const {
  return state_->folder.path();
}

// Images are there for everyone on a Mac; one that can not be mounted is a finding.
std::optional<std::string> mountingUnavailable() {
  return std::nullopt;
}

bool setNoDumpFlag(const std::string& path) {
  struct stat status;
  return ::lstat(path.c_str(), &status) == 0 && ::chflags(path.c_str(), status.st_flags | UF_NODUMP) == 0;
}

bool hasNoDumpFlag(const std::string& path) {
  struct stat status;
  return ::lstat(path.c_str(), &status) == 0 && (status.st_flags & UF_NODUMP);
}

}  // namespace fernwahrung::contract
