// Undoes what a journal says and the disk shows. Runs any number of times and starts anywhere: each action
// first looks whether it is due.
#pragma once

#include "Foundation/OperationContext.h"
#include "Records/Journal.h"

#include <exception>
#include <string>

namespace fernwahrung::Relocator {

/// The caller holds the OperationLock. Any failure ends it with that error and leaves the journal open; the
/// next try goes on from there.
void rollback(Journal& journal);

/// The same for an operation that ended at some time before: its journal is taken as it lies on the disk now,
/// whatever the caller has seen of it, and returned closed. Throws FernwahrungError as well when it is not
/// open any more.
Journal rollbackUnfinished(const Uuid& id);

/// For a failed step: rolls back, and throws only if that fails as well, with both sentences.
void rollbackAfterFailure(Journal& journal, const std::exception& error, OperationContext& context);

}  // namespace fernwahrung::Relocator
