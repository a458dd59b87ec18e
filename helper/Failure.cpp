#include "helper/Failure.h"

#include "Engine/Preflight.h"
#include "Foundation/Errors.h"
#include "Foundation/OperationLock.h"

#include <new>

namespace fernwahrung {

namespace {

ExitCode exitCode(const std::exception& error) {
  if (dynamic_cast<const UsageError*>(&error)) return ExitCode::usage;
  if (dynamic_cast<const BlockedError*>(&error)) return ExitCode::blocked;
  if (dynamic_cast<const LockBusyError*>(&error)) return ExitCode::lockBusy;
  const auto* own = dynamic_cast<const FernwahrungError*>(&error);
  if (own && own->kind() == FernwahrungError::Case::cancelled) return ExitCode::cancelled;
  return ExitCode::failed;
}

}  // namespace

Failure describe(const std::exception& error) {
  if (dynamic_cast<const std::bad_alloc*>(&error))
    return {"Der Arbeitsspeicher reicht nicht aus.", ExitCode::failed};
  return {error.what(), exitCode(error)};
}

}  // namespace fernwahrung
