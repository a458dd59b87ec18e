#include "Engine/Operation.h"

#include "Engine/Rollback.h"
#include "Foundation/Clock.h"
#include "Foundation/Errors.h"
#include "Foundation/Log.h"
#include "Foundation/PathString.h"
#include "Foundation/Paths.h"
#include "Platform/FileChanges.h"
#include "Storage/FileOps.h"

#include <fmt/format.h>
#include <future>

namespace fernwahrung::Relocator {
namespace {

void requireFlushed(const std::error_code& error, const std::string& copy) {
  if (!error) return;
  throw FernwahrungError::message(fmt::format(
      "Die Kopie konnte nicht auf das Laufwerk geschrieben werden: {} ({})", copy, errnoText(error.value())));
}

}  // namespace

void runJournalled(Journal& journal, const std::string& subject, OperationContext& context,
                   const std::function<void()>& steps) {
  journal.save();
  Log::write(fmt::format("=== {} gestartet: {}", title(journal.kind), subject));
  try {
    steps();
  } catch (const std::exception& error) {
    rollbackAfterFailure(journal, error, context);
    throw;
  }
  journal.close();
  Log::write(fmt::format("=== {} erfolgreich", title(journal.kind)));
}

void carryOverFolderAttributes(const std::string& source, const std::string& destination) {
  if (auto error = Platform::copyDirectoryAttributes(source, destination)) {
    throw FernwahrungError::message(
        fmt::format("Rechte und Eigenschaften des Ordners konnten nicht übertragen werden: {} → {} ({})",
                    source, destination, errnoText(error.value())));
  }
}

void proveCopy(const std::string& source, const std::string& copy, Verifier::CompareOptions options,
               OperationContext& context) {
  // its destructor waits: on every way out the volume is free to be detached
  std::future<std::error_code> flush =
      std::async(std::launch::async, [&copy] { return Platform::flushVolume(copy); });
  VerifyReport report = Verifier::compare(source, copy, options, context);
  if (!report.isIdentical()) throw FernwahrungError::verificationFailed(report.problems);
  requireFlushed(flush.get(), copy);
}

void flushToDrive(const std::string& item) {
  requireFlushed(Platform::flushVolume(PathString::parent(item)), item);
}

void createSymlink(const std::string& target, const std::string& path) {
  if (auto error = Platform::makeSymlink(target, path)) {
    throw SystemError("Der Symlink kann nicht angelegt werden", path, error.value());
  }
  FileOps::flushName(path);
}

std::error_code removeSymlink(const std::string& path) {
  auto error = Platform::unlink(path);
  if (!error) FileOps::flushName(path);
  return error;
}

void removeEmptyMountPoint(const std::string& path) {
  if (!FileOps::removeEmptyDirectory(path)) {
    throw FernwahrungError::message("Leerer Einhängepunkt konnte nicht entfernt werden: " + path);
  }
  FileOps::flushName(path);
}

std::string placeOf(const std::string& path) {
  return PathString::join(FileOps::normalize(PathString::parent(path)), PathString::lastComponent(path));
}

std::string siblingPath(const std::string& sourcePath, const std::string& mark) {
  return fmt::format("{}.{}-{}", sourcePath, mark, Paths::timestamp(Clock::now()));
}

}  // namespace fernwahrung::Relocator
