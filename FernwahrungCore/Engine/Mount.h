// Brings a relocation into its working state without ever hiding or damaging data.
#pragma once

#include "Engine/MountProblem.h"
#include "Foundation/Dates.h"
#include "Records/Relocation.h"

#include <string>
#include <vector>

namespace fernwahrung::Relocator {

/// Under the OperationLock, without waiting for a missing drive. Throws like mountUnlocked, and
/// LockBusyError.
void mount(const Relocation& relocation);

/// For a caller that holds the OperationLock: every mount of the program goes through here. Waits for the
/// storage until `deadline`, looking every two seconds, then makes its checks; the first that fails throws
/// StorageMissingError, AccessDeniedError, MountPointNotEmptyError or FernwahrungError, and the folder is as
/// it was, but for a ".DS_Store" that may have gone to the Trash. What is mounted rightly already is no
/// error.
void mountUnlocked(const Relocation& relocation, Date deadline);

/// For a folder at which something is mounted: throws FernwahrungError unless that is the relocation's image,
/// and what DiskImage::attachedImages throws.
void requireMountedHere(const Relocation& relocation);

/// For a caller that holds the OperationLock. A process killed while it checked an image leaves it attached
/// at a temporary mount point: detaches it from there, unless an unfinished journal still needs it. Throws
/// what DiskImage::detach throws.
void releaseAbandonedMount(const Relocation& relocation);

/// Throws while a guarded application or another process uses the folder. Nothing mounted is no error.
void unmount(const Relocation& relocation);

/// Mounts every active relocation that isn't paused, in the registry's order. Waits up to `waitForStorage`
/// seconds for missing drives before it takes the lock, so that the waiting blocks no other operation. Never
/// throws.
std::vector<MountProblem> mountAllDetailed(double waitForStorage);
/// The same, one line per problem.
std::vector<std::string> mountAll(double waitForStorage);

}  // namespace fernwahrung::Relocator
