#pragma once

#include "Foundation/OperationContext.h"
#include "Records/Relocation.h"

namespace fernwahrung::Relocator {

/// Brings the data of an active relocation back to the internal disk. A verified copy made beside the source
/// takes the source's name; the storage stays untouched and the entry stays in the registry as restored. Any
/// failure rolls back and throws what failed; a failed rollback throws both, and the journal stays open.
void restore(const Relocation& relocation, OperationContext& context);

}  // namespace fernwahrung::Relocator
