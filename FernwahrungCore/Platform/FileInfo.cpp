#include "Platform/FileInfo.h"

#include "Foundation/BlockingCalls.h"

#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace fernwahrung::Platform {
namespace {

const timespec& modificationTime(const struct stat& status) {
#ifdef __APPLE__
  return status.st_mtimespec;
#else
  return status.st_mtim;
#endif
}

FileType fileType(mode_t mode) {
  switch (mode & S_IFMT) {
    case S_IFREG:
      return FileType::file;
    case S_IFDIR:
      return FileType::directory;
    case S_IFLNK:
      return FileType::symlink;
    default:
      return FileType::other;
  }
}

bool isDataless([[maybe_unused]] const struct stat& status, const char* name) {
#ifdef __APPLE__
  if ((status.st_flags & SF_DATALESS) != 0) return true;
#endif
  return !datalessNameForTesting.empty() && datalessNameForTesting == name;
}

}  // namespace

std::string datalessNameForTesting;

std::optional<FileInfo> fileInfo(const std::string& path) {
  return fileInfoAt(AT_FDCWD, path.c_str());
}

std::optional<FileInfo> fileInfoAt(int directory, const char* name) {
  BlockingCalls::announce("stat");
  struct stat status;
  if (::fstatat(directory, name, &status, AT_SYMLINK_NOFOLLOW) != 0) return std::nullopt;
  const timespec& modified = modificationTime(status);
  return FileInfo{.type = fileType(status.st_mode),
                  .size = status.st_size,
                  .allocated = static_cast<std::int64_t>(status.st_blocks) * 512,
                  .permissions = static_cast<std::uint32_t>(status.st_mode & 07777),
                  .owner = status.st_uid,
                  .modifiedSeconds = modified.tv_sec,
                  .modifiedNanoseconds = modified.tv_nsec,
                  .device = static_cast<std::uint64_t>(status.st_dev),
                  .inode = status.st_ino,
                  .links = status.st_nlink,
                  .format = static_cast<std::uint32_t>(status.st_mode & S_IFMT),
                  .isDataless = isDataless(status, name)};
}

std::optional<std::string> realPath(const std::string& path) {
  BlockingCalls::announce("realpath");
  const std::unique_ptr<char, decltype(&std::free)> resolved(::realpath(path.c_str(), nullptr), &std::free);
  if (!resolved) return std::nullopt;
  return std::string(resolved.get());
}

std::optional<std::string> linkText(const std::string& path) {
  return linkTextAt(AT_FDCWD, path.c_str());
}

std::optional<std::string> linkTextAt(int directory, const char* name) {
  BlockingCalls::announce("readlink");
  // st_size is no measure: some file systems give 0. A full buffer may mean a cut text, so one byte stays
  // free.
  for (std::string text(1024, '\0');; text.resize(text.size() * 2)) {
    const ssize_t length = ::readlinkat(directory, name, text.data(), text.size());
    if (length < 0) return std::nullopt;
    if (static_cast<std::size_t>(length) < text.size()) {
      text.resize(static_cast<std::size_t>(length));
      return text;
    }
  }
}

}  // namespace fernwahrung::Platform
