#include "linux/FileSystem.h"
#include "linux/Files.h"
#include "linux/SparseBundle.h"
#include "linux/hdiutil/Verbs.h"

#include <cerrno>
#include <fmt/format.h>
#include <iostream>
#include <sys/stat.h>
#include <unistd.h>

namespace fernwahrung::host::Hdiutil {
namespace {

std::int64_t allocatedBytes(int band) {
  struct stat status;
  if (::fstat(band, &status) != 0) throw Failure(reasonOf(errno));
  return status.st_blocks * 512;
}

}  // namespace

int compact(const Arguments& arguments) {
  const SparseBundle bundle = SparseBundle::open(OptionReader(arguments).operand());
  const FileDescriptor band = bundle.openLockedBand();
  const std::int64_t before = allocatedBytes(band.get());
  FileSystem::repair(bundle.bandPath(), band.get(), true);
  if (::fsync(band.get()) != 0) throw Failure(reasonOf(errno));
  std::cout << fmt::format("Reclaimed {} bytes",
                           std::max<std::int64_t>(before - allocatedBytes(band.get()), 0))
            << std::endl;
  return 0;
}

}  // namespace fernwahrung::host::Hdiutil
