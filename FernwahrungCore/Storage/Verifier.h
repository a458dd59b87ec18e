// Proves that a copy is whole, byte by byte, and takes cheap fingerprints of trees.
#pragma once

#include "Foundation/OperationContext.h"

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace fernwahrung {

struct VerifyReport {
  std::int64_t files = 0;
  std::int64_t directories = 0;
  std::int64_t symlinks = 0;
  std::int64_t bytes = 0;             // source sizes of the plain files
  std::vector<std::string> problems;  // at most 200

  bool isIdentical() const { return problems.empty(); }
};

namespace Verifier {

/// What a last check compares to see whether a tree changed.
struct Fingerprint {
  std::int64_t files = 0;
  std::int64_t directories = 0;
  std::int64_t bytes = 0;
  double newestChange = 0;  // seconds since 1970, with a fraction
  bool operator==(const Fingerprint&) const = default;
};

/// Names passed over at every depth.
extern const std::set<std::string, std::less<>> ignoredNames;
/// Names that the system itself makes at the root of a volume.
extern const std::set<std::string, std::less<>> ignoredVolumeEntries;
/// One of these, or one under the name the system sets it aside with when it is damaged (".fseventsd-bad-1").
bool isIgnoredVolumeEntry(std::string_view name);

/// lstat only, no content. Throws SystemError when a folder can't be listed.
Fingerprint fingerprint(const std::string& path, bool isVolumeRoot);

struct CompareOptions {
  std::optional<std::int64_t> totalBytes = {};  // for the progress
  bool sourceIsVolumeRoot = false;
  bool destinationIsVolumeRoot = false;
  bool quiet = false;  // neither progress nor log lines
};

/// The same names, kinds, link texts and bytes on both sides; nothing else is compared. A difference goes
/// into the report and the walk goes on; a folder or file that can't be read throws (SystemError,
/// FernwahrungError), as does cancellation. Two buffers of 1 MiB and the names of one folder per level,
/// whatever the size of the trees.
VerifyReport compare(const std::string& source, const std::string& copy, CompareOptions options,
                     OperationContext& context);

/// Two plain files, not links to some, with the same bytes. No progress. Throws like compare.
bool filesAreEqual(const std::string& source, const std::string& copy, const OperationContext& context);

}  // namespace Verifier
}  // namespace fernwahrung
