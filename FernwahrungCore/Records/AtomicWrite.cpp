#include "Records/AtomicWrite.h"

#include "Foundation/BlockingCalls.h"
#include "Foundation/Errors.h"
#include "Foundation/FileDescriptor.h"
#include "Foundation/PathString.h"
#include "Foundation/Uuid.h"
#include "Platform/FileChanges.h"
#include "Platform/FileInfo.h"

#include <cerrno>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace fernwahrung::FileOps {

namespace {

/// A new file is no safer than the names of the folders above it, and those may be as new and made by
/// somebody who did not flush them. The deepest of the program's own are the journals': their folder, in the
/// program's.
constexpr int foldersOfOurOwn = 2;

std::string temporaryPath(const std::string& path) {
  return PathString::join(PathString::parent(path),
                          fmt::format(".{}.{}.tmp", PathString::lastComponent(path), Uuid::random().text()));
}

/// The old content under a second name. It is never copied and never the file that is written next, so a
/// failure costs the backup alone.
void linkBackup(const std::string& path) {
  const auto backup = path + ".bak";
  static_cast<void>(Platform::unlink(backup));
  static_cast<void>(Platform::hardLink(path, backup));
}

/// Flushes so many folders from the file's own upwards. A failure counts for nothing: every reader already
/// sees the new content, so an error would make the caller believe in the old one; and some file systems of
/// external drives refuse to flush a folder at all.
void flushFolders(const std::string& path, int count) {
  auto folder = PathString::parent(path);
  for (; count > 0 && !folder.empty(); --count) {
    static_cast<void>(Platform::flushDirectory(folder));
    folder = PathString::parent(folder);
  }
}

[[noreturn]] void throwUnreadable(const std::string& path, int code) {
  throw SystemError("Datei kann nicht gelesen werden", path, code);
}

FileDescriptor openForReading(const std::string& path) {
  BlockingCalls::announce("open");
  // Without O_NONBLOCK the opening of a pipe waits for a writer.
  FileDescriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  if (!file) throwUnreadable(path, errno);
  struct stat info {};
  if (::fstat(file.get(), &info) != 0) throwUnreadable(path, errno);
  if (S_ISDIR(info.st_mode)) throwUnreadable(path, EISDIR);
  if (!S_ISREG(info.st_mode)) throwUnreadable(path, EINVAL);
  return file;
}

}  // namespace

void atomicWrite(std::string_view data, const std::string& path, bool keepBackup) {
  const bool isNew = !Platform::fileInfo(path);
  const auto temporary = temporaryPath(path);
  if (Platform::createFile(temporary)) {
    throw FernwahrungError::message("Datei kann nicht geschrieben werden: " + path);
  }
  if (const auto error = Platform::writeAndFlush(temporary, data)) {
    throw SystemError("Datei kann nicht geschrieben werden", path, error.value());
  }
  if (keepBackup && !isNew) linkBackup(path);
  if (Platform::rename(temporary, path)) {
    throw FernwahrungError::message("Datei kann nicht gespeichert werden: " + path);
  }
  flushFolders(path, isNew ? 1 + foldersOfOurOwn : 1);
}

std::string readFile(const std::string& path) {
  const auto file = openForReading(path);
  std::string bytes;
  std::vector<char> block(1 << 16);
  while (true) {
    const auto count = ::read(file.get(), block.data(), block.size());
    if (count == 0) return bytes;
    if (count > 0) {
      bytes.append(block.data(), static_cast<std::size_t>(count));
    } else if (errno != EINTR) {
      throwUnreadable(path, errno);
    }
  }
}

}  // namespace fernwahrung::FileOps
