#include "Places.h"
#include "support/Files.h"
#include "support/TempFolder.h"

#include "Platform/FileChanges.h"
#include "Platform/FileInfo.h"

#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fernwahrung {
namespace {

struct Info : testing::Test {
  TempFolder folder;
  const std::string path = folder / "item";
};

TEST_F(Info, OfAFile) {
  writeFile(path, std::string(5000, 'x'), 0640);
  const timespec times[] = {{.tv_sec = 1, .tv_nsec = 2}, {.tv_sec = 1500000000, .tv_nsec = 123456789}};
  ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
  ASSERT_FALSE(Platform::hardLink(path, folder / "second"));
  const auto info = Platform::fileInfo(path);
  ASSERT_TRUE(info);
  EXPECT_EQ(info->type, FileType::file);
  EXPECT_EQ(info->size, 5000);
  EXPECT_EQ(info->permissions, 0640u);
  EXPECT_EQ(info->owner, ::getuid());
  EXPECT_EQ(info->modifiedSeconds, 1500000000);
  EXPECT_EQ(info->modifiedNanoseconds, 123456789);
  EXPECT_EQ(info->links, 2u);
  EXPECT_EQ(info->inode, Platform::fileInfo(folder / "second")->inode);
  EXPECT_EQ(info->device, Platform::fileInfo(folder.path())->device);
}

TEST_F(Info, TheSpaceOfASparseFileIsLessThanItsSize) {
  writeFile(path, "");
  ASSERT_EQ(::truncate(path.c_str(), 1 << 30), 0);
  const auto info = Platform::fileInfo(path);
  EXPECT_EQ(info->size, 1 << 30);
  EXPECT_LT(info->allocated, 1 << 20);
  EXPECT_EQ(info->allocated % 512, 0);
}

TEST_F(Info, TellsTheKindsApart) {
  makeFolder(path);
  ASSERT_EQ(::chmod(path.c_str(), 01770), 0);
  EXPECT_EQ(Platform::fileInfo(path)->type, FileType::directory);
  EXPECT_EQ(Platform::fileInfo(path)->permissions, 01770u);
  ASSERT_FALSE(Platform::makeSymlink(path, folder / "link"));
  EXPECT_EQ(Platform::fileInfo(folder / "link")->type, FileType::symlink);
  ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
  EXPECT_EQ(Platform::fileInfo(folder / "pipe")->type, FileType::other);
  EXPECT_EQ(Platform::fileInfo("/dev/null")->type, FileType::other);
}

TEST_F(Info, ADanglingLinkIsThere) {
  ASSERT_FALSE(Platform::makeSymlink("nowhere", path));
  EXPECT_EQ(Platform::fileInfo(path)->type, FileType::symlink);
}

TEST_F(Info, OfNothingTellsWhy) {
  errno = 0;
  EXPECT_FALSE(Platform::fileInfo(path));
  EXPECT_EQ(errno, ENOENT);
  writeFile(path, "");
  EXPECT_FALSE(Platform::fileInfo(path + "/below"));
  EXPECT_EQ(errno, ENOTDIR);
  EXPECT_FALSE(Platform::fileInfo(folder / std::string(300, 'x')));
  EXPECT_EQ(errno, ENAMETOOLONG);
}

TEST_F(Info, ATimeBefore1970IsNegative) {
  writeFile(path, "");
  const timespec times[] = {{.tv_sec = -10, .tv_nsec = 0}, {.tv_sec = -10, .tv_nsec = 0}};
  ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
  EXPECT_EQ(Platform::fileInfo(path)->modifiedSeconds, -10);
}

TEST_F(Info, RealPathResolvesLinksAndDots) {
  writeFile(folder / "real/file", "");
  ASSERT_FALSE(Platform::makeSymlink("real", folder / "link"));
  EXPECT_EQ(Platform::realPath(folder / "link/../link/./file"), folder / "real/file");
  EXPECT_FALSE(Platform::realPath(path));
  ASSERT_FALSE(Platform::makeSymlink("loop", folder / "loop"));
  EXPECT_FALSE(Platform::realPath(folder / "loop"));
}

TEST_F(Info, LinkTextIsGivenAsStored) {
  ASSERT_FALSE(Platform::makeSymlink("../ä b//./c/", path));
  EXPECT_EQ(Platform::linkText(path), "../ä b//./c/");
  writeFile(folder / "file", "");
  EXPECT_FALSE(Platform::linkText(folder / "file"));
  EXPECT_FALSE(Platform::linkText(folder / "missing"));
}

TEST_F(Info, LinkTextOfEveryLengthIsWhole) {
  int made = 0;
  for (const std::size_t length : {1u, 1000u, 1023u, 1024u, 1025u, 2047u, 2048u, 4095u}) {
    const std::string text(length, 'x');
    const std::string link = folder / std::to_string(length);
    const auto error = Platform::makeSymlink(text, link);
    // A Mac takes fewer than 1024 bytes.
    if (error && length >= 1024) {
      EXPECT_EQ(error.value(), ENAMETOOLONG);
      continue;
    }
    ASSERT_FALSE(error);
    EXPECT_EQ(Platform::linkText(link), text);
    ++made;
  }
  EXPECT_GE(made, 3);
}

TEST_F(Info, AttributesOfAFolderArePutOntoAnother) {
  makeFolder(folder / "from");
  writeFile(folder / "to/kept", "kept");
  ASSERT_EQ(::chmod((folder / "from").c_str(), 02710), 0);
  const timespec times[] = {{.tv_sec = 1, .tv_nsec = 2}, {.tv_sec = 1500000000, .tv_nsec = 123456789}};
  ASSERT_EQ(::utimensat(AT_FDCWD, (folder / "from").c_str(), times, 0), 0);
  ASSERT_FALSE(Platform::copyDirectoryAttributes(folder / "from", folder / "to"));
  const auto info = Platform::fileInfo(folder / "to");
  EXPECT_EQ(info->permissions, 02710u);
  EXPECT_EQ(info->modifiedSeconds, 1500000000);
  EXPECT_EQ(info->modifiedNanoseconds, 123456789);
  EXPECT_EQ(readFile(folder / "to/kept"), "kept");
}

TEST_F(Info, AttributesOfALockedFolderDoNotLock) {
  makeFolder(folder / "from");
  makeFolder(folder / "to");
  ASSERT_FALSE(Platform::setImmutable(folder / "from", true));
  ASSERT_FALSE(Platform::copyDirectoryAttributes(folder / "from", folder / "to"));
  EXPECT_FALSE(Platform::isImmutable(folder / "to"));
}

TEST_F(Info, AttributesAreOfFoldersOnly) {
  makeFolder(folder / "folder");
  writeFile(path, "");
  EXPECT_EQ(Platform::copyDirectoryAttributes(path, folder / "folder").value(), ENOTDIR);
  EXPECT_EQ(Platform::copyDirectoryAttributes(folder / "folder", path).value(), ENOTDIR);
}

}  // namespace
}  // namespace fernwahrung
