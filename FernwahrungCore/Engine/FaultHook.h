#pragma once

#include "Records/Journal.h"

#include <optional>
#include <string>

namespace fernwahrung::Relocator {

/// Fault hook, for tests: the operation fails right after completing the step of this name.
extern std::optional<std::string> failAfterStep;

/// Notes the step in the journal, then looks at the hook. Every step of every operation ends with this.
void completeStep(Journal& journal, const std::string& step);

}  // namespace fernwahrung::Relocator
