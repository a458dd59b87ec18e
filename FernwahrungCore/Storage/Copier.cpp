#include "Storage/Copier.h"

#include "Foundation/ByteFormat.h"
#include "Foundation/ChildProcess.h"
#include "Foundation/Clock.h"
#include "Foundation/Errors.h"
#include "Foundation/Log.h"
#include "Foundation/PathString.h"
#include "Foundation/Text.h"
#include "Platform/Directory.h"
#include "Platform/FileChanges.h"
#include "Platform/FileInfo.h"
#include "Storage/FileOps.h"
#include "Storage/HardLinks.h"
#include "Storage/Verifier.h"

#include <algorithm>
#include <chrono>
#include <fmt/format.h>
#include <thread>
#include <utility>

namespace fernwahrung::Copier {
namespace {

/// ditto merges into an existing folder and keeps all metadata. It goes on after errors, so whoever calls
/// this proves the copy afterwards.
class Ditto {
 public:
  Ditto(const std::string& source, const std::string& destination)
      : process_("/usr/bin/ditto", {source, destination}, ChildProcess::Stream::null,
                 ChildProcess::Stream::captured) {}
  /// A copy that is given up is ended first; its process is waited for in any case.
  ~Ditto() { process_.terminate(); }

  /// Waits for the end, at most 0.1 s. Real time, whatever clock is installed: what is waited for is a
  /// process. The waits begin short, so that a small copy costs no more than it takes.
  bool hasEnded() {
    if (process_.poll()) return true;
    std::this_thread::sleep_for(wait_);
    wait_ = std::min(2 * wait_, std::chrono::milliseconds(100));
    return process_.poll().has_value();
  }

  /// Waits for the end, and throws unless ditto was content.
  void finish() {
    const std::int32_t status = process_.wait();
    const std::string errors = Text::repairedUtf8(process_.takeError());
    if (status != 0) {
      throw FernwahrungError::message(fmt::format("Kopieren fehlgeschlagen (Code {}):\n{}", status, errors));
    }
    if (!errors.empty()) throw FernwahrungError::message(fmt::format("Kopieren meldete Fehler:\n{}", errors));
  }

 private:
  ChildProcess process_;
  std::chrono::milliseconds wait_{1};
};

/// Estimates how much has been written from the used space of the volume that holds the folder.
class Progress {
 public:
  Progress(std::string folder, std::int64_t totalBytes, std::int64_t baseline)
      : folder_(std::move(folder)), totalBytes_(totalBytes), baseline_(baseline) {}

  /// The first time at once, then once a second.
  void reportWhenDue(const OperationContext& context) {
    const Date now = Clock::now();
    if (lastReport_ && now - *lastReport_ < std::chrono::seconds(1)) return;
    lastReport_ = now;
    const std::int64_t used = FileOps::usedBytesOnVolume(folder_).value_or(baseline_);
    const std::int64_t written = std::max<std::int64_t>(used - baseline_, 0);
    std::optional<double> fraction;
    if (totalBytes_ >= 1)
      fraction = std::min(static_cast<double>(written) / static_cast<double>(totalBytes_), 0.99);
    context.report(
        fmt::format("Kopiere … ca. {} von {}", ByteFormat::string(written), ByteFormat::string(totalBytes_)),
        fraction);
  }

 private:
  const std::string folder_;
  const std::int64_t totalBytes_;
  const std::int64_t baseline_;
  std::optional<Date> lastReport_;
};

void copyByDitto(const std::string& source, const std::string& destination, Progress& progress,
                 const OperationContext& context) {
  context.checkCancelled();
  Log::write(fmt::format("$ ditto \"{}\" \"{}\"", source, destination));
  Ditto copy(source, destination);
  do {
    context.checkCancelled();
    progress.reportWhenDue(context);
  } while (!copy.hasEnded());
  copy.finish();
}

void copySymlink(const std::string& source, const std::string& destination) {
  const auto text = FileOps::symlinkDestination(source);
  if (!text) throw FernwahrungError::message(fmt::format("Symlink nicht lesbar: {}", source));
  if (const auto error = Platform::makeSymlink(*text, destination)) {
    throw SystemError("Symlink konnte nicht angelegt werden", destination, error.value());
  }
  if (const auto info = Platform::fileInfo(source)) {
    // a link works as well with another time: where the file system keeps none, nothing is lost
    static_cast<void>(Platform::setModificationTime(destination, *info));
  }
}

std::vector<std::string> namesToCopy(const std::string& volumeRoot) {
  auto names = Platform::names(volumeRoot);
  std::erase_if(names, [](const std::string& name) { return Verifier::isIgnoredVolumeEntry(name); });
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace

void ditto(const std::string& source, const std::string& destination, std::int64_t totalBytes,
           std::int64_t baseline, OperationContext& context) {
  Progress progress(destination, totalBytes, baseline);
  copyByDitto(source, destination, progress, context);
}

void copyItem(const std::string& source, const std::string& destination) {
  Ditto(source, destination).finish();
}

void copyContents(const std::string& source, const std::string& destination, std::int64_t totalBytes,
                  bool sourceIsVolumeRoot, OperationContext& context) {
  Progress progress(destination, totalBytes, FileOps::usedBytesOnVolume(destination).value_or(0));
  if (!sourceIsVolumeRoot) {
    copyByDitto(source, destination, progress, context);
  } else {
    const std::vector<std::string> names = namesToCopy(source);
    for (const std::string& name : names) {
      const std::string from = PathString::join(source, name);
      const std::string to = PathString::join(destination, name);
      if (FileOps::isSymlink(from)) {
        copySymlink(from, to);
      } else {
        copyByDitto(from, to, progress, context);
      }
    }
    HardLinks::rejoin(source, names, destination, context);
  }
  context.report("Kopieren abgeschlossen", 1.0);
}

}  // namespace fernwahrung::Copier
