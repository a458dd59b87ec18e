#include "support/Files.h"
#include "support/TempFolder.h"

#include "Platform/FileChanges.h"
#include "Platform/FileInfo.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <vector>

namespace fernwahrung {
namespace {

/// Writes down what it is told.
class Recorder : public Platform::ChangeObserver {
 public:
  Recorder() { Platform::observeChanges(this); }
  ~Recorder() override { Platform::observeChanges(nullptr); }
  void madeDirectory(const std::string& path) override { told.push_back("mkdir " + path); }
  void removedDirectory(const std::string& path) override { told.push_back("rmdir " + path); }
  void unlinked(const std::string& path) override { told.push_back("unlink " + path); }
  void madeLink(const std::string& existing, const std::string& path) override {
    told.push_back("link " + existing + " " + path);
  }
  void madeSymlink(const std::string& text, const std::string& path) override {
    told.push_back("symlink " + text + " " + path);
  }
  void renamed(const std::string& from, const std::string& to) override {
    told.push_back("rename " + from + " " + to);
  }
  void created(const std::string& path) override { told.push_back("create " + path); }
  void wrote(const std::string& path, std::string_view data) override {
    told.push_back("write " + path + " " + std::string(data));
  }
  void flushed(const std::string& path) override { told.push_back("flush " + path); }
  void flushedDirectory(const std::string& path) override { told.push_back("flush folder " + path); }
  void changedImmutable(const std::string& path, bool immutable) override {
    told.push_back((immutable ? "lock " : "unlock ") + path);
  }
  void copiedAttributes(const std::string& from, const std::string& to) override {
    told.push_back("attributes " + from + " " + to);
  }

