#include "linux/TreeCopy.h"

#include "Foundation/Errors.h"
#include "Foundation/FileDescriptor.h"
#include "Foundation/PathString.h"
#include "Platform/Directory.h"
#include "Platform/FileInfo.h"
#include "Platform/linux/Attributes.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <iostream>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <system_error>
#include <unistd.h>

namespace fernwahrung::host {
namespace {

constexpr std::size_t chunk = 1 << 20;
/// From here on the bytes cost more than the handing over.
constexpr off_t largeFile = 4 << 20;

[[noreturn]] void fail(int error) {
  throw std::system_error(error, std::generic_category());
}

long check(long returned) {
  if (returned < 0) fail(errno);
  return returned;
}

FileDescriptor opened(const std::string& path, int flags, mode_t mode = 0) {
  FileDescriptor fd(::open(path.c_str(), flags | O_NOFOLLOW | O_CLOEXEC, mode));
  check(fd.get());
  return fd;
}

void writeAll(int to, const char* data, std::size_t size, off_t position) {
  while (size > 0) {
    const ssize_t count = ::pwrite(to, data, size, position);
    if (count < 0 && errno == EINTR) continue;
    check(count);
    data += count;
    size -= static_cast<std::size_t>(count);
    position += count;
  }
}

/// To the end of the range, or of a file that has become shorter.
void copyRange(int from, int to, off_t begin, off_t end) {
  static thread_local std::vector<char> buffer(chunk);
  while (begin < end) {
    const auto wanted = std::min<off_t>(static_cast<off_t>(buffer.size()), end - begin);
    const ssize_t count = ::pread(from, buffer.data(), static_cast<std::size_t>(wanted), begin);
    if (count < 0 && errno == EINTR) continue;
    if (check(count) == 0) return;
    writeAll(to, buffer.data(), static_cast<std::size_t>(count), begin);
    begin += count;
  }
}

/// Only what is no hole, then the size.
void copyDataRanges(int from, int to, off_t size) {
  for (off_t begin = 0; begin < size;) {
    begin = ::lseek(from, begin, SEEK_DATA);
    if (begin < 0 && errno == ENXIO) break;  // nothing but a hole from here on
    check(begin);
    const off_t end = check(::lseek(from, begin, SEEK_HOLE));
    copyRange(from, to, begin, end);
    begin = end;
  }
  check(::ftruncate(to, size));
}

void copyLink(const std::string& source, const struct stat& status, const std::string& copy) {
  const auto text = Platform::linkText(source);
  if (!text) fail(errno);
  check(::symlink(text->c_str(), copy.c_str()));
  if (::lchown(copy.c_str(), status.st_uid, status.st_gid) != 0 && errno != EPERM) fail(errno);
  const timespec times[] = {status.st_atim, status.st_mtim};
  check(::utimensat(AT_FDCWD, copy.c_str(), times, AT_SYMLINK_NOFOLLOW));
}

void copyDevice(const struct stat& status, const std::string& copy) {
  check(::mknod(copy.c_str(), status.st_mode, status.st_rdev));
  check(::lchown(copy.c_str(), status.st_uid, status.st_gid));
  check(::chmod(copy.c_str(), status.st_mode & 07777));
}

void copyAttributes(int from, const struct stat& status, int to) {
  if (const auto error = System::copyAttributes(from, status, to)) throw std::system_error(error);
}

/// A folder is never replaced by something else.
void makeRoom(const std::string& path) {
  const auto present = Platform::fileInfo(path);
  if (!present) return;
  if (present->type == FileType::directory) fail(EISDIR);
  check(::unlink(path.c_str()));
}

}  // namespace

template <typename Step>
void TreeCopy::attempt(const std::string& path, Step step) {
  int error = 0;
  try {
    step();
    return;
  } catch (const std::system_error& failure) {
    error = failure.code().value();
  } catch (const SystemError& failure) {
    error = failure.code();
  }
  complete_ = false;
  // In one piece, as two threads may have something to say.
  std::cerr << "ditto: " + path + ": " + errnoText(error) + '\n';
}

bool TreeCopy::copy(const std::string& source, const std::string& destination) {
  attempt(source, [&] {
    struct stat status;
    check(::stat(source.c_str(), &status));
    const auto real = Platform::realPath(source);
    if (!real) fail(errno);
    copyItem(*real, status, destination);
  });
  for (std::size_t i = 0; i < folders_.size(); ++i) {
    const Folder folder = folders_[i];
    attempt(folder.source, [&] { fillFolder(folder); });
  }
  finishLargeFiles();
  // Filling a folder changes its times, and its mode may forbid filling it.
  for (auto folder = folders_.rbegin(); folder != folders_.rend(); ++folder) {
    if (folder->isNew) attempt(folder->copy, [&] { finishFolder(*folder); });
  }
  return complete_;
}

void TreeCopy::copyEntry(const std::string& source, const std::string& copy) {
  attempt(source, [&] {
    struct stat status;
    check(::lstat(source.c_str(), &status));
    copyItem(source, status, copy);
  });
}

void TreeCopy::copyItem(const std::string& source, const struct stat& status, const std::string& copy) {
  if (S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode)) return;
  if (S_ISDIR(status.st_mode)) return enterFolder(source, status, copy);
  makeRoom(copy);
  if (linkToEarlierCopy(status, copy)) return;
  if (S_ISREG(status.st_mode)) {
    if (status.st_size >= largeFile && status.st_nlink == 1) return leaveToBoth({source, copy});
    copyFile(source, copy);
  } else if (S_ISLNK(status.st_mode)) {
    copyLink(source, status, copy);
  } else {
    copyDevice(status, copy);
  }
  if (status.st_nlink > 1) copies_.emplace(std::pair(status.st_dev, status.st_ino), copy);
}

