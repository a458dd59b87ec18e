#include "Storage/HardLinks.h"

#include "Foundation/Errors.h"
#include "Foundation/Log.h"
#include "Foundation/PathString.h"
#include "Foundation/Uuid.h"
#include "Platform/Directory.h"
#include "Platform/FileChanges.h"
#include "Platform/FileInfo.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fmt/format.h>
#include <map>
#include <utility>

namespace fernwahrung::HardLinks {
namespace {

using Inode = std::pair<std::uint64_t, std::uint64_t>;

/// The names of each file that has several of them in the entries and below.
class SharedFiles {
 public:
  SharedFiles(const std::string& root, const std::vector<std::string>& entries,
              const OperationContext& context) {
    for (const std::string& entry : entries) note(entry, Platform::fileInfo(PathString::join(root, entry)));
    while (!pending_.empty()) {
      context.checkCancelled();
      const std::string below = std::move(pending_.back());
      pending_.pop_back();
      Directory folder(PathString::join(root, below));
      while (const char* name = folder.next()) note(PathString::join(below, name), folder.info(name));
    }
  }

  const std::map<Inode, std::vector<std::string>>& names() const { return names_; }

 private:
  void note(const std::string& path, const std::optional<FileInfo>& info) {
    if (!info) return;
    if (info->type == FileType::directory) {
      pending_.push_back(path);
    } else if (info->type == FileType::file && info->links > 1) {
      names_[{info->device, info->inode}].push_back(path);
    }
  }

  std::map<Inode, std::vector<std::string>> names_;
  std::vector<std::string> pending_;
};

/// The file may not be changed or replaced, its folder not be written to, or the file system knows no further
/// name for it.
bool allowsNoLink(std::error_code error) {
  constexpr std::array codes = {EPERM, EACCES, EMLINK, ENAMETOOLONG, ENOTSUP, EOPNOTSUPP};
  return std::find(codes.begin(), codes.end(), error.value()) != codes.end();
}

std::error_code replaceByLink(const std::string& existing, const std::string& path) {
  const std::string folder = PathString::parent(path);
  const std::string temporary = PathString::join(folder, fmt::format(".{}.tmp", Uuid::random().text()));
  const auto folderBefore = Platform::fileInfo(folder);
  if (const auto error = Platform::hardLink(existing, temporary)) return error;
  auto error = Platform::rename(temporary, path);
  if (error) Platform::unlink(temporary);
  if (folderBefore) {
    const auto timeError = Platform::setModificationTime(folder, *folderBefore);
    if (!error) error = timeError;
  }
  return error;
}

}  // namespace

void rejoin(const std::string& source, const std::vector<std::string>& entries, const std::string& copy,
            const OperationContext& context) {
  const SharedFiles shared(source, entries, context);
  std::size_t separate = 0;
  std::string firstReason;
  for (const auto& [inode, names] : shared.names()) {
    context.checkCancelled();
    std::string first;
    std::uint64_t firstInode = 0;
    for (const std::string& name : names) {
      const std::string path = PathString::join(copy, name);
      const auto info = Platform::fileInfo(path);
      if (!info || info->type != FileType::file) continue;
      if (first.empty()) {
        first = path;
        firstInode = info->inode;
      } else if (info->inode != firstInode) {
        const auto error = replaceByLink(first, path);
        if (!error) continue;
        if (!allowsNoLink(error)) {
          throw SystemError("Der harte Verweis kann nicht angelegt werden", path, error.value());
        }
        if (separate++ == 0) firstReason = fmt::format("{} ({})", path, errnoText(error.value()));
      }
    }
  }
  if (separate > 0) {
    Log::write(fmt::format("Harte Verweise nicht angelegt, eigene Kopien bleiben: {}, zuerst {}", separate,
                           firstReason));
  }
}

}  // namespace fernwahrung::HardLinks
