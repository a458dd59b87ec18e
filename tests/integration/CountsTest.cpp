// What a look at all relocations costs: started processes and walked bundles, counted by a tracer.
#include "Scene.h"
#include "support/Files.h"
#include "support/Program.h"
#include "support/ToolDouble.h"

#include "Engine/Status.h"
#include "Foundation/PropertyList.h"
#include "Foundation/Text.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <map>

namespace fernwahrung {
namespace {

using testing::IsEmpty;

/// What one run of the executable did.
struct Trace {
  ProgramResult result;
  std::vector<std::string> started;     // "hdiutil info" for each process that became a program
  std::map<std::string, int> openings;  // how often each folder was opened to be read

  int openingsBelow(const std::string& folder) const {
    int count = 0;
    for (const auto& [path, times] : openings) count += path.starts_with(folder + "/") ? times : 0;
    return count;
  }
};

/// The texts in quotes of a line of the tracer.
std::vector<std::string> quotedTexts(const std::string& line) {
  std::vector<std::string> texts;
  const std::vector<std::string> pieces = Text::split(line, '"');
  for (std::size_t i = 1; i < pieces.size(); i += 2) texts.push_back(pieces[i]);
  return texts;
}

Trace traced(const std::vector<std::string>& arguments) {
  const TempFolder folder;
  const std::string file = folder / "trace";
  std::vector<std::string> argv = {
      "strace", "-f", "-qq", "-s", "4096", "-e", "trace=execve,openat,open", "-o", file, FERNWAHRUNG_HELPER};
  argv.insert(argv.end(), arguments.begin(), arguments.end());
  // the address sanitizer's search for leaks can't look at a process that is traced already
  const ProgramOptions options{.environment = {{"ASAN_OPTIONS", "detect_leaks=0"}}};
  Trace trace{.result = runProgram(argv, options), .started = {}, .openings = {}};
  bool isOwnStart = true;
  // A call that another process's line interrupts is told in two halves: the texts stand in the first.
  for (const std::string& line : Text::split(readFile(file), '\n')) {
    if (line.find("resumed>") != std::string::npos || line.find(" = -1 ") != std::string::npos) continue;
    const std::vector<std::string> texts = quotedTexts(line);
    if (line.find(" execve(") != std::string::npos) {
      std::string program = texts.at(0).substr(texts.at(0).rfind('/') + 1);
      if (texts.size() > 2) program += " " + texts[2];
      if (!isOwnStart) trace.started.push_back(program);
      isOwnStart = false;
    } else if (!texts.empty() && line.find("O_DIRECTORY") != std::string::npos) {
      ++trace.openings[texts[0]];
    }
  }
  return trace;
}

bool canTrace() {
  return findProgram("strace") && runProgram({"strace", "-qq", "-o", "/dev/null", "true"}).status == 0;
}

class CountsTest : public testing::Test {
 protected:
  static constexpr int count = 200;