void TreeCopy::enterFolder(const std::string& source, const struct stat& status, const std::string& copy) {
  const bool isNew = ::mkdir(copy.c_str(), S_IRWXU) == 0;
  if (!isNew) {
    const int error = errno;
    struct stat present;
    // The destination itself may be reached through a link.
    if (error != EEXIST || ::stat(copy.c_str(), &present) != 0) fail(error);
    if (!S_ISDIR(present.st_mode)) fail(ENOTDIR);
  }
  folders_.push_back({source, copy, status, isNew});
}

void TreeCopy::fillFolder(const Folder& folder) {
  for (const std::string& name : Platform::names(folder.source)) {
    copyEntry(PathString::join(folder.source, name), PathString::join(folder.copy, name));
  }
}

void TreeCopy::finishFolder(const Folder& folder) {
  const FileDescriptor from = opened(folder.source, O_RDONLY | O_DIRECTORY);
  const FileDescriptor to = opened(folder.copy, O_RDONLY | O_DIRECTORY);
  copyAttributes(from.get(), folder.status, to.get());
}

void TreeCopy::copyFile(const std::string& source, const std::string& copy) {
  const FileDescriptor from = opened(source, O_RDONLY | O_NONBLOCK);
  const FileDescriptor to = opened(copy, O_WRONLY | O_CREAT | O_EXCL, S_IRUSR | S_IWUSR);
  struct stat status;
  check(::fstat(from.get(), &status));
  copyData(from.get(), status, to.get());
  copyAttributes(from.get(), status, to.get());
}

void TreeCopy::copyData(int from, const struct stat& status, int to) {
  if (status.st_size == 0) return;
  if (sharesBlocks_) {
    if (::ioctl(to, FICLONE, from) == 0) return;
    // EINVAL concerns this one file only.
    sharesBlocks_ = errno == EINVAL;
  }
  if (status.st_blocks * 512 < status.st_size) return copyDataRanges(from, to, status.st_size);
  copyRange(from, to, 0, status.st_size);
}

void TreeCopy::leaveToBoth(File file) {
  if (!secondHand_.joinable())
    secondHand_ = std::jthread([this](const std::stop_token& noMore) { copyLargeFiles(noMore); });
  {
    const std::lock_guard lock(mutex_);
    largeFiles_.push_back(std::move(file));
  }
  moreFiles_.notify_one();
}

void TreeCopy::copyLargeFiles(const std::stop_token& noMore) {
  for (;;) {
    std::unique_lock lock(mutex_);
    if (!moreFiles_.wait(lock, noMore, [this] { return !largeFiles_.empty(); })) return;
    const File file = std::move(largeFiles_.front());
    largeFiles_.pop_front();
    lock.unlock();
    attempt(file.source, [&] { copyFile(file.source, file.copy); });
  }
}

void TreeCopy::finishLargeFiles() {
  if (!secondHand_.joinable()) return;
  secondHand_.request_stop();
  copyLargeFiles(secondHand_.get_stop_token());
  secondHand_.join();
}

bool TreeCopy::linkToEarlierCopy(const struct stat& status, const std::string& copy) {
  if (status.st_nlink < 2) return false;
  const auto earlier = copies_.find({status.st_dev, status.st_ino});
  // Where there can be no link the bytes are copied once more.
  return earlier != copies_.end() && ::link(earlier->second.c_str(), copy.c_str()) == 0;
}

}  // namespace fernwahrung::host
