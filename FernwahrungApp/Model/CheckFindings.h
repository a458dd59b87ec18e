// What of a check's result is shown where.
#pragma once

#include "Engine/Preflight.h"

#include <string>
#include <vector>

namespace fernwahrung::CheckFindings {

/// The blockers that no listed process stands for.
std::vector<std::string> otherBlockers(const PreflightResult& result);
/// A process that the system started stands in the way.
bool hasSystemService(const PreflightResult& result);
/// "1234 Dateien, 12,3 GB"; empty when nothing was measured.
std::string sizeText(const PreflightResult& result);

}  // namespace fernwahrung::CheckFindings
