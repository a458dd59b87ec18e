#include "Storage/Verifier.h"

#include "Foundation/ByteFormat.h"
#include "Foundation/Clock.h"
#include "Foundation/Errors.h"
#include "Foundation/FileDescriptor.h"
#include "Foundation/PathString.h"
#include "Platform/Directory.h"
#include "Platform/FileInfo.h"
#include "Platform/ReadAhead.h"
#include "Storage/ReadRetry.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <memory>
#include <unistd.h>
#include <utility>

namespace fernwahrung::Verifier {
namespace {

constexpr std::size_t bufferSize = 1048576;
constexpr std::size_t problemLimit = 200;
/// How far the reading is announced to the system ahead of itself on each side: in one file, and in coming
/// files of the folder. Enough to keep both drives busy, and little beside the memory of any Mac.
constexpr std::int64_t adviceAhead = 8 * 1048576;
constexpr std::int64_t adviceUnit = 1048576;
constexpr std::size_t filesAhead = 16;

/// The names of one folder, sorted, in memory that is used again for the next folder.
class NameList {
 public:
  void read(Directory& folder, bool isVolumeRoot) {
    bytes_.clear();
    offsets_.clear();
    while (const char* name = folder.next()) {
      const std::string_view text = name;
      if (ignoredNames.contains(text) || (isVolumeRoot && isIgnoredVolumeEntry(text))) continue;
      offsets_.push_back(bytes_.size());
      bytes_.append(text).push_back('\0');
    }
    std::sort(offsets_.begin(), offsets_.end(),
              [this](std::size_t a, std::size_t b) { return std::strcmp(at(a), at(b)) < 0; });
  }

  std::size_t size() const { return offsets_.size(); }
  const char* operator[](std::size_t index) const { return at(offsets_[index]); }

 private:
  const char* at(std::size_t offset) const { return bytes_.data() + offset; }

  std::string bytes_;
  std::vector<std::size_t> offsets_;
};

/// A file of one folder, named by its place there; the full path is put together only for a message.
struct FileName {
  const Directory& folder;
  const char* name;

  std::string path() const { return PathString::join(folder.path(), name); }
};

/// Not followed: a link that has taken the file's place since it was looked at is an error, not another file.
int tryOpen(const FileName& file) {
  return ReadRetry::openRetrying(
      [&] { return ::openat(file.folder.descriptor(), file.name, O_RDONLY | O_NOFOLLOW | O_CLOEXEC); });
}

FileDescriptor openFile(const FileName& file) {
  FileDescriptor fd(tryOpen(file));
  if (!fd) {
    throw FernwahrungError::message(
        fmt::format("Datei kann nicht geöffnet werden: {} ({})", file.path(), errnoText(errno)));
  }
  return fd;
}

/// One side of the comparison of two contents.
class Reader {
 public:
  Reader() : buffer_(new std::byte[bufferSize]) {}

  void fill(const FileDescriptor& fd, const FileName& file) {
    const auto filled = ReadRetry::readFully(
        [&](std::size_t offset, std::size_t length) {
          return ::read(fd.get(), buffer_.get() + offset, length);
        },
        bufferSize);
    // Nothing at all, not even the end, after all retries: that proves nothing.
    if (!filled || (filled->count == 0 && !filled->reachedEnd)) {
      throw FernwahrungError::message(fmt::format("Lesefehler: {} ({})", file.path(), errnoText(errno)));
    }
    filled_ = *filled;
  }

  std::size_t count() const { return filled_.count; }
  bool reachedEnd() const { return filled_.reachedEnd; }
  bool holdsSameAs(const Reader& other) const {
    return count() == other.count() && std::memcmp(buffer_.get(), other.buffer_.get(), count()) == 0;
  }

 private:
  std::unique_ptr<std::byte[]> buffer_;
  ReadRetry::Filled filled_;
};

/// What is known of a name of the source ahead of its turn. Two files that will be read are open already and
/// their beginnings announced, so that both drives work on the coming files while the present ones are
/// compared.
struct Candidate {
  std::optional<FileInfo> source;
  std::optional<FileInfo> copy;
  FileDescriptor sourceFile;
  FileDescriptor copyFile;
  std::int64_t advised = 0;
};

class Comparison {
 public:
  Comparison(const CompareOptions& options, const OperationContext& context)
      : options_(options), context_(context) {}

  VerifyReport run(const std::string& source, const std::string& copy) {
    std::vector<FolderPair> pending = {{source, copy}};
    bool isRoot = true;
    while (!pending.empty()) {
      const FolderPair pair = std::move(pending.back());
      pending.pop_back();
      context_.checkCancelled();
      compareFolder(pair, isRoot, pending);
      isRoot = false;
    }
    context_.report(fmt::format("Prüfung abgeschlossen: {} Dateien, {}", report_.files,
                                ByteFormat::string(report_.bytes)),
                    1.0);
    return std::move(report_);
  }

