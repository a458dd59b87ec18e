#include "FernwahrungApp/Model/AvailableCommands.h"

namespace fernwahrung::AvailableCommands {
namespace {

bool isActiveImage(const Relocation& relocation) {
  return relocation.kind == RelocationKind::image && relocation.state == RelocationState::active;
}

}  // namespace

bool mount(const Relocation& relocation, const RelocationStatus* status) {
  return isActiveImage(relocation) && status && !status->mounted;
}

bool unmount(const Relocation& relocation, const RelocationStatus* status) {
  return isActiveImage(relocation) && status && status->mounted;
}

bool restore(const Relocation& relocation) {
  return relocation.state == RelocationState::active;
}

}  // namespace fernwahrung::AvailableCommands
