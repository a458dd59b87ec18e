#include "linux/SparseBundle.h"

#include "linux/Files.h"
#include "linux/Tools.h"

#include "Foundation/PathString.h"
#include "Foundation/PropertyList.h"

#include <cerrno>
#include <fcntl.h>
#include <nlohmann/json.hpp>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fernwahrung::host {
namespace {

constexpr const char* notRecognized = "image not recognized";
constexpr const char* bundleType = "com.apple.diskimage.sparsebundle";
constexpr std::int64_t bandSize = 8388608;

std::string infoPath(const std::string& bundle) {
  return bundle + "/Info.plist";
}

[[noreturn]] void fail() {
  throw Failure(reasonOf(errno));
}

}  // namespace

std::string bundleInfo(std::int64_t bytes) {
  return PropertyList::printXml({{"CFBundleInfoDictionaryVersion", "6.0"},
                                 {"band-size", bandSize},
                                 {"bundle-backingstore-version", 1},
                                 {"diskimage-bundle-type", bundleType},
                                 {"size", bytes}});
}

std::int64_t bundleBytes(std::string_view info) {
  try {
    const nlohmann::json values = PropertyList::parse(info);
    if (values.at("diskimage-bundle-type") != bundleType || !values.at("size").is_number_integer())
      throw Failure(notRecognized);
    const auto bytes = values.at("size").get<std::int64_t>();
    if (bytes > 0) return bytes;
  } catch (const PropertyListError&) {
  } catch (const nlohmann::json::exception&) {
  }
  throw Failure(notRecognized);
}

SparseBundle SparseBundle::open(const std::string& path) {
  std::string canonical = canonicalPath(path);
  const auto info = fileText(infoPath(canonical));
  if (!info) throw Failure(errno == ENOENT || errno == ENOTDIR ? notRecognized : reasonOf(errno));
  return SparseBundle(std::move(canonical), bundleBytes(*info));
}

SparseBundle SparseBundle::begin(const std::string& path, std::int64_t bytes) {
  const SparseBundle bundle(canonicalPlace(path), bytes);
  if (::mkdir(bundle.path_.c_str(), 0755) != 0) fail();
  try {
    if (::mkdir((bundle.path_ + "/bands").c_str(), 0755) != 0) fail();
    writeWholeFile(bundle.path_ + "/token", "");
    const FileDescriptor band(::open(bundle.bandPath().c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
    if (!band || ::ftruncate(band.get(), bytes) != 0) fail();
  } catch (const Failure&) {
    bundle.remove();
    throw;
  }
  return bundle;
}

void SparseBundle::remove() const {
  for (const char* file : {"/Info.plist", "/token", "/bands/0"}) ::unlink((path_ + file).c_str());
  ::rmdir((path_ + "/bands").c_str());
  ::rmdir(path_.c_str());
}

void SparseBundle::writeInfo(std::int64_t bytes) {
  const std::string temporary = infoPath(path_) + ".new";
  try {
    writeWholeFile(temporary, bundleInfo(bytes));
    if (::rename(temporary.c_str(), infoPath(path_).c_str()) != 0) fail();
  } catch (const Failure&) {
    ::unlink(temporary.c_str());
    throw;
  }
  flushFolder(path_);
  bytes_ = bytes;
}

FileDescriptor SparseBundle::openBand(int flags) const {
  FileDescriptor band(::open(bandPath().c_str(), flags | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW));
  if (!band) {
    if (errno == ENOENT || errno == ELOOP) throw Failure(notRecognized);
    fail();
  }
  struct stat status;
  if (::fstat(band.get(), &status) != 0) fail();
  if (!S_ISREG(status.st_mode)) throw Failure(notRecognized);
  return band;
}

FileDescriptor SparseBundle::openLockedBand() const {
  FileDescriptor band = openBand(O_RDWR);
  if (!tryLock(band.get())) throw Failure(reasonOf(EAGAIN));
  return band;
}

bool SparseBundle::tryLock(int band) {
  while (::flock(band, LOCK_EX | LOCK_NB) != 0) {
    if (errno == EWOULDBLOCK) return false;
    if (errno != EINTR) fail();
  }
  return true;
}

}  // namespace fernwahrung::host
