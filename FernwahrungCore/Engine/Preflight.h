// Everything that can be checked about an operation before it changes anything, and the two guards used later
// on.
#pragma once

#include "Engine/RelocationPlan.h"
#include "Foundation/OperationContext.h"
#include "Processes/ProcessDescriber.h"
#include "Storage/FileOps.h"
#include "Storage/Verifier.h"

#include <cstdint>
#include <string>
#include <vector>

namespace fernwahrung {

struct PreflightResult {
  std::vector<std::string> blockers;  // each forbids the operation
  std::vector<ProcessDescription> processes;
  std::vector<std::string> warnings;
  TreeSize size;  // zero unless measured
};

namespace Relocator {

/// Reads only, takes no lock, never throws. Measuring, which walks the whole source, comes last and only if
/// nothing already forbids the operation.
PreflightResult preflight(const RelocationPlan& plan, bool measureSize);

/// Bytes: what the folder occupies and a tenth, and one decimal gigabyte. Needed on the drive and inside the
/// image.
std::int64_t minimumImageSize(const TreeSize& size);
/// Bytes: the larger of twice and twenty gigabytes more, in whole gigabytes.
std::int64_t suggestedImageSize(const TreeSize& size);

/// Throws FernwahrungError when a guarded application runs or a process holds files open under the path.
void ensureAppsClosed(const Relocation& relocation, const std::string& path);

/// The last check before the original is touched: throws when an application uses the source or when it
/// changed since `before`.
void finalGate(const Relocation& relocation, const Verifier::Fingerprint& before, OperationContext& context);

}  // namespace Relocator
}  // namespace fernwahrung
