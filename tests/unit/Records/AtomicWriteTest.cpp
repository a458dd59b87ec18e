#include "support/Files.h"
#include "support/TempFolder.h"

#include "Foundation/Errors.h"
#include "Foundation/FileDescriptor.h"
#include "Foundation/PathString.h"
#include "Foundation/Uuid.h"
#include "Platform/FileChanges.h"
#include "Platform/FileInfo.h"
#include "Records/AtomicWrite.h"

#include <atomic>
#include <csignal>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace fernwahrung {
namespace {

std::string messageOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const FernwahrungError& error) {
    return error.what();
  }
  return "no FernwahrungError";
}

/// Writes down each change by its name and the last component of its path.
class Recorder : public Platform::ChangeObserver {
 public:
  Recorder() { Platform::observeChanges(this); }
  ~Recorder() override { Platform::observeChanges(nullptr); }

  std::vector<std::string> changes;

  void madeDirectory(const std::string& path) override { note("mkdir", path); }
  void removedDirectory(const std::string& path) override { note("rmdir", path); }
  void unlinked(const std::string& path) override { note("unlink", path); }
  void madeLink(const std::string& existing, const std::string& path) override {
    note("link " + shortName(existing), path);
  }
  void madeSymlink(const std::string& /*text*/, const std::string& path) override { note("symlink", path); }
  void renamed(const std::string& from, const std::string& to) override {
    note("rename " + shortName(from), to);
  }
  void created(const std::string& path) override { note("create", path); }
  void wrote(const std::string& path, std::string_view /*data*/) override { note("write", path); }
  void flushed(const std::string& path) override { note("flush", path); }
  void flushedDirectory(const std::string& path) override { note("flush folder", path); }

 private:
  static std::string shortName(const std::string& path) {
    const auto name = PathString::lastComponent(path);
    return name.ends_with(".tmp") ? "TMP" : name;
  }
  void note(const std::string& what, const std::string& path) {
    changes.push_back(what + " " + shortName(path));
  }
};

/// While it lives, no file of this process may grow beyond so many bytes: a disk that is full.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) : handler_(::signal(SIGXFSZ, SIG_IGN)) {
    ::getrlimit(RLIMIT_FSIZE, &old_);
    const rlimit limit{bytes, old_.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FileSizeLimit() {
    ::setrlimit(RLIMIT_FSIZE, &old_);
    ::signal(SIGXFSZ, handler_);
  }

 private:
  rlimit old_{};
  void (*handler_)(int);
};

TEST(AtomicWrite, ANewFileHasItsContentAndNoBackup) {
  const TempFolder folder;
  FileOps::atomicWrite("one", folder / "list.json", true);
  EXPECT_EQ(readFile(folder / "list.json"), "one");
  EXPECT_EQ(namesIn(folder.path()), std::vector<std::string>{"list.json"});
}

TEST(AtomicWrite, KeepsTheOldContentAsBackupWithoutCopying) {
  const TempFolder folder;
  writeFile(folder / "list.json", "old");
  const auto inode = Platform::fileInfo(folder / "list.json")->inode;
  FileOps::atomicWrite("new", folder / "list.json", true);
  EXPECT_EQ(readFile(folder / "list.json"), "new");
  EXPECT_EQ(readFile(folder / "list.json.bak"), "old");
  EXPECT_EQ(Platform::fileInfo(folder / "list.json.bak")->inode, inode);
  EXPECT_EQ(namesIn(folder.path()), (std::vector<std::string>{"list.json", "list.json.bak"}));
}

TEST(AtomicWrite, ASecondWriteReplacesTheBackup) {
  const TempFolder folder;
  for (const char* text : {"one", "two", "three"}) FileOps::atomicWrite(text, folder / "list.json", true);
  EXPECT_EQ(readFile(folder / "list.json"), "three");
  EXPECT_EQ(readFile(folder / "list.json.bak"), "two");
}

TEST(AtomicWrite, WithoutKeepBackupABackupStaysAsItIs) {
  const TempFolder folder;
  writeFile(folder / "list.json", "old");
  writeFile(folder / "list.json.bak", "older");
  FileOps::atomicWrite("new", folder / "list.json", false);
  EXPECT_EQ(readFile(folder / "list.json"), "new");
  EXPECT_EQ(readFile(folder / "list.json.bak"), "older");
}

TEST(AtomicWrite, AFailedBackupDoesNotStopTheWrite) {
  const TempFolder folder;
  writeFile(folder / "list.json", "old");
  writeFile(folder / "list.json.bak/in the way", "x");
  FileOps::atomicWrite("new", folder / "list.json", true);
  EXPECT_EQ(readFile(folder / "list.json"), "new");
  EXPECT_EQ(readFile(folder / "list.json.bak/in the way"), "x");
}

TEST(AtomicWrite, WritesAnyBytesOfAnyLength) {
  const TempFolder folder;
  std::string bytes(3 << 20, 'x');
  bytes[7] = '\0';
  bytes[1 << 20] = '\xff';
  FileOps::atomicWrite(bytes, folder / "big", false);
  EXPECT_EQ(FileOps::readFile(folder / "big"), bytes);
  FileOps::atomicWrite("", folder / "big", false);
  EXPECT_EQ(FileOps::readFile(folder / "big"), "");
}

