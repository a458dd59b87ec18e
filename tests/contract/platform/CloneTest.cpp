#include "Places.h"
#include "support/Files.h"

#include "Platform/FileChanges.h"
#include "Platform/FileInfo.h"
#include "Platform/Volume.h"

#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace fernwahrung {
namespace {

std::string manyBytes(char seed) {
  std::string bytes(300000, '\0');
  for (std::size_t i = 0; i < bytes.size(); ++i)
    bytes[i] = static_cast<char>(i * 31 + static_cast<unsigned char>(seed));
  return bytes;
}

struct Clone : testing::Test {
  contract::CloningFolder folder;
  const std::string source = folder / "source";
  const std::string copy = folder / "copy";
};

TEST_F(Clone, ItsFileSystemIsPresentedAsOneThatClones) {
  EXPECT_EQ(Platform::volumeFacts(folder.path())->type, "apfs");
}

TEST_F(Clone, OfAFileHasItsBytesModeAndTime) {
  writeFile(source, manyBytes('a'), 0640);
  const timespec times[] = {{.tv_sec = 1600000000, .tv_nsec = 5},
                            {.tv_sec = 1500000000, .tv_nsec = 123456789}};
  ASSERT_EQ(::utimensat(AT_FDCWD, source.c_str(), times, 0), 0);
  ASSERT_FALSE(Platform::clone(source, copy));
  EXPECT_EQ(readFile(copy), manyBytes('a'));
  const auto info = Platform::fileInfo(copy);
  EXPECT_EQ(info->permissions, 0640u);
  EXPECT_EQ(info->modifiedSeconds, 1500000000);
  EXPECT_EQ(info->modifiedNanoseconds, 123456789);
  EXPECT_NE(info->inode, Platform::fileInfo(source)->inode);
}

TEST_F(Clone, OfAFileIsIndependentOfItsSource) {
  writeFile(source, manyBytes('a'));
  ASSERT_FALSE(Platform::clone(source, copy));
  ASSERT_FALSE(Platform::writeAndFlush(copy, "short"));
  EXPECT_EQ(readFile(source), manyBytes('a'));
  ASSERT_FALSE(Platform::writeAndFlush(source, manyBytes('b')));
  EXPECT_EQ(readFile(copy), "short");
}

TEST_F(Clone, OfATreeHasAllOfItAndSharesNothingVisible) {
  writeFile(source + "/bands/0", manyBytes('0'));
  writeFile(source + "/bands/1", manyBytes('1'), 0600);
  writeFile(source + "/Info.plist", "");
  makeFolder(source + "/empty");
  ASSERT_FALSE(Platform::makeSymlink("bands/missing", source + "/link"));
  ASSERT_EQ(::chmod((source + "/empty").c_str(), 0500), 0);

  ASSERT_FALSE(Platform::clone(source, copy));
  EXPECT_EQ(namesIn(copy), (std::vector<std::string>{"Info.plist", "bands", "empty", "link"}));
  EXPECT_EQ(namesIn(copy + "/bands"), (std::vector<std::string>{"0", "1"}));
  EXPECT_EQ(readFile(copy + "/bands/0"), manyBytes('0'));
  EXPECT_EQ(Platform::fileInfo(copy + "/bands/1")->permissions, 0600u);
  EXPECT_EQ(Platform::fileInfo(copy + "/empty")->permissions, 0500u);
  EXPECT_EQ(Platform::linkText(copy + "/link"), "bands/missing");

  ASSERT_FALSE(Platform::writeAndFlush(source + "/bands/0", "changed"));
  ASSERT_FALSE(Platform::unlink(source + "/bands/1"));
  EXPECT_EQ(readFile(copy + "/bands/0"), manyBytes('0'));
  EXPECT_EQ(readFile(copy + "/bands/1"), manyBytes('1'));
}

TEST_F(Clone, NeverReplacesWhatExists) {
  writeFile(source, "source");
  writeFile(copy, "kept");
  EXPECT_EQ(Platform::clone(source, copy).value(), EEXIST);
  EXPECT_EQ(readFile(copy), "kept");
  ASSERT_FALSE(Platform::makeSymlink("nowhere", folder / "dangling"));
  EXPECT_EQ(Platform::clone(source, folder / "dangling").value(), EEXIST);
  makeFolder(folder / "tree");
  makeFolder(folder / "empty");
  EXPECT_EQ(Platform::clone(folder / "tree", folder / "empty").value(), EEXIST);
  EXPECT_EQ(namesIn(folder.path()),
            (std::vector<std::string>{"copy", "dangling", "empty", "source", "tree"}));
}

TEST_F(Clone, OfNothingOrIntoNoFolderIsAnErrorThatLeavesNothing) {
  EXPECT_EQ(Platform::clone(source, copy).value(), ENOENT);
  writeFile(source, "source");
  EXPECT_EQ(Platform::clone(source, folder / "missing/copy").value(), ENOENT);
  EXPECT_EQ(namesIn(folder.path()), std::vector<std::string>{"source"});
}

TEST_F(Clone, FollowsALinkAtTheTop) {
  writeFile(source, "bytes");
  ASSERT_FALSE(Platform::makeSymlink("source", folder / "link"));
  ASSERT_FALSE(Platform::clone(folder / "link", copy));
  EXPECT_EQ(Platform::fileInfo(copy)->type, FileType::file);
  EXPECT_EQ(readFile(copy), "bytes");
}

TEST_F(Clone, OfATreeThatCanNotBeReadThroughoutLeavesNothing) {
  makeFolder(folder / "mine");
  writeFile(folder / "mine/source/a", manyBytes('a'));
  writeFile(folder / "mine/source/z/secret", "secret");
  ASSERT_EQ(::chmod((folder / "mine/source/z/secret").c_str(), 0), 0);
  ASSERT_EQ(::chmod(folder.path().c_str(), 0755), 0);
  contract::giveToOrdinaryUser(folder / "mine");
  for (const char* name : {"mine/source", "mine/source/a", "mine/source/z", "mine/source/z/secret"}) {
    contract::giveToOrdinaryUser(folder / name);
  }
  EXPECT_EQ(contract::asOrdinaryUser([&] {
              return std::to_string(Platform::clone(folder / "mine/source", folder / "mine/copy").value());
            }),
            std::to_string(EACCES));
  EXPECT_EQ(namesIn(folder / "mine"), std::vector<std::string>{"source"});
}

}  // namespace
}  // namespace fernwahrung
