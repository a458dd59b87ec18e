#include "Storage/Verifier.h"

#include "Foundation/ByteFormat.h"
#include "Foundation/Clock.h"
#include "Foundation/FileDescriptor.h"
#include "Foundation/PathString.h"
#include "Platform/Directory.h"
#include "Platform/FileInfo.h"
#include "Platform/ReadAhead.h"
#include "Storage/PairReader.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <fmt/format.h>
#include <utility>

namespace fernwahrung::Verifier {
namespace {

constexpr std::size_t problemLimit = 200;
/// How many coming files of a folder are announced to the system: enough to keep both drives busy with small
/// files. What is larger than a buffer is read on both sides at once, and the systems read ahead in it by
/// themselves; announcing it too would cost Linux its large pages.
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

/// What is known of a name of the source ahead of its turn. Two files that will be read are open already, and
/// small ones announced, so that both drives work on the coming files while the present ones are compared.
struct Candidate {
  std::optional<FileInfo> source;
  std::optional<FileInfo> copy;
  FileDescriptor sourceFile;
  FileDescriptor copyFile;
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
    if (!options_.quiet) {
      context_.report(fmt::format("Prüfung abgeschlossen: {} Dateien, {}", report_.files,
                                  ByteFormat::string(report_.bytes)),
                      1.0);
    }
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
    candidate.sourceFile = FileDescriptor(tryOpenFile(source));
    candidate.copyFile = FileDescriptor(tryOpenFile(copy));
    if (candidate.sourceFile && candidate.copyFile && !isLarge(candidate)) {
      Platform::adviseWillRead(candidate.sourceFile.get(), 0, candidate.source->size);
      Platform::adviseWillRead(candidate.copyFile.get(), 0, candidate.source->size);
    }
    return candidate;
  }

  static bool isLarge(const Candidate& candidate) {
    return candidate.source->size > static_cast<std::int64_t>(PairReader::pieceSize);
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
    reader_.begin({source, candidate.sourceFile}, {copy, candidate.copyFile}, isLarge(candidate));
    do {
      context_.checkCancelled();
      if (!reader_.nextIsEqual()) return false;
    } while (!reader_.reachedEnd());
    return true;
  }

  template <typename... Values>
  void addProblem(fmt::format_string<Values...> text, Values&&... values) {
    if (report_.problems.size() < problemLimit) {
      report_.problems.push_back(fmt::format(text, std::forward<Values>(values)...));
    }
  }

  void reportProgress() {
    if (options_.quiet) return;
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
  PairReader reader_;
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
