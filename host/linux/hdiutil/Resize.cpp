#include "linux/FileSystem.h"
#include "linux/Files.h"
#include "linux/SparseBundle.h"
#include "linux/hdiutil/Verbs.h"

#include <cerrno>
#include <fcntl.h>
#include <fmt/format.h>
#include <iostream>
#include <sys/statvfs.h>
#include <unistd.h>

namespace fernwahrung::host::Hdiutil {
namespace {

constexpr std::int64_t sector = 512;

std::int64_t freeBytes(int fd) {
  struct statvfs status;
  if (::fstatvfs(fd, &status) != 0) throw Failure(reasonOf(errno));
  return static_cast<std::int64_t>(status.f_bavail) * static_cast<std::int64_t>(status.f_frsize);
}

int printLimits(const SparseBundle& bundle) {
  const FileDescriptor band = bundle.openBand(O_RDONLY);
  const std::int64_t minimum = FileSystem::minimumBytes(bundle.bandPath(), band.get());
  std::cout << fmt::format("{}\t{}\t{}", minimum / sector, bundle.bytes() / sector,
                           (bundle.bytes() + freeBytes(band.get())) / sector)
            << std::endl;
  return 0;
}

void setFileSize(int band, std::int64_t bytes) {
  if (::ftruncate(band, bytes) != 0) throw Failure(reasonOf(errno));
}

/// At no moment is the file smaller than the file system in it.
int resizeTo(SparseBundle& bundle, std::int64_t bytes) {
  const FileDescriptor band = bundle.openLockedBand();
  const std::string file = bundle.bandPath();
  FileSystem::repair(file, band.get(), false);
  if (bytes > bundle.bytes()) setFileSize(band.get(), bytes);
  FileSystem::resize(file, band.get(), bytes);
  setFileSize(band.get(), bytes);
  if (::fsync(band.get()) != 0) throw Failure(reasonOf(errno));
  bundle.writeInfo(bytes);
  return 0;
}

}  // namespace

int resize(const Arguments& arguments) {
  OptionReader options(arguments);
  const bool limits = options.takeFlag("-limits");
  const auto size = options.takeValue("-size");
  const std::string path = options.operand();
  if (limits == size.has_value()) throw UsageError();
  const auto bytes = size ? parseSize(*size) : std::nullopt;
  if (size && !bytes) throw UsageError();
  SparseBundle bundle = SparseBundle::open(path);
  return limits ? printLimits(bundle) : resizeTo(bundle, *bytes);
}

}  // namespace fernwahrung::host::Hdiutil
