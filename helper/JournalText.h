// Operations as people read them.
#pragma once

#include "Records/Journal.h"

#include <string>
#include <vector>

namespace fernwahrung::JournalText {

/// One row each, the unfinished ones first.
std::string table(const std::vector<Journal>& unfinished, const std::vector<Journal>& finished);

}  // namespace fernwahrung::JournalText
