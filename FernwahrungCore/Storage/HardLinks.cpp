#include "Storage/HardLinks.h"

#include "Foundation/Errors.h"
#include "Foundation/PathString.h"
#include "Foundation/Uuid.h"
#include "Platform/Directory.h"
#include "Platform/FileChanges.h"
#include "Platform/FileInfo.h"

#include <fmt/format.h>
#include <map>
#include <utility>
#include <vector>

namespace fernwahrung::HardLinks {
namespace {

using Inode = std::pair<std::uint64_t, std::uint64_t>;

/// The names of each file that has several of them in the tree, below its top folder.
std::map<Inode, std::vector<std::string>> sharedFiles(const std::string& root) {
  std::map<Inode, std::vector<std::string>> files;
  std::vector<std::string> pending = {""};
  while (!pending.empty()) {
    const std::string below = std::exchange(pending.back(), {});
    pending.pop_back();
    Directory folder(below.empty() ? root : PathString::join(root, below));
    while (const char* name = folder.next()) {
      const auto info = folder.info(name);
      if (!info) continue;
      if (info->type == FileType::directory) {
        pending.push_back(PathString::join(below, name));
      } else if (info->type == FileType::file && info->links > 1) {
        files[{info->device, info->inode}].push_back(PathString::join(below, name));
      }
    }
  }
  return files;
}

void replaceByLink(const std::string& existing, const std::string& path) {
  const std::string temporary = fmt::format("{}.{}.tmp", path, Uuid::random().text());
  const std::string folder = PathString::parent(path);
  const auto folderBefore = Platform::fileInfo(folder);
  auto error = Platform::hardLink(existing, temporary);
  if (!error) error = Platform::rename(temporary, path);
  if (!error && folderBefore) error = Platform::setModificationTime(folder, *folderBefore);
  if (error) throw SystemError("Der harte Verweis kann nicht angelegt werden", path, error.value());
}

}  // namespace

void rejoin(const std::string& source, const std::string& copy) {
  for (const auto& [inode, names] : sharedFiles(source)) {
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
        replaceByLink(first, path);
      }
    }
  }
}

}  // namespace fernwahrung::HardLinks
