#include "support/Files.h"
#include "support/PowerCut.h"
#include "support/TempFolder.h"

#include "Platform/FileChanges.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <map>
#include <set>

namespace fernwahrung {
namespace {

using Tree = std::map<std::string, std::string>;

/// Every path below the folder with its bytes; folders with a slash behind.
Tree treeOf(const std::string& folder) {
  Tree tree;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    const std::string name = entry.path().lexically_relative(folder);
    if (entry.is_symlink()) {
      tree[name] = "→ " + std::filesystem::read_symlink(entry).string();
    } else if (entry.is_directory()) {
      tree[name + "/"] = "";
    } else {
      tree[name] = readFile(entry.path());
    }
  }
  return tree;
}

/// What can lie at the path after a power cut at the very end; "-" for nothing.
std::set<std::string> possibleEnds(const PowerCut& cut, const std::string& name) {
  std::set<std::string> ends;
  cut.forEachState([&](const PowerCut::State& state, const std::string& folder) {
    if (state.after != cut.changes()) return;
    ends.insert(exists(folder + "/" + name) ? readFile(folder + "/" + name) : "-");
  });
  return ends;
}

void must(const std::error_code& error) {
  if (error) throw std::system_error(error);
}

TEST(PowerCut, KeepsWhatLayThereAndWhatWasFlushed) {
  const TempFolder folder;
  writeFile(folder / "old", "old");
  PowerCut cut(folder.path());
  must(Platform::createFile(folder / "new"));
  must(Platform::writeAndFlush(folder / "new", "12345678"));
  must(Platform::flushDirectory(folder.path()));
  cut.stop();
  EXPECT_EQ(possibleEnds(cut, "old"), std::set<std::string>{"old"});
  EXPECT_EQ(possibleEnds(cut, "new"), std::set<std::string>{"12345678"});
}

TEST(PowerCut, LosesANameWhoseFolderWasNotFlushed) {
  const TempFolder folder;
  PowerCut cut(folder.path());
  must(Platform::createFile(folder / "new"));
  must(Platform::writeAndFlush(folder / "new", "12345678"));
  cut.stop();
  EXPECT_EQ(possibleEnds(cut, "new"), (std::set<std::string>{"-", "12345678"}));
}

TEST(PowerCut, LosesTearsAndZeroesBytesThatWereNotFlushed) {
  const TempFolder folder;
  writeFile(folder / "file", "previous");
  PowerCut cut(folder.path());
  cut.wrote(folder / "file", "12345678");
  cut.stop();
  EXPECT_EQ(possibleEnds(cut, "file"),
            (std::set<std::string>{"previous", "12345678", "", "1234", std::string(8, '\0')}));
}

TEST(PowerCut, LosesEachNameOnItsOwn) {
  const TempFolder folder;
  writeFile(folder / "a", "A");
  PowerCut cut(folder.path());
  must(Platform::hardLink(folder / "a", folder / "b"));
  must(Platform::rename(folder / "a", folder / "c"));
  cut.stop();
  std::set<Tree> trees;
  cut.forEachState([&](const PowerCut::State& state, const std::string& made) {
    if (state.after == cut.changes()) trees.insert(treeOf(made));
  });
  EXPECT_EQ(trees,
            (std::set<Tree>{{{"a", "A"}}, {{"a", "A"}, {"b", "A"}}, {{"c", "A"}}, {{"b", "A"}, {"c", "A"}}}));
}

TEST(PowerCut, LosesWhatLiesInAFolderWhoseOwnNameIsLost) {
  const TempFolder folder;
  PowerCut cut(folder.path());
  std::filesystem::create_directory(folder / "sub");  // by somebody who tells nobody
  must(Platform::createFile(folder / "sub/file"));
  must(Platform::writeAndFlush(folder / "sub/file", "x"));
  must(Platform::flushDirectory(folder / "sub"));
  cut.stop();
  EXPECT_EQ(possibleEnds(cut, "sub/file"), (std::set<std::string>{"-", "x"}));
}

TEST(PowerCut, TakesASilentlyMadeFolderForSafeOnceTheOneAroundItIsFlushed) {
  const TempFolder folder;
  PowerCut cut(folder.path());
  std::filesystem::create_directory(folder / "sub");
  must(Platform::flushDirectory(folder.path()));
  must(Platform::createFile(folder / "sub/file"));
  must(Platform::flushDirectory(folder / "sub"));
  cut.stop();
  EXPECT_EQ(possibleEnds(cut, "sub/file"), std::set<std::string>{""});
}

TEST(PowerCut, TheFullestStateIsTheFolderItself) {
  const TempFolder folder;
  writeFile(folder / "kept/deep/file", "kept");
  writeFile(folder / "gone", "gone");
  std::filesystem::create_symlink("/nowhere", folder / "link");
  PowerCut cut(folder.path());
  must(Platform::makeDirectory(folder / "made", 0755));
  must(Platform::makeDirectory(folder / "removed", 0755));
  must(Platform::removeDirectory(folder / "removed"));
  must(Platform::createFile(folder / "made/file"));
  must(Platform::writeAndFlush(folder / "made/file", "bytes"));
  must(Platform::hardLink(folder / "made/file", folder / "made/second"));
  must(Platform::makeSymlink("/elsewhere", folder / "made/link"));
  must(Platform::unlink(folder / "gone"));
  must(Platform::rename(folder / "kept", folder / "made/moved"));
  must(Platform::renameExclusive(folder / "link", folder / "made/moved/deep/link"));
  cut.stop();
  const auto expected = treeOf(folder.path());
  bool found = false;
  cut.forEachState([&](const PowerCut::State& state, const std::string& made) {
    if (state.after == cut.changes()) found = found || treeOf(made) == expected;
  });
  EXPECT_TRUE(found);
}

TEST(PowerCut, TakesNoNoticeOfOtherFoldersAndOfChangesAfterItsEnd) {
  const TempFolder folder;
  const TempFolder other;
  PowerCut cut(folder.path());
  must(Platform::createFile(other / "file"));
  must(Platform::createFile(folder.path() + "-beside"));
  must(Platform::unlink(folder.path() + "-beside"));
  cut.stop();
  must(Platform::createFile(folder / "late"));
  EXPECT_EQ(cut.changes(), 0U);
}

}  // namespace
}  // namespace fernwahrung