TEST(AtomicWrite, FlushesTheFileBeforeTheRenameAndTheFolderAfterIt) {
  const TempFolder folder;
  writeFile(folder / "in/list.json", "old");
  writeFile(folder / "in/list.json.bak", "older");
  const Recorder recorder;
  FileOps::atomicWrite("new", folder / "in/list.json", true);
  EXPECT_EQ(
      recorder.changes,
      (std::vector<std::string>{"create TMP", "write TMP", "flush TMP", "unlink list.json.bak",
                                "link list.json list.json.bak", "rename TMP list.json", "flush folder in"}));
}

TEST(AtomicWrite, ANewFileIsFlushedInTheSameWay) {
  const TempFolder folder;
  makeFolder(folder / "in");
  const Recorder recorder;
  FileOps::atomicWrite("new", folder / "in/list.json", true);
  EXPECT_EQ(recorder.changes, (std::vector<std::string>{"create TMP", "write TMP", "flush TMP",
                                                        "rename TMP list.json", "flush folder in"}));
}

TEST(AtomicWrite, TheTemporaryFileLiesBesideTheTargetUnderAHiddenName) {
  const TempFolder folder;
  makeFolder(folder / "list.json/in the way");
  EXPECT_THROW(FileOps::atomicWrite("new", folder / "list.json", false), FernwahrungError);
  const auto names = namesIn(folder.path());
  ASSERT_EQ(names.size(), 2U);
  const std::string prefix = ".list.json.";
  ASSERT_EQ(names[0].size(), prefix.size() + 36 + 4);
  EXPECT_TRUE(names[0].starts_with(prefix));
  EXPECT_TRUE(names[0].ends_with(".tmp"));
  EXPECT_TRUE(Uuid::parse(names[0].substr(prefix.size(), 36)));
}

TEST(AtomicWrite, SaysThatAFileCannotBeWrittenWhereThereIsNoFolder) {
  const TempFolder folder;
  const auto path = folder / "absent/list.json";
  EXPECT_EQ(messageOf([&] { FileOps::atomicWrite("x", path, true); }),
            "Datei kann nicht geschrieben werden: " + path);
}

TEST(AtomicWrite, SaysThatAFileCannotBeSavedOverAFolder) {
  const TempFolder folder;
  writeFile(folder / "list.json/inside", "kept");
  EXPECT_EQ(messageOf([&] { FileOps::atomicWrite("x", folder / "list.json", true); }),
            "Datei kann nicht gespeichert werden: " + folder / "list.json");
  EXPECT_EQ(readFile(folder / "list.json/inside"), "kept");
}

TEST(AtomicWrite, AFullDiskLeavesTheOldFileAndItsBackup) {
  const TempFolder folder;
  writeFile(folder / "list.json", "old");
  writeFile(folder / "list.json.bak", "older");
  const std::string bytes(100'000, 'x');
  try {
    const FileSizeLimit limit(50'000);
    FileOps::atomicWrite(bytes, folder / "list.json", true);
    ADD_FAILURE() << "The write should have failed.";
  } catch (const SystemError& error) {
    EXPECT_EQ(error.code(), EFBIG);
    EXPECT_EQ(std::string(error.what()),
              "Datei kann nicht geschrieben werden: " + folder / "list.json" + " (" + error.reason() + ")");
  }
  EXPECT_EQ(readFile(folder / "list.json"), "old");
  EXPECT_EQ(readFile(folder / "list.json.bak"), "older");
}

TEST(AtomicWrite, AReaderNeverSeesHalfAFile) {
  const TempFolder folder;
  const auto path = folder / "list.json";
  const std::string first(200'000, 'a');
  const std::string second(100'000, 'b');
  FileOps::atomicWrite(first, path, true);
  std::atomic<bool> done = false;
  std::thread writer([&] {
    for (int round = 0; round < 100; ++round)
      FileOps::atomicWrite(round % 2 == 0 ? second : first, path, true);
    done = true;
  });
  int torn = 0;
  do {
    const auto seen = FileOps::readFile(path);
    if (seen != first && seen != second) ++torn;
  } while (!done);
  writer.join();
  EXPECT_EQ(torn, 0);
}

TEST(ReadFile, TellsWhyAFileCannotBeRead) {
  const TempFolder folder;
  const auto codeOf = [](const std::string& path) {
    try {
      FileOps::readFile(path);
    } catch (const SystemError& error) {
      return error.code();
    }
    return 0;
  };
  EXPECT_EQ(codeOf(folder / "absent"), ENOENT);
  EXPECT_EQ(codeOf(folder.path()), EISDIR);
}

TEST(ReadFile, DoesNotWaitForTheOtherEndOfAPipe) {
  const TempFolder folder;
  ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0644), 0);
  EXPECT_THROW(FileOps::readFile(folder / "pipe"), SystemError);
}

TEST(ReadFile, FollowsALink) {
  const TempFolder folder;
  writeFile(folder / "file", "bytes");
  ASSERT_EQ(::symlink("file", (folder / "link").c_str()), 0);
  EXPECT_EQ(FileOps::readFile(folder / "link"), "bytes");
}

}  // namespace
}  // namespace fernwahrung
