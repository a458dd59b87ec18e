#include "Platform/FileChanges.h"

#include "Foundation/BlockingCalls.h"
#include "Foundation/FileDescriptor.h"
#include "Platform/SystemCalls.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fernwahrung::Platform {
namespace {

std::atomic<ChangeObserver*> currentObserver = nullptr;

std::error_code resultOf(int returned) {
  return returned == 0 ? std::error_code() : System::errorCode(errno);
}

std::error_code resultOf(std::error_code error) {
  return error;
}

struct TellNobody {
  void operator()(ChangeObserver& /*observer*/) const {}
};

/// Announces the call, makes it, and tells the observer of its success.
template <typename Call, typename Tell = TellNobody>
std::error_code changed(const char* kind, Call call, Tell tell = {}) {
  BlockingCalls::announce(kind);
  const std::error_code error = resultOf(call());
  if (!error) {
    if (ChangeObserver* observer = currentObserver) tell(*observer);
  }
  return error;
}

constexpr const char* names = "change names";
constexpr const char* bytes = "write";
constexpr const char* toDisk = "flush";
constexpr const char* attributes = "change attributes";

}  // namespace

std::error_code makeDirectory(const std::string& path, mode_t mode) {
  return changed(
      names, [&] { return ::mkdir(path.c_str(), mode); },
      [&](ChangeObserver& observer) { observer.madeDirectory(path); });
}

std::error_code removeDirectory(const std::string& path) {
  return changed(
      names, [&] { return ::rmdir(path.c_str()); },
      [&](ChangeObserver& observer) { observer.removedDirectory(path); });
}

std::error_code unlink(const std::string& path) {
  return changed(
      names, [&] { return ::unlink(path.c_str()); },
      [&](ChangeObserver& observer) { observer.unlinked(path); });
}

std::error_code makeSymlink(const std::string& text, const std::string& path) {
  return changed(
      names, [&] { return ::symlink(text.c_str(), path.c_str()); },
      [&](ChangeObserver& observer) { observer.madeSymlink(text, path); });
}

std::error_code hardLink(const std::string& existing, const std::string& path) {
  // Not link(): on the Mac that follows a symbolic link at `existing`.
  return changed(
      names, [&] { return ::linkat(AT_FDCWD, existing.c_str(), AT_FDCWD, path.c_str(), 0); },
      [&](ChangeObserver& observer) { observer.madeLink(existing, path); });
}

std::error_code rename(const std::string& from, const std::string& to) {
  return changed(
      names, [&] { return ::rename(from.c_str(), to.c_str()); },
      [&](ChangeObserver& observer) { observer.renamed(from, to); });
}

std::error_code renameExclusive(const std::string& from, const std::string& to) {
  return changed(
      names, [&] { return System::renameExclusive(from, to); },
      [&](ChangeObserver& observer) { observer.renamed(from, to); });
}

std::error_code createFile(const std::string& path) {
  const auto create = [&] {
    const FileDescriptor fd(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
    return fd ? 0 : -1;
  };
  return changed(names, create, [&](ChangeObserver& observer) { observer.created(path); });
}

std::error_code writeAndFlush(const std::string& path, std::string_view data) {
  FileDescriptor fd;
  const auto write = [&] {
    fd = FileDescriptor(::open(path.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC));
    return fd && writeAll(fd.get(), data) ? 0 : -1;
  };
  if (const auto error =
          changed(bytes, write, [&](ChangeObserver& observer) { observer.wrote(path, data); })) {
    return error;
  }
  return changed(
      toDisk, [&] { return System::flush(fd.get()); },
      [&](ChangeObserver& observer) { observer.flushed(path); });
}

std::error_code flushFile(const std::string& path) {
  const auto flush = [&] {
    const FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    return fd ? System::flush(fd.get()) : System::errorCode(errno);
  };
  return changed(toDisk, flush, [&](ChangeObserver& observer) { observer.flushed(path); });
}

std::error_code flushDirectory(const std::string& path) {
  const auto flush = [&] {
    const FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return fd ? System::flush(fd.get()) : System::errorCode(errno);
  };
  return changed(toDisk, flush, [&](ChangeObserver& observer) { observer.flushedDirectory(path); });
}

std::error_code flushVolume(const std::string& path) {
  return changed(
      toDisk, [&] { return System::flushVolume(path); },
      [&](ChangeObserver& observer) { observer.flushedVolume(path); });
}

std::error_code setImmutable(const std::string& path, bool immutable) {
  return changed(
      attributes, [&] { return System::setImmutable(path, immutable); },
      [&](ChangeObserver& observer) { observer.changedImmutable(path, immutable); });
}

bool isImmutable(const std::string& path) {
  BlockingCalls::announce("stat");
  return System::isImmutable(path);
}

std::error_code clone(const std::string& from, const std::string& to) {
  return changed(
      "clone", [&] { return System::clone(from, to); },
      [&](ChangeObserver& observer) { observer.cloned(from, to); });
}

std::error_code copyDirectoryAttributes(const std::string& from, const std::string& to) {
  return changed(
      attributes, [&] { return System::copyDirectoryAttributes(from, to); },
      [&](ChangeObserver& observer) { observer.copiedAttributes(from, to); });
}

std::error_code setPermissions(const std::string& path, mode_t mode) {
  return changed(attributes, [&] { return ::fchmodat(AT_FDCWD, path.c_str(), mode, AT_SYMLINK_NOFOLLOW); });
}

std::error_code setModificationTime(const std::string& path, const FileInfo& like) {
  const timespec times[2] = {
      {0, UTIME_OMIT},
      {static_cast<time_t>(like.modifiedSeconds), static_cast<long>(like.modifiedNanoseconds)}};
  return changed(attributes, [&] { return ::utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW); });
}

void observeChanges(ChangeObserver* observer) {
  currentObserver = observer;
}

}  // namespace fernwahrung::Platform
