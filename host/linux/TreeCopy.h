// Copies a tree the way ditto does.
#pragma once

#include <atomic>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <stop_token>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <utility>
#include <vector>

namespace fernwahrung::host {

/// All metadata goes along: modes, owners where allowed, times, extended attributes, access lists, links,
/// hard links inside the tree, holes. Blocks are shared where the file system can. A folder that is there
/// already is merged into and keeps its own metadata; a file that is there is replaced. Pipes and sockets are
/// passed over without a word. After an error it goes on with the rest. Large files are copied two at a time,
/// so that one processor's copying does not hold up a fast drive.
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
  struct File {
    std::string source;
    std::string copy;
  };

  void copyEntry(const std::string& source, const std::string& copy);
  void copyItem(const std::string& source, const struct stat& status, const std::string& copy);
  void enterFolder(const std::string& source, const struct stat& status, const std::string& copy);
  void fillFolder(const Folder& folder);
  void finishFolder(const Folder& folder);
  void copyFile(const std::string& source, const std::string& copy);
  void copyData(int from, const struct stat& status, int to);
  void leaveToBoth(File file);
  /// Takes the large files one by one; returns when none is left and no more will come.
  void copyLargeFiles(const std::stop_token& noMore);
  void finishLargeFiles();
  bool linkToEarlierCopy(const struct stat& status, const std::string& copy);
  /// Runs one step for the item, and reports its failure.
  template <typename Step>
  void attempt(const std::string& path, Step step);

  std::vector<Folder> folders_;
  std::map<std::pair<dev_t, ino_t>, std::string> copies_;  // of files with several names
  std::atomic<bool> sharesBlocks_ = true;                  // until a file system refuses
  std::atomic<bool> complete_ = true;

  std::mutex mutex_;  // guards largeFiles_
  std::condition_variable_any moreFiles_;
  std::deque<File> largeFiles_;
  std::jthread secondHand_;  // begins with the first large file; the last member, so that it ends first
};

}  // namespace fernwahrung::host
