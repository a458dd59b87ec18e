// Copies a tree with all its metadata, by ditto, with progress and cancellation.
#pragma once

#include "Foundation/OperationContext.h"

#include <cstdint>
#include <string>

namespace fernwahrung::Copier {

/// Merges the source's contents into the destination. Progress is an estimate: the growth of the used space
/// of the destination's volume over `baseline`. Throws FernwahrungError (a status other than 0, or anything
/// on standard error), FernwahrungError::cancelled within about 0.1 s of the wish, SystemError when it can't
/// be started. The partial copy stays.
void ditto(const std::string& source, const std::string& destination, std::int64_t totalBytes,
           std::int64_t baseline, OperationContext& context);

/// The same for what lies in a folder, with one progress for all of it; with `sourceIsVolumeRoot` without the
/// entries that the system keeps there.
void copyContents(const std::string& source, const std::string& destination, std::int64_t totalBytes,
                  bool sourceIsVolumeRoot, OperationContext& context);

/// The same for one item, a folder or a file, without progress, log and cancellation.
void copyItem(const std::string& source, const std::string& destination);

}  // namespace fernwahrung::Copier