  void SetUp() override {
    if (!canTrace()) GTEST_SKIP() << "nothing can be traced here";
    Registry registry;
    for (int number = 0; number < count; ++number) {
      Relocation relocation;
      relocation.id = Uuid::random();
      relocation.name = fmt::format("Ordner {}", number);
      relocation.kind = RelocationKind::image;
      relocation.sourcePath = folder_ / fmt::format("mac/folder-{:03}", number);
      relocation.storagePath = bundle(number);
      relocation.createdAt = *Dates::parseIso8601("2026-11-15T10:09:15Z");
      makeFolder(relocation.sourcePath);
      registry.relocations.push_back(relocation);
    }
    RegistryStore::save(registry);  // while the drive is missing: its 200 sidecars are of no interest here
    for (int number = 0; number < count; ++number) {
      writeFile(bundle(number) + "/Info.plist", PropertyList::printXml({{"size", 2'000'000'000}}));
      writeFile(bundle(number) + "/bands/0", std::string(4096, 'x'));
    }
  }

  std::string bundle(int number) const {
    return folder_ / fmt::format("drive/bundle-{:03}.sparsebundle", number);
  }

  TempHome home_;
  TempFolder folder_;
};

TEST_F(CountsTest, AListStartsOneToolAndWalksNoBundle) {
  const Trace trace = traced({"list"});
  EXPECT_EQ(trace.result.status, 0) << trace.result.err;
  EXPECT_NE(trace.result.out.find("Ordner 199"), std::string::npos);
  EXPECT_EQ(trace.started, std::vector<std::string>{"hdiutil info"});
  EXPECT_EQ(trace.openingsBelow(folder_ / "drive"), 0);
  for (int number = 0; number < count; ++number) {
    const auto opened = trace.openings.find(folder_ / fmt::format("mac/folder-{:03}", number));
    ASSERT_NE(opened, trace.openings.end()) << number;
    EXPECT_EQ(opened->second, 1) << opened->first;
  }
}

TEST_F(CountsTest, OneStatusStartsOneToolAndLooksAtNoOtherRelocation) {
  const Trace trace = traced({"status", "Ordner 17"});
  EXPECT_EQ(trace.result.status, 0) << trace.result.err;
  EXPECT_EQ(trace.started, std::vector<std::string>{"hdiutil info"});
  EXPECT_EQ(trace.openingsBelow(folder_ / "drive"), 0);
  EXPECT_EQ(trace.openingsBelow(folder_ / "mac"), 1);
}

TEST_F(CountsTest, TheStatesOfAllRelocationsShareOneTool) {
  const ToolDouble hdiutil("/usr/bin/hdiutil", {.thenReal = true});
  AttachedImages attached;
  for (const Relocation& relocation : RegistryStore::load().relocations)
    EXPECT_EQ(Relocator::status(relocation, attached).summary, "Nicht eingehängt");
  EXPECT_EQ(hdiutil.calls(), (std::vector<std::vector<std::string>>{{"info", "-plist"}}));
}

TEST_F(CountsTest, AFailingToolIsAskedOnceAllTheSame) {
  const ToolDouble hdiutil("/usr/bin/hdiutil", {.status = 1});
  AttachedImages attached;
  for (const Relocation& relocation : RegistryStore::load().relocations)
    EXPECT_EQ(Relocator::status(relocation, attached).summary, "Nicht eingehängt");
  EXPECT_EQ(hdiutil.calls().size(), 1U);
}

TEST_F(CountsTest, ACapacityWalksEachBundleOnceAndStartsNothing) {
  const Trace trace = traced({"capacity", "--json"});
  EXPECT_EQ(trace.result.status, 0) << trace.result.err;
  EXPECT_THAT(trace.started, IsEmpty());
  for (int number = 0; number < count; ++number) {
    EXPECT_EQ(trace.openings.count(bundle(number)), 1U) << number;
    EXPECT_EQ(trace.openingsBelow(bundle(number)), 1) << number;
  }
  for (const auto& [path, times] : trace.openings) {
    if (path.starts_with(folder_ / "drive/")) {
      EXPECT_EQ(times, 1) << path;
    }
  }
}

TEST_F(CountsTest, AMissingDriveCostsNoToolMore) {
  Registry registry = RegistryStore::load();
  for (Relocation& relocation : registry.relocations)
    relocation.storagePath = "/Volumes/Fehlt/" + relocation.name + ".sparsebundle";
  RegistryStore::save(registry);
  const Trace list = traced({"list"});
  EXPECT_EQ(list.result.status, 0) << list.result.err;
  EXPECT_EQ(list.started, std::vector<std::string>{"hdiutil info"});
  const Trace mounting = traced({"mount-all"});
  EXPECT_EQ(mounting.result.status, 1);
  EXPECT_THAT(mounting.started, IsEmpty());
}

class MountedCountsTest : public Scene {};

TEST_F(MountedCountsTest, StatusAndListOfAMountedImageStartNoProcess) {
  if (!canTrace()) GTEST_SKIP() << "nothing can be traced here";
  makeSource({.depth = 3, .manyFiles = 3, .bigFile = false});
  relocate(RelocationKind::image);
  for (const std::vector<std::string>& command :
       {std::vector<std::string>{"status", plan(RelocationKind::image).name}, {"list"}}) {
    const Trace trace = traced(command);
    EXPECT_EQ(trace.result.status, 0) << trace.result.err;
    EXPECT_NE(trace.result.out.find("Eingehängt"), std::string::npos);
    EXPECT_THAT(trace.started, IsEmpty());
    EXPECT_EQ(trace.openingsBelow(drive->path()), 0);
  }
}

}  // namespace
}  // namespace fernwahrung
