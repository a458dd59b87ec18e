// The questions asked before an operation, word for word, and what follows a yes.
#pragma once

#include "FernwahrungApp/Model/AppModel.h"

#include <string>

namespace fernwahrung::Confirmations {

void restore(AppModel& model, const Relocation& relocation);
void unmount(AppModel& model, const Relocation& relocation);
void rollback(AppModel& model, const Journal& journal);

/// The guarded applications' file names, joined by ", ".
std::string appNames(const Relocation& relocation);

}  // namespace fernwahrung::Confirmations
