#include "Places.h"
#include "support/Files.h"
#include "support/TempFolder.h"

#include "Foundation/Errors.h"
#include "Foundation/FileDescriptor.h"
#include "Platform/Directory.h"
#include "Platform/FileChanges.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fernwahrung {
namespace {

std::vector<std::string> sortedNames(const std::string& path) {
  auto names = Platform::names(path);
  std::sort(names.begin(), names.end());
  return names;
}

int errorOfReading(const std::string& path) {
  try {
    Platform::names(path);
    return 0;
  } catch (const SystemError& error) {
    return error.code();
  }
}

TEST(Directory, AnEmptyFolderHasNoNames) {
  const TempFolder folder;
  EXPECT_EQ(Platform::names(folder.path()), std::vector<std::string>{});
}

TEST(Directory, GivesOddNamesByteByByte) {
  const TempFolder folder;
  std::vector<std::string> names = {
      " leading and trailing ", ".hidden", "...",  "back\\slash", "line\nbreak", "tab\tstop",
      "\"quotes\" 'both'",      "-rf",     "*?[]", "Bücher",      "日本語",      "🗄",
      std::string(255, 'x')};
  for (const std::string& name : names) writeFile(folder / name, "");
  std::sort(names.begin(), names.end());
  EXPECT_EQ(sortedNames(folder.path()), names);
}

TEST(Directory, GivesEveryNameOfAFullFolderOnce) {
  const TempFolder folder;
  std::vector<std::string> names;
  for (int i = 0; i < 3000; ++i)
    names.push_back("a name long enough to fill more than one buffer " + std::to_string(i));
  for (const std::string& name : names) ASSERT_FALSE(Platform::createFile(folder / name));
  std::sort(names.begin(), names.end());
  EXPECT_EQ(sortedNames(folder.path()), names);
}

TEST(Directory, TellsWhatLiesAtEachNameWithoutFollowing) {
  const TempFolder folder;
  writeFile(folder / "file", "12345");
  makeFolder(folder / "folder");
  ASSERT_FALSE(Platform::makeSymlink("folder", folder / "link"));
  Directory directory(folder.path());
  EXPECT_EQ(directory.info("file")->size, 5);
  EXPECT_EQ(directory.info("folder")->type, FileType::directory);
  EXPECT_EQ(directory.info("link")->type, FileType::symlink);
  EXPECT_FALSE(directory.info("missing"));
  EXPECT_EQ(directory.path(), folder.path());
}

TEST(Directory, FollowsALinkToTheFolderItself) {
  const TempFolder folder;
  writeFile(folder / "real/file", "");
  ASSERT_FALSE(Platform::makeSymlink("real", folder / "link"));
  EXPECT_EQ(Platform::names(folder / "link"), std::vector<std::string>{"file"});
}

TEST(Directory, AMissingFolderIsAnError) {
  const TempFolder folder;
  EXPECT_EQ(errorOfReading(folder / "missing"), ENOENT);
  ASSERT_FALSE(Platform::makeSymlink("nowhere", folder / "dangling"));
  EXPECT_EQ(errorOfReading(folder / "dangling"), ENOENT);
  EXPECT_EQ(errorOfReading(""), ENOENT);
}

TEST(Directory, AFileIsNoFolder) {
  const TempFolder folder;
  writeFile(folder / "file", "");
  EXPECT_EQ(errorOfReading(folder / "file"), ENOTDIR);
}

TEST(Directory, AnUnreadableFolderIsNeverAnEmptyOne) {
  const TempFolder folder;
  writeFile(folder / "secret/file", "");
  ASSERT_EQ(::chmod((folder / "secret").c_str(), 0300), 0);
  contract::giveToOrdinaryUser(folder / "secret");
  EXPECT_EQ(contract::asOrdinaryUser([&] { return std::to_string(errorOfReading(folder / "secret")); }),
            std::to_string(EACCES));
}

TEST(Directory, TheErrorNamesTheFolderAndTheReason) {
  const TempFolder folder;
  try {
    Directory directory(folder / "missing");
    FAIL() << "nothing was thrown";
  } catch (const SystemError& error) {
    EXPECT_EQ(error.what(),
              "Der Ordner kann nicht gelesen werden: " + (folder / "missing") + " (" + error.reason() + ")");
  }
}

TEST(Directory, AnErrorWhileReadingIsNotTheEnd) {
  const TempFolder folder;
  Directory directory(folder.path());
  // What is behind the open folder turns into something that can't be listed.
  const FileDescriptor null(::open("/dev/null", O_RDONLY | O_CLOEXEC));
  ASSERT_EQ(::dup2(null.get(), directory.descriptor()), directory.descriptor());
  EXPECT_THROW(directory.next(), SystemError);
}

TEST(Directory, LeavesNoDescriptorOpen) {
  const TempFolder folder;
  const int before = ::dup(0);
  ::close(before);
  for (int i = 0; i < 3; ++i) {
    Platform::names(folder.path());
    errorOfReading(folder / "missing");
  }
  const int after = ::dup(0);
  ::close(after);
  EXPECT_EQ(after, before);
}

TEST(Directory, NamesKeepTheirCase) {
  // Whether two names that differ in case only are one is the volume's affair; a listing tells the truth
  // either way.
  const TempFolder folder;
  writeFile(folder / "Straße", "first");
  const auto second = Platform::createFile(folder / "STRASSE");
  const auto other = Platform::createFile(folder / "straße");
  EXPECT_TRUE(!other || other.value() == EEXIST);
  const auto names = sortedNames(folder.path());
  EXPECT_EQ(names.size(), 1u + (second ? 0 : 1) + (other ? 0 : 1));
  EXPECT_EQ(std::count(names.begin(), names.end(), "Straße"), 1);
  EXPECT_EQ(readFile(folder / "Straße"), "first");
  const auto info = Platform::fileInfo(folder / "straße");
  ASSERT_TRUE(info);
  EXPECT_EQ(info->inode == Platform::fileInfo(folder / "Straße")->inode, other.value() == EEXIST);
}

}  // namespace
}  // namespace fernwahrung
