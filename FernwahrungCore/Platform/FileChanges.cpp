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

template <typename Tell>
std::error_code told(std::error_code result, Tell tell) {
  if (!result) {
    if (ChangeObserver* observer = currentObserver) tell(*observer);
  }
  return result;
}

std::error_code resultOf(int returned) {
  return returned == 0 ? std::error_code() : System::errorCode(errno);
}

std::error_code writeAll(int fd, std::string_view data) {
  while (!data.empty()) {
    const ssize_t written = ::write(fd, data.data(), data.size());
    if (written >= 0) {
      data.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno != EINTR) {
      return System::errorCode(errno);
    }
  }
  return {};
}

}  // namespace

std::error_code makeDirectory(const std::string& path, mode_t mode) {
  BlockingCalls::announce("change names");
  return told(resultOf(::mkdir(path.c_str(), mode)),
              [&](ChangeObserver& observer) { observer.madeDirectory(path); });
}

std::error_code removeDirectory(const std::string& path) {
  BlockingCalls::announce("change names");
  return told(resultOf(::rmdir(path.c_str())),
              [&](ChangeObserver& observer) { observer.removedDirectory(path); });
}

std::error_code unlink(const std::string& path) {
  BlockingCalls::announce("change names");
  return told(resultOf(::unlink(path.c_str())), [&](ChangeObserver& observer) { observer.unlinked(path); });
}

std::error_code makeSymlink(const std::string& text, const std::string& path) {
  BlockingCalls::announce("change names");
  return told(resultOf(::symlink(text.c_str(), path.c_str())),
              [&](ChangeObserver& observer) { observer.madeSymlink(text, path); });
}

std::error_code flushVolume(const std::string& path) {
  BlockingCalls::announce("flush");
  return System::flushVolume(path);
}

std::error_code setModificationTime(const std::string& path, const FileInfo& like) {
  const timespec times[2] = {
      {0, UTIME_OMIT},
      {static_cast<time_t>(like.modifiedSeconds), static_cast<long>(like.modifiedNanoseconds)}};
  return resultOf(::utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW));
}

std::error_code hardLink(const std::string& existing, const std::string& path) {
  // Not link(): on the Mac that follows a symbolic link at `existing`.
  return told(resultOf(::linkat(AT_FDCWD, existing.c_str(), AT_FDCWD, path.c_str(), 0)),
              [&](ChangeObserver& observer) { observer.madeLink(existing, path); });
}

std::error_code rename(const std::string& from, const std::string& to) {
  BlockingCalls::announce("change names");
  return told(resultOf(::rename(from.c_str(), to.c_str())),
              [&](ChangeObserver& observer) { observer.renamed(from, to); });
}

std::error_code renameExclusive(const std::string& from, const std::string& to) {
  BlockingCalls::announce("change names");
  return told(System::renameExclusive(from, to),
              [&](ChangeObserver& observer) { observer.renamed(from, to); });
}

std::error_code createFile(const std::string& path) {
  BlockingCalls::announce("write");
  const FileDescriptor fd(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
  return told(resultOf(fd ? 0 : -1), [&](ChangeObserver& observer) { observer.created(path); });
}

std::error_code writeAndFlush(const std::string& path, std::string_view data) {
  BlockingCalls::announce("write");
  const FileDescriptor fd(::open(path.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC));
  if (!fd) return System::errorCode(errno);
  if (const auto error =
          told(writeAll(fd.get(), data), [&](ChangeObserver& observer) { observer.wrote(path, data); })) {
    return error;
  }
  return told(System::flush(fd.get()), [&](ChangeObserver& observer) { observer.flushed(path); });
}

std::error_code flushDirectory(const std::string& path) {
  BlockingCalls::announce("flush");
  const FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!fd) return System::errorCode(errno);
  return told(System::flush(fd.get()), [&](ChangeObserver& observer) { observer.flushedDirectory(path); });
}

std::error_code setImmutable(const std::string& path, bool immutable) {
  BlockingCalls::announce("change flags");
  return told(System::setImmutable(path, immutable),
              [&](ChangeObserver& observer) { observer.changedImmutable(path, immutable); });
}

std::error_code clone(const std::string& from, const std::string& to) {
  BlockingCalls::announce("clone");
  return told(System::clone(from, to), [&](ChangeObserver& observer) { observer.cloned(from, to); });
}

std::error_code copyDirectoryAttributes(const std::string& from, const std::string& to) {
  return told(System::copyDirectoryAttributes(from, to),
              [&](ChangeObserver& observer) { observer.copiedAttributes(from, to); });
}

void observeChanges(ChangeObserver* observer) {
  currentObserver = observer;
}

}  // namespace fernwahrung::Platform
