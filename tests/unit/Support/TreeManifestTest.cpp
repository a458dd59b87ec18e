#include "support/Files.h"
#include "support/NastyTree.h"
#include "support/Program.h"
#include "support/TempFolder.h"
#include "support/TreeManifest.h"

#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace fernwahrung {
namespace {

class TreeManifestTest : public testing::Test {
 protected:
  /// The difference that a change makes, with the times of folders left out unless asked for.
  std::string differenceOf(const std::function<void()>& change, TreeComparison comparison = {}) {
    const TreeManifest before = TreeManifest::of(tree_);
    change();
    comparison.folderTimes = false;
    return diff(before, TreeManifest::of(tree_), comparison);
  }
  std::string at(const std::string& relative) const { return tree_ + "/" + relative; }

  const TempFolder folder_;
  const std::string tree_ = folder_ / "tree";
};

TEST_F(TreeManifestTest, TwoNastyTreesAreEqual) {
  makeNastyTree(tree_);
  const TreeManifest first = TreeManifest::of(tree_);
  EXPECT_GT(first.entries.size(), 150U);
  ASSERT_EQ(::rename(tree_.c_str(), (folder_ / "other").c_str()), 0);
  makeNastyTree(tree_);
  TreeComparison all;
  all.holes = true;
  EXPECT_EQ(diff(first, TreeManifest::of(tree_), all), "");
}

TEST_F(TreeManifestTest, AFaithfulCopyOfANastyTreeIsEqual) {
  makeNastyTree(tree_);
  mustRun({"cp", "-a", "--sparse=always", tree_, folder_ / "copy"});
  EXPECT_EQ(diff(TreeManifest::of(tree_), TreeManifest::of(folder_ / "copy")), "");
}

TEST_F(TreeManifestTest, HasWhatANastyTreePromises) {
  makeNastyTree(tree_);
  const TreeManifest manifest = TreeManifest::of(tree_);
  EXPECT_EQ(manifest.entries.at("Hart/zwei").sameFileAs, "Hart oben");
  EXPECT_EQ(manifest.entries.at("Rechte/setuid").mode, 04755U);
  EXPECT_EQ(manifest.entries.at("Rechte/0400").mode, 0400U);
  EXPECT_EQ(manifest.entries.at("Verweis ins Leere").linkText, "/nirgends/gibt es nicht");
  EXPECT_EQ(manifest.entries.at("leer").attributes.at("user.bytes"), std::string("\0\xff\n\x80", 4));
  EXPECT_EQ(manifest.entries.at("Luecken.bin").data.size(), 2U);
  EXPECT_EQ(manifest.entries.at("leer").size, 0);
  EXPECT_NE(manifest.entries.at("einfach.txt").modifiedNanoseconds % 1'000'000'000, 0);
}

TEST_F(TreeManifestTest, SeesChangedBytesOfTheSameLength) {
  writeFile(at("file"), std::string(300000, 'a') + "b");
  const timespec times[2] = {{1, 1}, {1, 1}};
  ::utimensat(AT_FDCWD, at("file").c_str(), times, 0);
  const std::string text = differenceOf([&] {
    writeFile(at("file"), std::string(300000, 'a') + "c");
    ::utimensat(AT_FDCWD, at("file").c_str(), times, 0);
  });
  EXPECT_EQ(text.compare(0, 12, "file: bytes "), 0) << text;
}

TEST_F(TreeManifestTest, SeesModeTimeAttributeAndType) {
  writeFile(at("a"), "x");
  writeFile(at("b"), "x");
  writeFile(at("c"), "x");
  writeFile(at("d"), "x");
  const std::string text = differenceOf([&] {
    ::chmod(at("a").c_str(), 0600);
    const timespec times[2] = {{1, 1}, {1, 1}};
    ::utimensat(AT_FDCWD, at("b").c_str(), times, 0);
    ::lsetxattr(at("c").c_str(), "user.new", "1", 1, 0);
    ::unlink(at("d").c_str());
    ::symlink("x", at("d").c_str());
  });
  EXPECT_NE(text.find("a: mode 0644 -> 0600"), std::string::npos) << text;
  EXPECT_NE(text.find("b: modified "), std::string::npos) << text;
  EXPECT_NE(text.find("c: attribute user.new none -> \"1\""), std::string::npos) << text;
  EXPECT_NE(text.find("d: type file -> link"), std::string::npos) << text;
}

TEST_F(TreeManifestTest, SeesWhatIsMissingAndWhatIsNew) {
  writeFile(at("old\nname"), "x");
  const std::string text = differenceOf([&] {
    ::unlink(at("old\nname").c_str());
    makeFolder(at("new"));
  });
  EXPECT_EQ(text, "new: additional folder\nold\\x0aname: missing file\n");
}

TEST_F(TreeManifestTest, SeesABrokenHardLink) {
  writeFile(at("a"), "x");
  ::link(at("a").c_str(), at("b").c_str());
  const std::string text = differenceOf([&] {
    mustRun({"cp", "-p", "--remove-destination", at("a"), at("b")});
  });
  EXPECT_NE(text.find("b: same file as a -> "), std::string::npos) << text;
}

TEST_F(TreeManifestTest, SeesTheTopFolderItselfUnlessToldNotTo) {
  makeFolder(tree_);
  TreeComparison inside;
  inside.topFolder = false;
  EXPECT_EQ(differenceOf([&] { ::chmod(tree_.c_str(), 0700); }, inside), "");
  EXPECT_EQ(differenceOf([&] { ::chmod(tree_.c_str(), 0711); }), ".: mode 0700 -> 0711\n");
}

TEST_F(TreeManifestTest, LeavesOutWhatIsAskedFor) {
  makeFolder(tree_);
  TreeComparison comparison;
  comparison.ignoredTopNames = {".Trashes"};
  EXPECT_EQ(differenceOf([&] { writeFile(at(".Trashes/x"), "x"); }, comparison), "");
  EXPECT_EQ(differenceOf([&] { writeFile(at("sub/.Trashes"), "x"); }, comparison),
            "sub: additional folder\nsub/.Trashes: additional file\n");
}

TEST_F(TreeManifestTest, FailsRatherThanLeavingOutWhatIsNotThere) {
  EXPECT_THROW(TreeManifest::of(folder_ / "nowhere"), std::system_error);
}

}  // namespace
}  // namespace fernwahrung
