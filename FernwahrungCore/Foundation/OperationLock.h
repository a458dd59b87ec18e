// One changing operation at a time, across the application and the helper.
#pragma once

#include "Foundation/Errors.h"
#include "Foundation/FileDescriptor.h"

namespace fernwahrung {

/// The message of a busy lock, as a type of its own, so that a caller can tell it from other failures.
class LockBusyError : public FernwahrungError {
 public:
  LockBusyError();
};

/// Held from construction to destruction; try-only, never waits. The lock belongs to the open file
/// description, so a second one in the same process fails as well, and the death of the process frees it.
class OperationLock {
 public:
  /// Throws FernwahrungError::message: "Es läuft bereits ein anderer Vorgang (App oder Kommandozeile). Bitte
  /// warten." when it is held (as LockBusyError), "Sperrdatei kann nicht geöffnet
  /// werden." when the file can't be opened; what Paths::ensure throws.
  OperationLock();
  ~OperationLock();
  OperationLock(const OperationLock&) = delete;
  OperationLock& operator=(const OperationLock&) = delete;

  /// A snapshot, out of date at once. Without a lock file: false, and none is created.
  static bool isHeldElsewhere();

 private:
  FileDescriptor fd_;
};

}  // namespace fernwahrung
