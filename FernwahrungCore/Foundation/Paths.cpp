#include "Foundation/Paths.h"

#include "Foundation/BlockingCalls.h"
#include "Foundation/Errors.h"
#include "Foundation/Host.h"
#include "Foundation/PathString.h"

#include <cerrno>
#include <cstdlib>
#include <sys/stat.h>

namespace fernwahrung::Paths {

namespace {

bool isDirectory(const std::string& path) {
  struct stat info {};
  return ::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

}  // namespace

std::optional<std::string> homeOverride() {
  const char* value = std::getenv("FERNWAHRUNG_HOME");
  if (value == nullptr || *value == '\0') return std::nullopt;
  return value;
}

std::string homeDirectory() {
  return Host::homeDirectory();
}

std::string supportDirectory() {
  if (const auto override = homeOverride()) return *override;
  return PathString::join(homeDirectory(), "Library/Application Support/Fernwahrung");
}

std::string logFile() {
  if (const auto override = homeOverride()) return PathString::join(*override, "fernwahrung.log");
  return PathString::join(homeDirectory(), "Library/Logs/Fernwahrung/fernwahrung.log");
}

std::string registryFile() {
  return PathString::join(supportDirectory(), "registry.json");
}

std::string lockFile() {
  return PathString::join(supportDirectory(), "lock");
}

std::string journalDirectory() {
  return PathString::join(supportDirectory(), "journal");
}

std::string finishedJournalDirectory() {
  return PathString::join(journalDirectory(), "erledigt");
}

std::string tempMountDirectory() {
  return PathString::join(supportDirectory(), "mnt");
}

void ensure(const std::string& directory) {
  BlockingCalls::announce("stat");
  if (isDirectory(directory)) return;
  int code = Host::makeDirectory(directory);
  const auto parent = PathString::parent(directory);
  if (code == ENOENT && !parent.empty() && parent != directory) {
    ensure(parent);
    code = Host::makeDirectory(directory);
  }
  if (code == 0) return;
  // Another process may have made it between the two calls.
  if (code == EEXIST && isDirectory(directory)) return;
  throw SystemError("Der Ordner kann nicht angelegt werden", directory, code);
}

std::string timestamp(Date date) {
  return Dates::compactStamp(date);
}

}  // namespace fernwahrung::Paths
