// Copies a tree the way ditto does.
#pragma once

#include <map>
#include <string>
#include <sys/stat.h>
#include <utility>
#include <vector>

namespace fernwahrung::host {

/// All metadata goes along: modes, owners where allowed, times, extended attributes, access lists, links,
/// hard links inside the tree, holes. Blocks are shared where the file system can. A folder that is there
/// already is merged into and keeps its own metadata; a file that is there is replaced. Pipes and sockets are
/// passed over without a word. After an error it goes on with the rest.
class TreeCopy {
 public:
  /// `source` and `destination` are files or folders; a link at the source's very path is followed. Each
  /// problem goes to standard error, a line each. True when there was none.
  bool copy(const std::string& source, const std::string& destination);

 private:
  struct Folder {
    std::string source;
    std::string copy;
    struct stat status;
    bool isNew;
  };

  void copyEntry(const std::string& source, const std::string& copy);
  void copyItem(const std::string& source, const struct stat& status, const std::string& copy);
  void enterFolder(const std::string& source, const struct stat& status, const std::string& copy);
  void fillFolder(const Folder& folder);
  void finishFolder(const Folder& folder);
  void copyFile(const std::string& source, const std::string& copy);
  void copyData(int from, const struct stat& status, int to);
  bool linkToEarlierCopy(const struct stat& status, const std::string& copy);
  /// Runs one step for the item, and reports its failure.
  template <typename Step>
  void attempt(const std::string& path, Step step);

  std::vector<Folder> folders_;
  std::map<std::pair<dev_t, ino_t>, std::string> copies_;  // of files with several names
  bool sharesBlocks_ = true;                               // until a file system refuses
  bool complete_ = true;
};

}  // namespace fernwahrung::host
