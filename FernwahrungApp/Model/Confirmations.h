// The questions asked before an operation, word for word, and what follows a yes. What they are about is
// taken by value: the caller's may be replaced by a refresh while the question stands.
#pragma once

#include "FernwahrungApp/Model/AppModel.h"

#include <string>

namespace fernwahrung::Confirmations {

void restore(AppModel& model, Relocation relocation);
/// From the details of the relocation, and, in fewer words, from the menu.
void unmount(AppModel& model, Relocation relocation);
void unmountFromMenu(AppModel& model, Relocation relocation);
void rollback(AppModel& model, Journal journal);

/// The guarded applications' file names, joined by ", ".
std::string appNames(const Relocation& relocation);

}  // namespace fernwahrung::Confirmations
