#include "support/Files.h"
#include "support/TempFolder.h"

#include "Platform/Directory.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace fernwahrung {
namespace {

TEST(LinuxDirectory, NamesThatAreNoTextComeThroughByteByByte) {
  const TempFolder folder;
  std::vector<std::string> names = {"\xff\xfe", "half \xc3", "\x01\x7f"};
  for (const std::string& name : names) writeFile(folder / name, "");
  std::sort(names.begin(), names.end());
  auto found = Platform::names(folder.path());
  std::sort(found.begin(), found.end());
  EXPECT_EQ(found, names);
}

TEST(LinuxDirectory, AFolderThatIsRemovedWhileOpenHasEnded) {
  const TempFolder folder;
  makeFolder(folder / "gone");
  Directory directory(folder / "gone");
  removeEverything(folder / "gone");
  EXPECT_EQ(directory.next(), nullptr);
}

TEST(LinuxDirectory, ANameStaysThatOfTheFolderOpenedWhenThePathIsMovedAway) {
  const TempFolder folder;
  writeFile(folder / "before/file", "12345");
  Directory directory(folder / "before");
  ASSERT_EQ(::rename((folder / "before").c_str(), (folder / "after").c_str()), 0);
  ASSERT_STREQ(directory.next(), "file");
  EXPECT_EQ(directory.info("file")->size, 5);
}

}  // namespace
}  // namespace fernwahrung
