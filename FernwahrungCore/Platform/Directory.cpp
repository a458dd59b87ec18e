#include "Platform/Directory.h"

#include "Foundation/BlockingCalls.h"
#include "Foundation/Errors.h"
#include "Foundation/FileDescriptor.h"

#include <cerrno>
#include <fcntl.h>
#include <string_view>

namespace fernwahrung {
namespace {

SystemError unreadable(const std::string& path, int code) {
  return SystemError("Der Ordner kann nicht gelesen werden", path, code);
}

}  // namespace

Directory::Directory(const std::string& path) : path_(path) {
  BlockingCalls::announce("open folder");
  FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!fd) throw unreadable(path, errno);
  stream_.reset(::fdopendir(fd.get()));
  if (!stream_) throw unreadable(path, errno);
  fd.release();
}

const char* Directory::next() {
  for (;;) {
    // A null pointer means the end or an error, and only errno tells which.
    errno = 0;
    const dirent* entry = ::readdir(stream_.get());
    if (!entry) {
      if (errno != 0) throw unreadable(path_, errno);
      return nullptr;
    }
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") return entry->d_name;
  }
}

int Directory::descriptor() const {
  return ::dirfd(stream_.get());
}

std::vector<std::string> Directory::names() {
  std::vector<std::string> names;
  while (const char* name = next()) names.emplace_back(name);
  return names;
}

std::vector<std::string> Platform::names(const std::string& directory) {
  return Directory(directory).names();
}

}  // namespace fernwahrung