  bool filesAreEqual(const FileName& source, const FileName& copy) {
    Candidate candidate = lookAt(source, copy);
    return candidate.source && candidate.source->type == FileType::file && candidate.copy &&
           candidate.copy->type == FileType::file && candidate.source->size == candidate.copy->size &&
           contentsAreEqual(source, copy, candidate);
  }

 private:
  struct FolderPair {
    std::string source;
    std::string copy;
  };

  void compareFolder(const FolderPair& pair, bool isRoot, std::vector<FolderPair>& pending) {
    Directory source(pair.source);
    Directory copy(pair.copy);
    sourceNames_.read(source, isRoot && options_.sourceIsVolumeRoot);
    copyNames_.read(copy, isRoot && options_.destinationIsVolumeRoot);
    reportSurplus(copy);

    std::size_t ahead = 0;
    for (std::size_t index = 0; index < sourceNames_.size(); ++index) {
      for (; ahead < sourceNames_.size() && ahead < index + filesAhead; ++ahead) {
        candidates_[ahead % filesAhead] = lookAt({source, sourceNames_[ahead]}, {copy, sourceNames_[ahead]});
      }
      const FileName sourceFile{source, sourceNames_[index]};
      const FileName copyFile{copy, sourceNames_[index]};
      Candidate candidate = std::move(candidates_[index % filesAhead]);
      if (!isComparable(candidate, sourceFile, copyFile)) continue;
      if (candidate.source->type == FileType::directory)
        pending.push_back({sourceFile.path(), copyFile.path()});
      compareEntry(candidate, sourceFile, copyFile);
      reportProgress();
    }
  }

  void reportSurplus(const Directory& copy) {
    std::size_t index = 0;
    for (std::size_t copyIndex = 0; copyIndex < copyNames_.size(); ++copyIndex) {
      const char* name = copyNames_[copyIndex];
      while (index < sourceNames_.size() && std::strcmp(sourceNames_[index], name) < 0) ++index;
      const bool isInSource = index < sourceNames_.size() && std::strcmp(sourceNames_[index], name) == 0;
      if (!isInSource) addProblem("Nur in der Kopie vorhanden: {}", FileName{copy, name}.path());
    }
  }

  Candidate lookAt(const FileName& source, const FileName& copy) {
    Candidate candidate;
    candidate.source = source.folder.info(source.name);
    if (!candidate.source) return candidate;
    candidate.copy = copy.folder.info(copy.name);
    const bool willBeRead = candidate.copy && candidate.source->type == FileType::file &&
                            candidate.copy->type == FileType::file &&
                            candidate.source->size == candidate.copy->size && candidate.source->size > 0;
    if (!willBeRead) return candidate;
    // A failure tells nothing yet: the file's turn may never come. It is opened again then.
    candidate.sourceFile = FileDescriptor(tryOpen(source));
    candidate.copyFile = FileDescriptor(tryOpen(copy));
    if (candidate.sourceFile && candidate.copyFile) advise(candidate, adviceUnit);
    return candidate;
  }

  /// Announces both files up to `end` or their own.
  static void advise(Candidate& candidate, std::int64_t end) {
    end = std::min(end, candidate.source->size);
    while (candidate.advised < end) {
      const std::int64_t length = std::min(adviceUnit, end - candidate.advised);
      Platform::adviseWillRead(candidate.sourceFile.get(), candidate.advised, length);
      Platform::adviseWillRead(candidate.copyFile.get(), candidate.advised, length);
      candidate.advised += length;
    }
  }

  bool isComparable(const Candidate& candidate, const FileName& source, const FileName& copy) {
    if (!candidate.source) {
      addProblem("Original nicht lesbar: {}", source.path());
    } else if (!candidate.copy) {
      addProblem("Fehlt in der Kopie: {}", copy.path());
    } else if (candidate.source->format != candidate.copy->format) {
      addProblem("Unterschiedlicher Typ: {}", source.path());
    } else {
      return true;
    }
    return false;
  }

  void compareEntry(Candidate& candidate, const FileName& source, const FileName& copy) {
    switch (candidate.source->type) {
      case FileType::directory:
        ++report_.directories;
        break;
      case FileType::symlink:
        ++report_.symlinks;
        if (Platform::linkTextAt(source.folder.descriptor(), source.name) !=
            Platform::linkTextAt(copy.folder.descriptor(), copy.name)) {
          addProblem("Symlink zeigt woanders hin: {}", source.path());
        }
        break;
      case FileType::file:
        compareFile(candidate, source, copy);
        break;
      case FileType::other:
        break;
    }
  }

  void compareFile(Candidate& candidate, const FileName& source, const FileName& copy) {
    ++report_.files;
    const std::int64_t size = candidate.source->size;
    if (size != candidate.copy->size) {
      addProblem("Andere Größe: {} ({} ≠ {} Bytes)", source.path(), size, candidate.copy->size);
    } else if (!contentsAreEqual(source, copy, candidate)) {
      addProblem("Anderer Inhalt: {}", source.path());
    }
    report_.bytes += size;
  }

