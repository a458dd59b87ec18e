#include "Places.h"
#include "support/Files.h"

#include "Foundation/FileDescriptor.h"
#include "Platform/FileChanges.h"
#include "Platform/PrivateSize.h"
#include "Platform/Volume.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <optional>
#include <unistd.h>

namespace fernwahrung {
namespace {

constexpr std::int64_t fileSize = 8 << 20;
/// Blocks, and what a file system keeps beside the data.
constexpr std::int64_t tolerance = 128 << 10;

/// Bytes that can not be stored in fewer.
std::string manyBytes(std::uint32_t seed, std::int64_t count = fileSize) {
  std::string bytes(static_cast<std::size_t>(count), '\0');
  for (char& byte : bytes) {
    seed = seed * 1664525 + 1013904223;
    byte = static_cast<char>(seed >> 24);
  }
  return bytes;
}

struct PrivateSize : testing::Test {
  void SetUp() override {
    if (const auto reason = contract::mountingUnavailable()) GTEST_SKIP() << *reason;
    folder.emplace();
    const auto facts = Platform::volumeFacts(folder->path());
    if (!facts || facts->type != "apfs") GTEST_SKIP() << "the temporary folder's file system does not clone";
  }

  std::string file(const char* name) const { return *folder / name; }

  void write(const char* name, const std::string& bytes) const {
    writeFile(file(name), bytes);
    EXPECT_FALSE(Platform::flushVolume(folder->path()));
  }

  /// The file's private size, or -1.
  std::int64_t of(const char* name) const { return Platform::privateSize(file(name)).value_or(-1); }

  std::optional<contract::CloningFolder> folder;
};

TEST_F(PrivateSize, OfAFreshFileIsAboutItsSize) {
  write("fresh", manyBytes(1));
  EXPECT_NEAR(of("fresh"), fileSize, tolerance);
}

TEST_F(PrivateSize, OfAnEmptyFileIsNothing) {
  writeFile(file("empty"), "");
  EXPECT_EQ(of("empty"), 0);
}

TEST_F(PrivateSize, OfAFileAndItsCloneIsAboutNothing) {
  write("original", manyBytes(1));
  ASSERT_FALSE(Platform::clone(file("original"), file("clone")));
  EXPECT_GE(of("original"), 0);
  EXPECT_LE(of("original"), tolerance);
  EXPECT_GE(of("clone"), 0);
  EXPECT_LE(of("clone"), tolerance);
}

TEST_F(PrivateSize, OfACloneThatWasRewrittenIsItsOwnAgain) {
  write("original", manyBytes(1));
  ASSERT_FALSE(Platform::clone(file("original"), file("clone")));
  ASSERT_FALSE(Platform::writeAndFlush(file("clone"), manyBytes(2)));
  EXPECT_NEAR(of("clone"), fileSize, tolerance);
}

TEST_F(PrivateSize, OfAFileWithALongHoleCountsWhatIsThere) {
  write("sparse", manyBytes(1, 1 << 20));
  ASSERT_EQ(::truncate(file("sparse").c_str(), 1LL << 30), 0);
  EXPECT_NEAR(of("sparse"), 1 << 20, tolerance);
}

TEST_F(PrivateSize, OfAFileInManyPiecesCountsThemAll) {
  constexpr int pieces = 300;
  const std::string piece = manyBytes(1, 64 << 10);
  {
    const FileDescriptor fd(::open(file("pieces").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
    for (off_t i = 0; i < pieces; ++i) {
      ASSERT_EQ(::pwrite(fd.get(), piece.data(), piece.size(), i << 20), static_cast<ssize_t>(piece.size()));
    }
  }
  ASSERT_FALSE(Platform::flushVolume(folder->path()));
  EXPECT_NEAR(of("pieces"), pieces * static_cast<std::int64_t>(piece.size()), tolerance);
}

TEST_F(PrivateSize, IsToldOfFilesOnly) {
  writeFile(file("file"), manyBytes(1));
  makeFolder(file("folder"));
  ASSERT_FALSE(Platform::makeSymlink("file", file("link")));
  EXPECT_FALSE(Platform::privateSize(file("missing")));
  EXPECT_FALSE(Platform::privateSize(file("file/below")));
  EXPECT_FALSE(Platform::privateSize(file("folder")));
  EXPECT_FALSE(Platform::privateSize(file("link")));
}

}  // namespace
}  // namespace fernwahrung
