// What every journalled operation has in common.
#pragma once

#include "Foundation/OperationContext.h"
#include "Records/Journal.h"
#include "Storage/Verifier.h"

#include <functional>
#include <string>
#include <system_error>

namespace fernwahrung::Relocator {

/// Saves the journal for the first time (a failure of that throws before anything has happened), runs the
/// steps between the log lines "=== {title} gestartet: {subject}" and "=== {title} erfolgreich", and closes
/// the journal. A step that throws is rolled back, and its error goes on to the caller. The caller holds the
/// OperationLock.
void runJournalled(Journal& journal, const std::string& subject, OperationContext& context,
                   const std::function<void()>& steps);

/// Carries mode, times and attributes of a folder over to the one its contents were copied into: the copy
/// tool leaves those of a folder that exists already as they are. Throws FernwahrungError.
void carryOverFolderAttributes(const std::string& source, const std::string& destination);

/// Compares the copy with its source and brings it down to the medium of its drive: only then may it take the
/// source's place. The flush runs beside the comparison, which reads what was just written from memory.
/// Throws what Verifier::compare throws, FernwahrungError::verificationFailed for differences, and
/// FernwahrungError when the drive does not take the data.
void proveCopy(const std::string& source, const std::string& copy, Verifier::CompareOptions options,
               OperationContext& context);

/// Brings all that was written to the volume that holds `item` down to its medium. Throws FernwahrungError,
/// which names the item.
void flushToDrive(const std::string& item);

/// A symbolic link at `path` with the text `target`. Throws SystemError.
void createSymlink(const std::string& target, const std::string& path);

/// Removes the link itself. The error code is empty on success.
std::error_code removeSymlink(const std::string& path);

/// Removes an unlocked, empty mount-point folder. Throws FernwahrungError when it doesn't go.
void removeEmptyMountPoint(const std::string& path);

/// The path in the one spelling of its place: links on the way are resolved, one at the place itself is not,
/// so that it stays the same whether a folder, a mount or a link lies there.
std::string placeOf(const std::string& path);

/// "{sourcePath}.{mark}-{timestamp of now}": the name of a kept or staged folder beside the source.
std::string siblingPath(const std::string& sourcePath, const std::string& mark);

}  // namespace fernwahrung::Relocator
