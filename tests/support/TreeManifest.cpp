#include "support/TreeManifest.h"

#include "support/SystemDifferences.h"

#include "Foundation/FileDescriptor.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace fernwahrung {
namespace {

using Entry = TreeManifest::Entry;

[[noreturn]] void fail(const std::string& what, const std::string& path) {
  throw std::system_error(errno, std::generic_category(), what + " " + path);
}

std::uint64_t mix(std::uint64_t hash, std::uint64_t word) {
  hash = (hash ^ word) * 0x9E3779B97F4A7C15ULL;
  return hash ^ (hash >> 29);
}

std::uint64_t contentHash(int fd, const std::string& path) {
  std::vector<char> buffer(1 << 18);
  std::uint64_t hash = 1;
  for (std::int64_t offset = 0;;) {
    std::size_t filled = 0;
    while (filled < buffer.size()) {
      const ssize_t count = ::pread(fd, buffer.data() + filled, buffer.size() - filled, offset);
      if (count < 0) fail("read", path);
      if (count == 0) break;
      filled += static_cast<std::size_t>(count);
      offset += count;
    }
    for (std::size_t i = 0; i < filled; i += 8) {
      std::uint64_t word = 0;
      std::memcpy(&word, buffer.data() + i, std::min<std::size_t>(8, filled - i));
      hash = mix(hash, word);
    }
    if (filled < buffer.size()) return mix(hash, static_cast<std::uint64_t>(offset));
  }
}

std::vector<std::pair<std::int64_t, std::int64_t>> dataRanges(int fd, std::int64_t size) {
  std::vector<std::pair<std::int64_t, std::int64_t>> ranges;
  for (std::int64_t offset = 0; offset < size;) {
    const std::int64_t begin = ::lseek(fd, offset, SEEK_DATA);
    if (begin < 0) break;
    offset = ::lseek(fd, begin, SEEK_HOLE);
    if (offset < 0) break;
    ranges.emplace_back(begin, offset);
  }
  return ranges;
}

std::map<std::string, std::string> attributesOf(const std::string& path) {
  std::map<std::string, std::string> result;
  std::string names(65536, '\0');
  const ssize_t length = attributeNamesAt(path, names.data(), names.size());
  if (length < 0) {
    if (errno == ENOTSUP) return result;
    fail("list attributes of", path);
  }
  for (std::size_t begin = 0; begin < static_cast<std::size_t>(length);) {
    const std::string name = names.c_str() + begin;
    begin += name.size() + 1;
    std::string value(65536, '\0');
    const ssize_t size = attributeAt(path, name.c_str(), value.data(), value.size());
    if (size < 0) fail("read attribute " + name + " of", path);
    value.resize(static_cast<std::size_t>(size));
    result[name] = value;
  }
  return result;
}

class Reader {
 public:
  TreeManifest manifest;

  void read(const std::string& path, const std::string& name) {
    struct stat info {};
    if (::lstat(path.c_str(), &info) != 0) fail("stat", path);
    Entry entry;
    entry.mode = info.st_mode & 07777;
    entry.owner = info.st_uid;
    entry.group = info.st_gid;
    entry.modifiedNanoseconds = ::fernwahrung::modifiedNanoseconds(info);
    entry.attributes = attributesOf(path);
    if (S_ISREG(info.st_mode)) {
      readFileInto(entry, path, info.st_size);
    } else if (S_ISLNK(info.st_mode)) {
      entry.type = Entry::Type::link;
      entry.linkText = std::filesystem::read_symlink(path);
    } else if (S_ISDIR(info.st_mode)) {
      entry.type = Entry::Type::folder;
    }
    if (!S_ISDIR(info.st_mode) && info.st_nlink > 1) names_[{info.st_dev, info.st_ino}].insert(name);
    manifest.entries[name] = entry;
    if (entry.type != Entry::Type::folder) return;
    for (const auto& child : std::filesystem::directory_iterator(path)) {
      const std::string childName = child.path().filename();
      read(path + "/" + childName, name == "." ? childName : name + "/" + childName);
    }
  }

  void joinHardLinks() {
    for (const auto& [file, names] : names_) {
      if (names.size() < 2) continue;
      for (const std::string& name : names) manifest.entries[name].sameFileAs = *names.begin();
    }
  }

 private:
  static void readFileInto(Entry& entry, const std::string& path, std::int64_t size) {
    const FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    if (!fd) fail("open", path);
    entry.type = Entry::Type::file;
    entry.size = size;
    entry.data = dataRanges(fd.get(), size);
    entry.content = contentHash(fd.get(), path);
  }

