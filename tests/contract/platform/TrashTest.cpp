#include "Places.h"
#include "support/Files.h"
#include "support/TempFolder.h"

#include "Foundation/Errors.h"
#include "Foundation/FileDescriptor.h"
#include "Foundation/PathString.h"
#include "Platform/FileChanges.h"
#include "Platform/FileInfo.h"
#include "Platform/Trash.h"

#include <cerrno>
#include <cstdio>
#include <exception>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace fernwahrung {
namespace {

constexpr const char* needsFullDiskAccess = "looking into the Trash needs full disk access";

/// Takes out of the Trash what the test has put there.
struct InTrash {
  explicit InTrash(const std::string& path) : place(Platform::moveToTrash(path)) {}
  ~InTrash() {
    try {
      if (place) removeEverything(*place);
    } catch (const std::exception& error) {
      std::fprintf(stderr, "A test file stays in the Trash: %s\n", error.what());
    }
  }
  /// A Mac lets nobody look into the Trash who has no full disk access.
  bool mayBeLookedAt() const {
    if (!place) return true;
    const FileDescriptor trash(
        ::open(PathString::parent(*place).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return trash || (errno != EPERM && errno != EACCES);
  }
  const std::optional<std::string> place;
};

struct Trash : testing::Test {
  TempHome folder;
};

TEST_F(Trash, TakesAFileWithItsBytes) {
  writeFile(folder / "Datei mit Ümlaut.txt", "bytes");
  const InTrash trashed(folder / "Datei mit Ümlaut.txt");
  EXPECT_FALSE(exists(folder / "Datei mit Ümlaut.txt"));
  ASSERT_TRUE(trashed.place);
  if (!trashed.mayBeLookedAt()) GTEST_SKIP() << needsFullDiskAccess;
  EXPECT_EQ(readFile(*trashed.place), "bytes");
}

TEST_F(Trash, TakesAFolderWithAllInIt) {
  writeFile(folder / "tree/deep/file", "bytes");
  const InTrash trashed(folder / "tree");
  EXPECT_FALSE(exists(folder / "tree"));
  ASSERT_TRUE(trashed.place);
  if (!trashed.mayBeLookedAt()) GTEST_SKIP() << needsFullDiskAccess;
  EXPECT_EQ(readFile(*trashed.place + "/deep/file"), "bytes");
}

TEST_F(Trash, TakesALinkAndLeavesWhatItNames) {
  writeFile(folder / "kept/file", "bytes");
  ASSERT_FALSE(Platform::makeSymlink(folder / "kept", folder / "link"));
  const InTrash trashed(folder / "link");
  EXPECT_FALSE(exists(folder / "link"));
  ASSERT_TRUE(trashed.place);
  if (!trashed.mayBeLookedAt()) GTEST_SKIP() << needsFullDiskAccess;
  EXPECT_EQ(Platform::linkText(*trashed.place), folder / "kept");
  EXPECT_EQ(readFile(folder / "kept/file"), "bytes");
}

TEST_F(Trash, KeepsItemsOfOneNameApart) {
  writeFile(folder / "a/same.txt", "first");
  writeFile(folder / "b/same.txt", "second");
  const InTrash first(folder / "a/same.txt");
  const InTrash second(folder / "b/same.txt");
  ASSERT_TRUE(first.place && second.place);
  EXPECT_NE(*first.place, *second.place);
  if (!first.mayBeLookedAt()) GTEST_SKIP() << needsFullDiskAccess;
  EXPECT_EQ(readFile(*first.place), "first");
  EXPECT_EQ(readFile(*second.place), "second");
}

TEST_F(Trash, TellsOfAMissingItem) {
  try {
    Platform::moveToTrash(folder / "missing");
    FAIL() << "nothing was thrown";
  } catch (const SystemError& error) {
    EXPECT_EQ(error.code(), ENOENT);
    EXPECT_NE(std::string(error.what()).find(folder / "missing"), std::string::npos);
  }
}

TEST_F(Trash, LeavesWhatAnotherUserOwns) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs a second user";
  writeFile(folder / "kept/file", "bytes");
  EXPECT_NE(contract::asOrdinaryUser([&]() -> std::string {
              Platform::moveToTrash(folder / "kept/file");
              return "";
            }),
            "");
  EXPECT_EQ(readFile(folder / "kept/file"), "bytes");
}

}  // namespace
}  // namespace fernwahrung
