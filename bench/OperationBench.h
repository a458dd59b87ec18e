// Whole operations on real drives and images. Each returns whether its limit was kept.
#pragma once

#include <string>

namespace fernwahrung::Bench {

struct OperationScale {
  std::string folder;  // holds what is offloaded, and the private files
  std::string drive;   // the folder on the drive that receives it
  int smallFiles = 60'000;
  int largeFiles = 40;
  int images = 20;
  int rounds = 5;
};

/// Offloading a folder, beside "cp -a" and "diff -rq" of the same tree onto the same drive. About 6 GB,
/// unless scaled down.
bool relocateAsSymlink(const OperationScale& scale);
bool relocateAsImage(const OperationScale& scale);
/// Mounting all images without a check of their file systems, beside the bare calls of hdiutil.
bool mountAll(const OperationScale& scale);

}  // namespace fernwahrung::Bench
