#include "support/Files.h"
#include "support/PowerCut.h"
#include "support/ScopedEnvironment.h"
#include "support/TempFolder.h"

#include "Foundation/Errors.h"
#include "Foundation/Host.h"
#include "Foundation/Paths.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace fernwahrung {
namespace {

struct OtherHome {
  explicit OtherHome(const std::string& path) { Host::setHomeDirectoryForTesting(path); }
  ~OtherHome() { Host::setHomeDirectoryForTesting(""); }
};

TEST(Paths, allPrivateFilesLieUnderTheOverride) {
  const ScopedEnvironment home("FERNWAHRUNG_HOME", "/x/y");
  EXPECT_EQ(Paths::homeOverride(), "/x/y");
  EXPECT_EQ(Paths::supportDirectory(), "/x/y");
  EXPECT_EQ(Paths::logFile(), "/x/y/fernwahrung.log");
  EXPECT_EQ(Paths::registryFile(), "/x/y/registry.json");
  EXPECT_EQ(Paths::lockFile(), "/x/y/lock");
  EXPECT_EQ(Paths::journalDirectory(), "/x/y/journal");
  EXPECT_EQ(Paths::finishedJournalDirectory(), "/x/y/journal/erledigt");
  EXPECT_EQ(Paths::tempMountDirectory(), "/x/y/mnt");
}

TEST(Paths, withoutOverrideTheyLieInTheLibrary) {
  const ScopedEnvironment noOverride("FERNWAHRUNG_HOME", std::nullopt);
  const OtherHome home("/Users/eva");
  const std::string support = "/Users/eva/Library/Application Support/Fernwahrung";
  EXPECT_EQ(Paths::homeOverride(), std::nullopt);
  EXPECT_EQ(Paths::homeDirectory(), "/Users/eva");
  EXPECT_EQ(Paths::supportDirectory(), support);
  EXPECT_EQ(Paths::logFile(), "/Users/eva/Library/Logs/Fernwahrung/fernwahrung.log");
  EXPECT_EQ(Paths::registryFile(), support + "/registry.json");
  EXPECT_EQ(Paths::lockFile(), support + "/lock");
  EXPECT_EQ(Paths::journalDirectory(), support + "/journal");
  EXPECT_EQ(Paths::finishedJournalDirectory(), support + "/journal/erledigt");
  EXPECT_EQ(Paths::tempMountDirectory(), support + "/mnt");
}

TEST(Paths, anEmptyOverrideIsNone) {
  const ScopedEnvironment empty("FERNWAHRUNG_HOME", "");
  EXPECT_EQ(Paths::homeOverride(), std::nullopt);
}

TEST(Paths, theOverrideIsReadOnEachCall) {
  const ScopedEnvironment first("FERNWAHRUNG_HOME", "/first");
  EXPECT_EQ(Paths::lockFile(), "/first/lock");
  const ScopedEnvironment second("FERNWAHRUNG_HOME", "/second");
  EXPECT_EQ(Paths::lockFile(), "/second/lock");
}

TEST(Paths, theVariableHomeIsIgnored) {
  const ScopedEnvironment noOverride("FERNWAHRUNG_HOME", std::nullopt);
  const auto before = Paths::supportDirectory();
  const ScopedEnvironment home("HOME", "/somewhere/else");
  EXPECT_EQ(Paths::supportDirectory(), before);
}

TEST(Paths, ensureCreatesTheFoldersAbove) {
  const TempFolder folder;
  Paths::ensure(folder / "a/b/c d/ä");
  EXPECT_TRUE(isFolder(folder / "a/b/c d/ä"));
}

TEST(Paths, ensureMakesFoldersThatOutlastAPowerCut) {
  const TempFolder folder;
  PowerCut cut(folder.path());
  Paths::ensure(folder / "a/b/c/d");
  cut.stop();
  std::size_t states = 0;
  cut.forEachState([&](const PowerCut::State& state, const std::string& disk) {
    if (state.after != cut.changes()) return;
    EXPECT_TRUE(isFolder(disk + "/a/b/c/d")) << state.description;
    ++states;
  });
  EXPECT_GT(states, 0U);
}

TEST(Paths, ensureTakesAnExistingFolder) {
  const TempFolder folder;
  writeFile(folder / "a/keep", "x");
  EXPECT_NO_THROW(Paths::ensure(folder / "a"));
  EXPECT_NO_THROW(Paths::ensure(folder / "a/"));
  EXPECT_NO_THROW(Paths::ensure("/"));
  EXPECT_EQ(readFile(folder / "a/keep"), "x");
}

TEST(Paths, ensureTakesALinkToAFolder) {
  const TempFolder folder;
  makeFolder(folder / "real");
  ASSERT_EQ(::symlink("real", (folder / "link").c_str()), 0);
  Paths::ensure(folder / "link/inner");
  EXPECT_TRUE(isFolder(folder / "real/inner"));
}

TEST(Paths, ensureRefusesAFileInTheWay) {
  const TempFolder folder;
  writeFile(folder / "file", "x");
  try {
    Paths::ensure(folder / "file");
    FAIL() << "a file was taken for a folder";
  } catch (const SystemError& error) {
    EXPECT_EQ(error.code(), EEXIST);
    EXPECT_NE(std::string(error.what()).find(folder / "file"), std::string::npos);
  }
  EXPECT_THROW(Paths::ensure(folder / "file/below"), SystemError);
  EXPECT_EQ(readFile(folder / "file"), "x");
}

TEST(Paths, ensureRefusesADanglingLinkAndTheEmptyPath) {
  const TempFolder folder;
  ASSERT_EQ(::symlink("missing", (folder / "link").c_str()), 0);
  EXPECT_THROW(Paths::ensure(folder / "link"), SystemError);
  EXPECT_THROW(Paths::ensure(""), SystemError);
}

TEST(Paths, ensureRefusesAPathThatIsTooLong) {
  const TempFolder folder;
  EXPECT_THROW(Paths::ensure(folder / std::string(300, 'x')), SystemError);
  std::string deep = folder.path();
  for (int level = 0; level < 3000; ++level) deep += "/ab";
  EXPECT_THROW(Paths::ensure(deep), SystemError);
  EXPECT_TRUE(namesIn(folder.path()).empty());
}

TEST(Paths, manyThreadsMayEnsureTheSameFolder) {
  for (int round = 0; round < 20; ++round) {
    const TempFolder folder;
    std::vector<std::thread> threads;
    std::vector<int> failed(4, 0);
    for (auto& failure : failed) {
      threads.emplace_back([&folder, &failure] {
        try {
          Paths::ensure(folder / "a/b/c/d/e");
        } catch (const SystemError&) {
          failure = 1;
        }
      });
    }
    for (auto& thread : threads) thread.join();
    ASSERT_EQ(failed, std::vector<int>(4, 0));
  }
}

TEST(Paths, timestampSortsByTime) {
  const auto earlier = *Dates::parseLogStamp("2026-02-09 23:59:59");
  const auto later = *Dates::parseLogStamp("2026-11-15 01:02:03");
  EXPECT_EQ(Paths::timestamp(earlier), "20260209-235959");
  EXPECT_EQ(Paths::timestamp(later), "20261115-010203");
  EXPECT_LT(Paths::timestamp(earlier), Paths::timestamp(later));
}

}  // namespace
}  // namespace fernwahrung
