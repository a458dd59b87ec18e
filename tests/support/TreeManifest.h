#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace fernwahrung {

/// All that can be told of a tree without knowing how it came about, read without following links. Two of
/// them are compared by diff().
struct TreeManifest {
  struct Entry {
    enum class Type { file, folder, link, other } type = Type::other;
    std::int64_t size = 0;
    std::uint64_t content = 0;  // a hash of a file's bytes
    std::uint32_t mode = 0;     // the permission bits, setuid, setgid and sticky among them
    std::uint32_t owner = 0;
    std::uint32_t group = 0;
    std::int64_t modifiedNanoseconds = 0;
    std::string linkText;
    std::map<std::string, std::string> attributes;
    std::string sameFileAs;  // the first path, in order, of a file with several names in the tree; else empty
    std::vector<std::pair<std::int64_t, std::int64_t>> data;  // begin and end of the ranges that are no holes
  };
  /// By the path below the top folder, which is itself ".".
  std::map<std::string, Entry> entries;

  /// Throws std::system_error for whatever can't be read.
  static TreeManifest of(const std::string& folder);

  std::int64_t count(Entry::Type type) const;  // the top folder is counted
  std::int64_t fileBytes() const;
};

struct TreeComparison {
  bool bytes = true;
  bool mode = true;
  bool owner = true;
  bool fileTimes = true;
  bool linkTimes = true;
  bool folderTimes = true;
  bool attributes = true;
  bool hardLinks = true;
  bool holes = false;
  bool topFolder = true;                       // the attributes of the top folder itself
  std::set<std::string> ignoredTopNames = {};  // as what a file system keeps at its root
};

/// What `after` lacks, has in addition or has differently, a line each, at most 40; empty for equal trees.
///   EXPECT_EQ(diff(before, TreeManifest::of(source)), "");
std::string diff(const TreeManifest& before, const TreeManifest& after,
                 const TreeComparison& comparison = {});

}  // namespace fernwahrung
