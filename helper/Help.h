#pragma once

#include "helper/Command.h"

#include <string>

namespace fernwahrung {

/// What the program is, and all its commands.
std::string overview();
/// The help of one command, made from what it declared.
std::string commandHelp(const CommandEntry& entry, const Arguments& arguments);

}  // namespace fernwahrung