  std::vector<std::string> told;
};

struct FileChanges : testing::Test {
  TempFolder folder;
  const std::string file = folder / "file";
};

TEST_F(FileChanges, CreateMakesAnEmptyFileThatAllMayRead) {
  ASSERT_FALSE(Platform::createFile(file));
  const auto info = Platform::fileInfo(file);
  EXPECT_EQ(info->type, FileType::file);
  EXPECT_EQ(info->size, 0);
  EXPECT_EQ(info->permissions, 0644u);
}

TEST_F(FileChanges, CreateTakesNothingThatExists) {
  writeFile(file, "kept");
  EXPECT_EQ(Platform::createFile(file).value(), EEXIST);
  EXPECT_EQ(readFile(file), "kept");
  ASSERT_FALSE(Platform::makeSymlink("nowhere", folder / "link"));
  EXPECT_EQ(Platform::createFile(folder / "link").value(), EEXIST);
  EXPECT_FALSE(exists(folder / "nowhere"));
}

TEST_F(FileChanges, WriteReplacesAllThatWasInTheFile) {
  writeFile(file, "something longer");
  const std::string bytes("new\0bytes", 9);
  ASSERT_FALSE(Platform::writeAndFlush(file, bytes));
  EXPECT_EQ(readFile(file), bytes);
  ASSERT_FALSE(Platform::writeAndFlush(file, ""));
  EXPECT_EQ(readFile(file), "");
}

TEST_F(FileChanges, WriteTakesMoreThanOneCallCanCarry) {
  writeFile(file, "");
  const std::string bytes(9 << 20, 'x');
  ASSERT_FALSE(Platform::writeAndFlush(file, bytes));
  EXPECT_EQ(Platform::fileInfo(file)->size, 9 << 20);
}

TEST_F(FileChanges, WriteNeverCreates) {
  EXPECT_EQ(Platform::writeAndFlush(file, "bytes").value(), ENOENT);
  EXPECT_FALSE(exists(file));
}

TEST_F(FileChanges, FlushOfAFolder) {
  EXPECT_FALSE(Platform::flushDirectory(folder.path()));
  EXPECT_EQ(Platform::flushDirectory(folder / "missing").value(), ENOENT);
  writeFile(file, "");
  EXPECT_EQ(Platform::flushDirectory(file).value(), ENOTDIR);
}

TEST_F(FileChanges, MakeDirectoryMakesOneLevelAndReplacesNothing) {
  ASSERT_FALSE(Platform::makeDirectory(folder / "a", 0700));
  EXPECT_EQ(Platform::fileInfo(folder / "a")->permissions, 0700u);
  EXPECT_EQ(Platform::makeDirectory(folder / "a", 0755).value(), EEXIST);
  EXPECT_EQ(Platform::makeDirectory(folder / "b/c", 0755).value(), ENOENT);
}

TEST_F(FileChanges, RemoveDirectoryTakesOnlyAnEmptyFolder) {
  writeFile(folder / "full/file", "kept");
  makeFolder(folder / "empty");
  EXPECT_EQ(Platform::removeDirectory(folder / "full").value(), ENOTEMPTY);
  EXPECT_EQ(readFile(folder / "full/file"), "kept");
  EXPECT_EQ(Platform::removeDirectory(folder / "full/file").value(), ENOTDIR);
  ASSERT_FALSE(Platform::makeSymlink("empty", folder / "link"));
  EXPECT_EQ(Platform::removeDirectory(folder / "link").value(), ENOTDIR);
  EXPECT_FALSE(Platform::removeDirectory(folder / "empty"));
  EXPECT_FALSE(exists(folder / "empty"));
}

TEST_F(FileChanges, UnlinkTakesALinkAndNotWhatItNames) {
  writeFile(file, "kept");
  ASSERT_FALSE(Platform::makeSymlink("file", folder / "link"));
  ASSERT_FALSE(Platform::unlink(folder / "link"));
  EXPECT_FALSE(exists(folder / "link"));
  EXPECT_EQ(readFile(file), "kept");
  makeFolder(folder / "folder");
  EXPECT_TRUE(Platform::unlink(folder / "folder"));
  EXPECT_TRUE(isFolder(folder / "folder"));
}

TEST_F(FileChanges, HardLinkNamesALinkItself) {
  ASSERT_FALSE(Platform::makeSymlink("nowhere", folder / "link"));
  ASSERT_FALSE(Platform::hardLink(folder / "link", folder / "second"));
  EXPECT_EQ(Platform::linkText(folder / "second"), "nowhere");
  EXPECT_EQ(Platform::fileInfo(folder / "second")->inode, Platform::fileInfo(folder / "link")->inode);
}

TEST_F(FileChanges, RenameReplacesAFile) {
  writeFile(file, "old");
  writeFile(folder / "new", "new");
  ASSERT_FALSE(Platform::rename(folder / "new", file));
  EXPECT_EQ(readFile(file), "new");
  EXPECT_EQ(namesIn(folder.path()), std::vector<std::string>{"file"});
}

TEST_F(FileChanges, TheObserverIsToldOfEachSuccessInOrder) {
  const std::string a = folder / "a", b = folder / "b";
  Recorder recorder;
  ASSERT_FALSE(Platform::createFile(a));
  ASSERT_FALSE(Platform::writeAndFlush(a, "x"));
  ASSERT_FALSE(Platform::hardLink(a, b));
  ASSERT_FALSE(Platform::rename(a, folder / "c"));
  ASSERT_FALSE(Platform::renameExclusive(b, a));
  ASSERT_FALSE(Platform::unlink(folder / "c"));
  ASSERT_FALSE(Platform::makeSymlink("t", b));
  ASSERT_FALSE(Platform::makeDirectory(folder / "d", 0755));
  ASSERT_FALSE(Platform::makeDirectory(folder / "e", 0755));
  ASSERT_FALSE(Platform::copyDirectoryAttributes(folder / "d", folder / "e"));
  ASSERT_FALSE(Platform::setImmutable(folder / "d", true));
  ASSERT_FALSE(Platform::setImmutable(folder / "d", false));
  ASSERT_FALSE(Platform::removeDirectory(folder / "d"));
  ASSERT_FALSE(Platform::flushDirectory(folder.path()));
  EXPECT_EQ(recorder.told,
            (std::vector<std::string>{
                "create " + a, "write " + a + " x", "flush " + a, "link " + a + " " + b,
                "rename " + a + " " + (folder / "c"), "rename " + b + " " + a, "unlink " + (folder / "c"),
                "symlink t " + b, "mkdir " + (folder / "d"), "mkdir " + (folder / "e"),
                "attributes " + (folder / "d") + " " + (folder / "e"), "lock " + (folder / "d"),
                "unlock " + (folder / "d"), "rmdir " + (folder / "d"), "flush folder " + folder.path()}));
}

TEST_F(FileChanges, TheObserverIsNotToldOfAFailure) {
  writeFile(folder / "full/file", "");
  Recorder recorder;
  const std::string missing = folder / "missing";
  EXPECT_TRUE(Platform::createFile(folder / "full/file"));
  EXPECT_TRUE(Platform::writeAndFlush(missing, "x"));
  EXPECT_TRUE(Platform::unlink(missing));
  EXPECT_TRUE(Platform::rename(missing, file));
  EXPECT_TRUE(Platform::renameExclusive(folder / "full/file", folder / "full"));
  EXPECT_TRUE(Platform::removeDirectory(folder / "full"));
  EXPECT_TRUE(Platform::makeDirectory(folder / "full", 0755));
  EXPECT_TRUE(Platform::flushDirectory(missing));
  EXPECT_TRUE(Platform::setImmutable(missing, true));
  EXPECT_TRUE(Platform::clone(missing, file));
  EXPECT_TRUE(Platform::copyDirectoryAttributes(missing, folder / "full"));
  EXPECT_EQ(recorder.told, std::vector<std::string>{});
}

}  // namespace
}  // namespace fernwahrung
