#include "Engine/FaultHook.h"

#include "Foundation/Errors.h"

namespace fernwahrung::Relocator {

std::optional<std::string> failAfterStep;

void completeStep(Journal& journal, const std::string& step) {
  journal.complete(step);
  if (failAfterStep == step) throw FernwahrungError::message("Testabbruch nach Schritt " + step);
}

}  // namespace fernwahrung::Relocator
