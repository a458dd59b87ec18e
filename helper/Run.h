#pragma once

#include "helper/ExitCode.h"
#include "helper/Streams.h"

#include <string>
#include <vector>

namespace fernwahrung {

/// Runs the helper with the arguments behind its name. Never throws and never ends the process.
///   run({"list", "--json"}, streams)
ExitCode run(const std::vector<std::string>& arguments, Streams& streams);

}  // namespace fernwahrung