  std::map<std::pair<dev_t, ino_t>, std::set<std::string>> names_;
};

const char* typeName(Entry::Type type) {
  switch (type) {
    case Entry::Type::file:
      return "file";
    case Entry::Type::folder:
      return "folder";
    case Entry::Type::link:
      return "link";
    case Entry::Type::other:
      return "other";
  }
  return "";
}

/// Line breaks and other control characters made visible, so that a difference stays one line.
std::string shown(const std::string& text) {
  std::string result;
  for (const char character : text) {
    if (static_cast<unsigned char>(character) < 32) {
      char code[8];
      std::snprintf(code, sizeof code, "\\x%02x", static_cast<unsigned>(character));
      result += code;
    } else {
      result += character;
    }
  }
  return result;
}

std::string octal(std::uint32_t mode) {
  char text[16];
  std::snprintf(text, sizeof text, "%04o", mode);
  return text;
}

std::string differences(const Entry& a, const Entry& b, const TreeComparison& comparison) {
  std::string text;
  const auto note = [&](const std::string& what, const std::string& before, const std::string& after) {
    if (before != after)
      text += (text.empty() ? "" : ", ") + what + " " + shown(before) + " -> " + shown(after);
  };
  note("type", typeName(a.type), typeName(b.type));
  if (a.type != b.type) return text;
  if (comparison.bytes && a.type == Entry::Type::file) {
    note("size", std::to_string(a.size), std::to_string(b.size));
    if (a.size == b.size) note("bytes", std::to_string(a.content), std::to_string(b.content));
  }
  note("link", a.linkText, b.linkText);
  if (comparison.mode && a.type != Entry::Type::link) note("mode", octal(a.mode), octal(b.mode));
  if (comparison.owner) {
    note("owner", std::to_string(a.owner), std::to_string(b.owner));
    note("group", std::to_string(a.group), std::to_string(b.group));
  }
  const bool times = a.type == Entry::Type::folder ? comparison.folderTimes
                     : a.type == Entry::Type::link ? comparison.linkTimes
                                                   : comparison.fileTimes;
  if (times) note("modified", std::to_string(a.modifiedNanoseconds), std::to_string(b.modifiedNanoseconds));
  if (comparison.attributes) {
    std::set<std::string> names;
    for (const auto& [name, value] : a.attributes) names.insert(name);
    for (const auto& [name, value] : b.attributes) names.insert(name);
    for (const std::string& name : names) {
      const auto of = [&](const Entry& entry) {
        const auto found = entry.attributes.find(name);
        return found == entry.attributes.end() ? std::string("none") : "\"" + found->second + "\"";
      };
      note("attribute " + name, of(a), of(b));
    }
  }
  if (comparison.hardLinks) note("same file as", a.sameFileAs, b.sameFileAs);
  if (comparison.holes) {
    const auto ranges = [](const Entry& entry) {
      std::string list;
      for (const auto& [begin, end] : entry.data)
        list += std::to_string(begin) + "-" + std::to_string(end) + " ";
      return list;
    };
    note("data at", ranges(a), ranges(b));
  }
  return text;
}

}  // namespace

TreeManifest TreeManifest::of(const std::string& folder) {
  Reader reader;
  reader.read(folder, ".");
  reader.joinHardLinks();
  return std::move(reader.manifest);
}

std::int64_t TreeManifest::count(Entry::Type type) const {
  std::int64_t number = 0;
  for (const auto& [name, entry] : entries) number += entry.type == type ? 1 : 0;
  return number;
}

std::int64_t TreeManifest::fileBytes() const {
  std::int64_t bytes = 0;
  for (const auto& [name, entry] : entries) bytes += entry.size;
  return bytes;
}

std::string diff(const TreeManifest& before, const TreeManifest& after, const TreeComparison& comparison) {
  std::set<std::string> names;
  for (const auto& [name, entry] : before.entries) names.insert(name);
  for (const auto& [name, entry] : after.entries) names.insert(name);
  std::string text;
  int lines = 0;
  for (const std::string& name : names) {
    if (comparison.ignoredTopNames.count(name.substr(0, name.find('/'))) > 0) continue;
    if (name == "." && !comparison.topFolder) continue;
    const auto a = before.entries.find(name);
    const auto b = after.entries.find(name);
    std::string line;
    if (b == after.entries.end()) {
      line = std::string("missing ") + typeName(a->second.type);
    } else if (a == before.entries.end()) {
      line = std::string("additional ") + typeName(b->second.type);
    } else {
      line = differences(a->second, b->second, comparison);
    }
    if (line.empty()) continue;
    if (++lines > 40) return text + "…\n";
    text += shown(name) + ": " + line + "\n";
  }
  return text;
}

}  // namespace fernwahrung
