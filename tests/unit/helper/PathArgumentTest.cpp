#include "helper/PathArgument.h"
#include "support/Files.h"
#include "support/TempFolder.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <unistd.h>

namespace fernwahrung {
namespace {

class WorkingFolder {
 public:
  explicit WorkingFolder(const std::string& folder) : old_(std::filesystem::current_path()) {
    std::filesystem::current_path(folder);
  }
  ~WorkingFolder() { std::filesystem::current_path(old_); }
  WorkingFolder(const WorkingFolder&) = delete;
  WorkingFolder& operator=(const WorkingFolder&) = delete;

 private:
  std::filesystem::path old_;
};

TEST(PathArgument, AnAbsolutePathLosesWhatNamesNothing) {
  EXPECT_EQ(absolutePath("/a/b"), "/a/b");
  EXPECT_EQ(absolutePath("/a//b/./c/"), "/a/b/c");
  EXPECT_EQ(absolutePath("/"), "/");
  EXPECT_EQ(absolutePath("//"), "/");
  EXPECT_EQ(absolutePath("/a/b\nc "), "/a/b\nc ");
}

TEST(PathArgument, ARelativePathBeginsAtTheWorkingFolder) {
  const TempFolder folder;
  const WorkingFolder working(folder.path());
  EXPECT_EQ(absolutePath("a/b"), folder / "a/b");
  EXPECT_EQ(absolutePath("./a"), folder / "a");
  EXPECT_EQ(absolutePath("."), folder.path());
  EXPECT_EQ(absolutePath("~"), folder / "~");
}

TEST(PathArgument, TwoDotsLeadToTheParent) {
  EXPECT_EQ(absolutePath("/gibt/es/../nicht"), "/gibt/nicht");
  EXPECT_EQ(absolutePath("/.."), "/");
  EXPECT_EQ(absolutePath("/../a"), "/a");
}

TEST(PathArgument, TwoDotsBehindALinkLeadToTheParentOfItsTarget) {
  const TempFolder folder;
  makeFolder(folder / "ziel/innen");
  std::filesystem::create_symlink(folder / "ziel/innen", folder / "link");
  EXPECT_EQ(absolutePath(folder / "link/../x"), folder / "ziel/x");
}

TEST(PathArgument, ALinkItselfStays) {
  const TempFolder folder;
  makeFolder(folder / "ziel");
  std::filesystem::create_symlink(folder / "ziel", folder / "link");
  EXPECT_EQ(absolutePath(folder / "link/"), folder / "link");
}

TEST(PathArgument, AWorkingFolderThatIsGoneIsSaid) {
  const TempFolder folder;
  makeFolder(folder / "weg");
  const WorkingFolder working(folder / "weg");
  ::rmdir((folder / "weg").c_str());
  EXPECT_THROW(absolutePath("a"), std::exception);
  EXPECT_EQ(absolutePath("/a"), "/a");
}

}  // namespace
}  // namespace fernwahrung
