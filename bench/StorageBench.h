// The proof of a copy and the walks over trees. Each returns whether all limits were kept.
#pragma once

#include <string>

namespace fernwahrung::Bench {

/// Comparison of two trees in the page cache, beside "diff -rq".
bool compareWarm(const std::string& folder);
/// Comparison of two trees from the disk, beside two "cat" that read both trees at once.
bool compareCold(const std::string& folder);
/// Sizes and fingerprints of 600,000 files, beside "du -s".
bool walk(const std::string& folder);

}  // namespace fernwahrung::Bench
