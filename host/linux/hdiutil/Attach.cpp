#include "linux/AttachedImages.h"
#include "linux/Eventually.h"
#include "linux/Files.h"
#include "linux/Mounting.h"
#include "linux/SparseBundle.h"
#include "linux/hdiutil/Verbs.h"

#include "Foundation/PropertyList.h"

#include <cerrno>
#include <fcntl.h>
#include <iostream>
#include <sys/stat.h>
#include <unistd.h>

namespace fernwahrung::host::Hdiutil {
namespace {

/// On a drive that can't be written to the image is read-only without being asked.
bool mustBeReadOnly(const SparseBundle& bundle) {
  return ::access(bundle.bandPath().c_str(), W_OK) != 0 && errno == EROFS;
}

std::string requiredFolder(const std::string& path) {
  std::string canonical = canonicalPath(path);
  struct stat status;
  if (::lstat(canonical.c_str(), &status) != 0) throw Failure(reasonOf(errno));
  if (!S_ISDIR(status.st_mode)) throw Failure(reasonOf(ENOTDIR));
  return canonical;
}

void mountAt(const SparseBundle& bundle, int band, const std::string& mountPoint, bool readOnly) {
  if (Mounting::usesKernel()) {
    Mounting::mountByKernel(band, mountPoint, readOnly);
  } else {
    Mounting::mountByFuse(bundle, band, mountPoint, readOnly);
  }
}

/// Mounts it, or finds it attached already, wherever that is. Somebody who holds the lock without a mount is
/// about to attach it, has just detached it, or works on it: worth a wait.
AttachedImage attachOrFind(const SparseBundle& bundle, const std::string& mountPoint, bool readOnly) {
  const FileDescriptor band = bundle.openBand(readOnly ? O_RDONLY : O_RDWR);
  std::optional<AttachedImage> attached;
  bool locked = false;
  const bool settled = eventually([&] {
    attached = AttachedImages::find(bundle.path());
    if (attached && !attached->mounts.empty()) return true;
    return locked = SparseBundle::tryLock(band.get());
  });
  if (!settled) throw Failure(reasonOf(EAGAIN));
  if (!locked) return *attached;
  mountAt(bundle, band.get(), mountPoint, readOnly);
  attached = AttachedImages::find(bundle.path());
  if (!attached) throw Failure(reasonOf(ENXIO));
  return *attached;
}

}  // namespace

int attach(const Arguments& arguments) {
  OptionReader options(arguments);
  const auto mountPoint = options.takeValue("-mountpoint");
  const bool asPropertyList = options.takeFlag("-plist");
  const bool readOnly = options.takeFlag("-readonly");
  // Nothing here opens windows by itself or lists volumes for people, so these ask for what is.
  options.takeFlag("-noautoopen");
  options.takeFlag("-nobrowse");
  options.takeFlag("-quiet");
  const std::string imagePath = options.operand();
  if (!mountPoint || !asPropertyList) throw UsageError();

  const SparseBundle bundle = SparseBundle::open(imagePath);
  const AttachedImage image =
      attachOrFind(bundle, requiredFolder(*mountPoint), readOnly || mustBeReadOnly(bundle));
  std::cout << PropertyList::printXml({{"system-entities", AttachedImages::entities(image)}});
  return 0;
}

}  // namespace fernwahrung::host::Hdiutil
