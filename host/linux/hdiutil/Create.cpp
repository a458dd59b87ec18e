#include "linux/FileSystem.h"
#include "linux/Files.h"
#include "linux/SparseBundle.h"
#include "linux/hdiutil/Verbs.h"

#include "Foundation/PathString.h"

#include <cerrno>
#include <iostream>
#include <unistd.h>

namespace fernwahrung::host::Hdiutil {

int create(const Arguments& arguments) {
  OptionReader options(arguments);
  const auto bytes = parseSize(options.takeValue("-size").value_or(""));
  const auto type = options.takeValue("-type");
  const auto fileSystem = options.takeValue("-fs");
  const auto volumeName = options.takeValue("-volname");
  const bool quiet = options.takeFlag("-quiet");
  std::string path = options.operand();
  if (!bytes || type != "SPARSEBUNDLE" || fileSystem != "APFS" || !volumeName) throw UsageError();
  if (PathString::extension(path) != "sparsebundle") path += ".sparsebundle";

  // Below that the file system would be made without a journal, and without a word.
  constexpr std::int64_t smallest = 16 << 20;
  if (*bytes < smallest) throw Failure(reasonOf(EINVAL));
  SparseBundle bundle = SparseBundle::begin(path, *bytes);
  try {
    const FileDescriptor band = bundle.openLockedBand();
    FileSystem::make(bundle.bandPath(), band.get(), *bytes, *volumeName);
    if (::fsync(band.get()) != 0) throw Failure(reasonOf(errno));
    flushFolder(bundle.path() + "/bands");
    bundle.writeInfo(*bytes);
  } catch (const Failure&) {
    bundle.remove();
    throw;
  }
  if (!quiet) std::cout << "created: " << bundle.path() << std::endl;
  return 0;
}

}  // namespace fernwahrung::host::Hdiutil
