#include "linux/Files.h"

#include "linux/Tools.h"

#include "Foundation/Errors.h"
#include "Foundation/FileDescriptor.h"
#include "Foundation/PathString.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

namespace fernwahrung::host {
namespace {

[[noreturn]] void fail() {
  throw Failure(reasonOf(errno));
}

}  // namespace

std::string reasonOf(int error) {
  if (error == EBUSY) return "Resource busy";
  return errnoText(error);
}

std::string absolutePath(const std::string& path) {
  if (path.starts_with('/')) return path;
  char folder[PATH_MAX];
  if (!::getcwd(folder, sizeof folder)) fail();
  return PathString::join(folder, path);
}

std::string canonicalPath(const std::string& path) {
  const std::unique_ptr<char, decltype(&std::free)> resolved(::realpath(path.c_str(), nullptr), &std::free);
  if (!resolved) fail();
  return resolved.get();
}

std::string canonicalPlace(const std::string& path) {
  const std::string absolute = absolutePath(path);
  const std::string name = PathString::lastComponent(absolute);
  if (absolute == "/" || name == "." || name == "..") return canonicalPath(absolute);
  return PathString::join(canonicalPath(PathString::parent(absolute)), name);
}

std::optional<std::string> fileText(const std::string& path) {
  const FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!fd) return std::nullopt;
  std::string text;
  for (char buffer[4096];;) {
    const ssize_t count = ::read(fd.get(), buffer, sizeof buffer);
    if (count == 0) return text;
    if (count > 0) {
      text.append(buffer, static_cast<std::size_t>(count));
    } else if (errno != EINTR) {
      return std::nullopt;
    }
  }
}

void writeWholeFile(const std::string& path, std::string_view bytes) {
  const FileDescriptor fd(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
  if (!fd) fail();
  while (!bytes.empty()) {
    const ssize_t count = ::write(fd.get(), bytes.data(), bytes.size());
    if (count >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(count));
    } else if (errno != EINTR) {
      fail();
    }
  }
  if (::fsync(fd.get()) != 0) fail();
}

void flushFolder(const std::string& path) {
  const FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  // Some file systems refuse to flush a folder; those have nothing to flush there.
  if (!fd || (::fsync(fd.get()) != 0 && errno != EINVAL)) fail();
}

}  // namespace fernwahrung::host
