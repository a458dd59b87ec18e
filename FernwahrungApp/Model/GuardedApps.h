// The applications that use a relocation's data, as a sheet edits them.
#pragma once

#include "FernwahrungApp/Model/Questions.h"

#include <string>
#include <vector>

namespace fernwahrung::GuardedApps {

/// The list with one more application, which the user chooses; as it was when the user cancels or when the
/// list holds that application already, in whatever spelling.
std::vector<std::string> withAnother(Questions& questions, std::vector<std::string> apps);

}  // namespace fernwahrung::GuardedApps