  bool contentsAreEqual(const FileName& source, const FileName& copy, Candidate& candidate) {
    if (!candidate.sourceFile) candidate.sourceFile = openFile(source);
    if (!candidate.copyFile) candidate.copyFile = openFile(copy);
    for (std::int64_t position = 0;; position += bufferSize) {
      context_.checkCancelled();
      if (candidate.source->size > adviceUnit) advise(candidate, position + adviceAhead);
      sourceReader_.fill(candidate.sourceFile, source);
      copyReader_.fill(candidate.copyFile, copy);
      if (!sourceReader_.holdsSameAs(copyReader_)) return false;
      if (sourceReader_.reachedEnd() && copyReader_.reachedEnd()) return true;
    }
  }

  template <typename... Values>
  void addProblem(fmt::format_string<Values...> text, Values&&... values) {
    if (report_.problems.size() < problemLimit) {
      report_.problems.push_back(fmt::format(text, std::forward<Values>(values)...));
    }
  }

  void reportProgress() {
    const Date now = Clock::now();
    if (lastReport_ && now - *lastReport_ <= std::chrono::milliseconds(500)) return;
    lastReport_ = now;
    std::optional<double> fraction;
    if (options_.totalBytes) {
      const auto total = *options_.totalBytes;
      fraction =
          total < 1 ? 1.0 : std::min(static_cast<double>(report_.bytes) / static_cast<double>(total), 1.0);
    }
    context_.report(fmt::format("Prüfe Datei für Datei … {} Dateien, {}", report_.files,
                                ByteFormat::string(report_.bytes)),
                    fraction);
  }

  const CompareOptions options_;
  const OperationContext& context_;
  VerifyReport report_;
  std::optional<Date> lastReport_;
  NameList sourceNames_;
  NameList copyNames_;
  std::array<Candidate, filesAhead> candidates_;
  Reader sourceReader_;
  Reader copyReader_;
};

}  // namespace

const std::set<std::string, std::less<>> ignoredNames = {".DS_Store"};

const std::set<std::string, std::less<>> ignoredVolumeEntries = {".fseventsd",
                                                                 ".Spotlight-V100",
                                                                 ".Trashes",
                                                                 ".TemporaryItems",
                                                                 ".DocumentRevisions-V100",
                                                                 ".VolumeIcon.icns",
                                                                 ".com.apple.timemachine.donotpresent"};

bool isIgnoredVolumeEntry(std::string_view name) {
  constexpr std::string_view setAside = "-bad";
  constexpr std::string_view digits = "0123456789";
  if (ignoredVolumeEntries.contains(name)) return true;
  return std::any_of(ignoredVolumeEntries.begin(), ignoredVolumeEntries.end(), [&](std::string_view entry) {
    if (entry.find(".icns") != std::string_view::npos || !name.starts_with(entry)) return false;
    std::string_view rest = name.substr(entry.size());
    if (!rest.starts_with(setAside)) return false;
    rest.remove_prefix(setAside.size());
    if (rest.empty()) return true;
    return rest.size() >= 2 && rest.front() == '-' &&
           rest.find_first_not_of(digits, 1) == std::string_view::npos;
  });
}

Fingerprint fingerprint(const std::string& path, bool isVolumeRoot) {
  Fingerprint result;
  std::vector<std::string> pending = {path};
  bool isRoot = true;
  while (!pending.empty()) {
    Directory folder(std::exchange(pending.back(), {}));
    pending.pop_back();
    while (const char* name = folder.next()) {
      if (ignoredNames.contains(std::string_view(name))) continue;
      if (isRoot && isVolumeRoot && isIgnoredVolumeEntry(name)) continue;
      const auto info = folder.info(name);
      if (!info) continue;
      if (info->type == FileType::directory) {
        ++result.directories;
        pending.push_back(PathString::join(folder.path(), name));
        continue;
      }
      ++result.files;
      if (info->type != FileType::file) continue;
      result.bytes += info->size;
      result.newestChange =
          std::max(result.newestChange, static_cast<double>(info->modifiedSeconds) +
                                            static_cast<double>(info->modifiedNanoseconds) / 1'000'000'000.0);
    }
    isRoot = false;
  }
  return result;
}

VerifyReport compare(const std::string& source, const std::string& copy, CompareOptions options,
                     OperationContext& context) {
  return Comparison(options, context).run(source, copy);
}

bool filesAreEqual(const std::string& source, const std::string& copy, const OperationContext& context) {
  const Directory sourceFolder(PathString::parent(source));
  const Directory copyFolder(PathString::parent(copy));
  const std::string sourceName = PathString::lastComponent(source);
  const std::string copyName = PathString::lastComponent(copy);
  return Comparison({}, context)
      .filesAreEqual({sourceFolder, sourceName.c_str()}, {copyFolder, copyName.c_str()});
}

}  // namespace fernwahrung::Verifier
