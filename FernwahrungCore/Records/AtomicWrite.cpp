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

namespace fernwahrung::FileOps {

namespace {

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
  const auto temporary = temporaryPath(path);
  if (Platform::createFile(temporary)) {
    throw FernwahrungError::message("Datei kann nicht geschrieben werden: " + path);
  }
  if (const auto error = Platform::writeAndFlush(temporary, data)) {
    throw SystemError("Datei kann nicht geschrieben werden", path, error.value());
  }
  if (keepBackup && Platform::fileInfo(path)) linkBackup(path);
  if (Platform::rename(temporary, path)) {
    throw FernwahrungError::message("Datei kann nicht gespeichert werden: " + path);
  }
  // A failure counts for nothing: every reader already sees the new content, so an error would make the
  // caller believe in the old one; and some file systems of external drives refuse to flush a folder at all.
  static_cast<void>(Platform::flushDirectory(PathString::parent(path)));
}

std::string readFile(const std::string& path) {
  const auto file = openForReading(path);
  auto bytes = readToEnd(file.get());
  if (!bytes) throwUnreadable(path, errno);
  return std::move(*bytes);
}

}  // namespace fernwahrung::FileOps
