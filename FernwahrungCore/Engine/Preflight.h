// Everything that can be checked about an operation before it changes anything, and the two guards used later
// on.
#pragma once

#include "Engine/RelocationPlan.h"
#include "Foundation/Errors.h"
#include "Foundation/OperationContext.h"
#include "Processes/ProcessDescriber.h"
#include "Storage/FileOps.h"
#include "Storage/Verifier.h"

#include <cstdint>
#include <string>
#include <vector>

namespace fernwahrung {

/// The check forbids the operation, and nothing was begun; what() is the blockers, a line each.
class BlockedError : public FernwahrungError {
 public:
  explicit BlockedError(const std::vector<std::string>& blockers);
};

struct PreflightResult {
  std::vector<std::string> blockers;  // each forbids the operation
  std::vector<ProcessDescription> processes;
  std::vector<std::string> warnings;
  bool isMeasured = false;
  TreeSize size;  // zero unless measured
};

namespace Relocator {

/// Reads only, takes no lock, never throws. Measuring, which walks the whole source, comes last and only if
/// nothing already forbids the operation.
PreflightResult preflight(const RelocationPlan& plan, bool measureSize);

/// The sentence for something that lies at the plan's storage path already.
std::string storageTakenText(const RelocationPlan& plan);

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

/// Throws FernwahrungError when the folder of an offloading under way is no longer what it was.
void requireUnchanged(const std::string& folder, const Verifier::Fingerprint& before);

}  // namespace Relocator
}  // namespace fernwahrung
