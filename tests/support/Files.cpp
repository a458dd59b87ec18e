#include "support/Files.h"

#include "support/Mounts.h"
#include "support/SystemDifferences.h"

#include "Foundation/FileDescriptor.h"

#include <algorithm>
#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace fernwahrung {
namespace {

[[noreturn]] void fail(const std::string& what, const std::string& path) {
  throw std::system_error(errno, std::generic_category(), what + " " + path);
}

void removeAt(int parent, const std::string& name, const std::string& path);

void removeContents(int folder, const std::string& path) {
  std::vector<std::string> names;
  {
    const std::unique_ptr<DIR, int (*)(DIR*)> stream(::fdopendir(::dup(folder)), &::closedir);
    if (!stream) fail("read", path);
    ::rewinddir(stream.get());
    while (const dirent* entry = ::readdir(stream.get())) {
      const std::string name = entry->d_name;
      if (name != "." && name != "..") names.push_back(name);
    }
  }
  for (const std::string& name : names) removeAt(folder, name, path + "/" + name);
}

void removeAt(int parent, const std::string& name, const std::string& path) {
  struct stat info {};
  if (::fstatat(parent, name.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0) {
    if (errno == ENOENT) return;
    fail("stat", path);
  }
  struct stat above {};
  if (::fstat(parent, &above) != 0) fail("stat", path);
  if (above.st_dev != info.st_dev) {
    errno = EXDEV;  // a mount that could not be let go of; its contents are not ours to remove
    fail("remove", path);
  }
  const bool folder = S_ISDIR(info.st_mode);
  if (folder) {
    FileDescriptor fd(::openat(parent, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!fd) {
      ::fchmodat(parent, name.c_str(), 0700, 0);
      fd = FileDescriptor(::openat(parent, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    }
    if (!fd) fail("open", path);
    changeImmutable(fd.get(), false);
    ::fchmod(fd.get(), 0700);
    removeContents(fd.get(), path);
  }
  const int flags = folder ? AT_REMOVEDIR : 0;
  if (::unlinkat(parent, name.c_str(), flags) == 0) return;
  if (errno == EPERM && S_ISREG(info.st_mode)) {
    const FileDescriptor fd(::openat(parent, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (fd) changeImmutable(fd.get(), false);
    if (::unlinkat(parent, name.c_str(), flags) == 0) return;
  }
  fail("remove", path);
}

}  // namespace

void writeFile(const std::string& path, std::string_view bytes, mode_t mode) {
  makeFolder(std::filesystem::path(path).parent_path());
  const FileDescriptor fd(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
  if (!fd) fail("create", path);
  while (!bytes.empty()) {
    const ssize_t written = ::write(fd.get(), bytes.data(), bytes.size());
    if (written < 0) fail("write", path);
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  if (::fchmod(fd.get(), mode) != 0) fail("chmod", path);
}

std::string readFile(const std::string& path) {
  const std::ifstream file(path, std::ios::binary);
  if (!file) fail("read", path);
  std::ostringstream bytes;
  if (file.rdbuf()->sgetc() != std::char_traits<char>::eof()) bytes << file.rdbuf();
  return std::move(bytes).str();
}

void makeFolder(const std::string& path) {
  std::filesystem::create_directories(path);
}

bool exists(const std::string& path) {
  struct stat info {};
  return ::lstat(path.c_str(), &info) == 0;
}

bool isFolder(const std::string& path) {
  struct stat info {};
  return ::lstat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

std::vector<std::string> namesIn(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder))
    names.push_back(entry.path().filename());
  std::sort(names.begin(), names.end());
  return names;
}

bool setImmutableFlag(const std::string& path, bool immutable) {
  const FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!fd) fail("open", path);
  return changeImmutable(fd.get(), immutable);
}

void removeEverything(const std::string& path) {
  if (!exists(path)) return;
  Mounts::release(path);
  const std::string parent = std::filesystem::path(path).parent_path();
  const FileDescriptor fd(::open(parent.empty() ? "." : parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!fd) fail("open", parent);
  removeAt(fd.get(), std::filesystem::path(path).filename(), path);
}

}  // namespace fernwahrung
