#pragma once

#include "Engine/RelocationPlan.h"
#include "Foundation/OperationContext.h"

namespace fernwahrung::Relocator {

/// Moves a folder's data to the external drive and leaves a mounted image or a symbolic link in its place.
/// The data exists, whole and proved, in at least one place at every moment; the original is only renamed, at
/// the end, and kept. Any failure rolls back and throws what failed; a failed rollback throws both, and the
/// journal stays open. Throws BlockedError when the check forbids it.
Relocation relocate(const RelocationPlan& plan, OperationContext& context);

}  // namespace fernwahrung::Relocator
