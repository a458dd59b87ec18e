#include "HostTest.h"
#include "support/Files.h"
#include "support/KillAt.h"

#include <sys/stat.h>
#include <unistd.h>

namespace fernwahrung::host {
namespace {

struct Create : ImageTest {
  const std::string image = imagePath();
};

TEST_F(Create, MakesAFolderThatKnowsItsSizeAndTakesLittleRoom) {
  ASSERT_EQ(create(image, 28610).status, 0);
  EXPECT_EQ(namesIn(image), (std::vector<std::string>{"Info.plist", "bands", "token"}));
  EXPECT_EQ(infoOf(image), (nlohmann::json{{"CFBundleInfoDictionaryVersion", "6.0"},
                                           {"band-size", 8388608},
                                           {"bundle-backingstore-version", 1},
                                           {"diskimage-bundle-type", "com.apple.diskimage.sparsebundle"},
                                           {"size", 28610LL << 20}}));
  EXPECT_EQ(namesIn(image + "/bands"), std::vector<std::string>{"0"});
  EXPECT_LT(allocatedBytes(image), 8 << 20);
}

TEST_F(Create, MakesASoundFileSystemThatKeepsNothingBack) {
  ASSERT_EQ(create(image).status, 0);
  const ProgramResult check = runProgram({"e2fsck", "-f", "-n", band(image)});
  EXPECT_EQ(check.status, 0) << check.out;
  const std::string facts = mustRun({"dumpe2fs", "-h", band(image)});
  EXPECT_NE(facts.find("Reserved block count:     0\n"), std::string::npos) << facts;
  EXPECT_NE(facts.find("Große Bibliothe\n"), std::string::npos) << "the label is cut to 16 bytes\n" << facts;
}

TEST_F(Create, GivesTheEmptyRootToTheCaller) {
  makeAttached(image, mountPoint);
  EXPECT_EQ(namesIn(mountPoint), std::vector<std::string>{});
  struct stat status;
  ASSERT_EQ(::stat(mountPoint.c_str(), &status), 0);
  EXPECT_EQ(status.st_uid, ::geteuid());
  EXPECT_EQ(status.st_gid, ::getegid());
  EXPECT_EQ(status.st_mode & 07777, 0755U);
}

TEST_F(Create, AddsTheMissingExtension) {
  ASSERT_EQ(create(folder / "Name").status, 0);
  EXPECT_TRUE(isFolder(folder / "Name.sparsebundle"));
}

TEST_F(Create, RefusesWhereSomethingLies) {
  makeFolder(folder / "folder.sparsebundle");
  writeFile(folder / "file.sparsebundle", "bytes");
  ASSERT_EQ(::symlink("nowhere", (folder / "link.sparsebundle").c_str()), 0);
  for (const char* name : {"folder", "file", "link"}) {
    const ProgramResult result = create(imagePath(name));
    EXPECT_EQ(result.status, 1) << name;
    EXPECT_EQ(result.err, "hdiutil: create failed - File exists\n");
  }
  EXPECT_EQ(namesIn(folder / "folder.sparsebundle"), std::vector<std::string>{});
  EXPECT_EQ(readFile(folder / "file.sparsebundle"), "bytes");
  EXPECT_FALSE(exists(folder / "nowhere"));
}

TEST_F(Create, RefusesAFolderThatIsMissing) {
  const ProgramResult result = create(folder / "missing/Bild.sparsebundle");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "hdiutil: create failed - No such file or directory\n");
}

TEST_F(Create, RefusesASizeThatHasNoRoomForAJournal) {
  const ProgramResult result = create(image, 15);
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "hdiutil: create failed - Invalid argument\n");
  EXPECT_FALSE(exists(image));
  ASSERT_EQ(create(image, 16).status, 0);
  EXPECT_NE(mustRun({"dumpe2fs", "-h", band(image)}).find("has_journal"), std::string::npos);
}

TEST_F(Create, RefusesArgumentsItDoesNotKnow) {
  const std::vector<std::string> good = createVector(image, smallImage);
  const auto with = [&](std::size_t index, const char* value) {
    std::vector<std::string> changed = good;
    changed[index] = value;
    return changed;
  };
  std::vector<std::vector<std::string>> vectors = {with(2, "100"),
                                                   with(2, "0m"),
                                                   with(2, "-5m"),
                                                   with(2, "9999999999999999999m"),
                                                   with(2, ""),
                                                   with(4, "UDIF"),
                                                   with(6, "ExFAT"),
                                                   with(10, "-unknown"),
                                                   with(9, ""),
                                                   {"create"},
                                                   {"create", "-volname"},
                                                   {"frobnicate"},
                                                   {}};
  vectors.push_back(good);
  vectors.back().push_back("one too many");
  for (const auto& arguments : vectors) {
    const ProgramResult result = runTool("hdiutil", arguments);
    EXPECT_EQ(result.status, 1) << testing::PrintToString(arguments);
    EXPECT_EQ(result.err.rfind("Usage", 0), 0U) << result.err;
    EXPECT_EQ(result.out, "");
  }
  EXPECT_EQ(namesIn(folder.path()), std::vector<std::string>{"Ort"});
}

TEST_F(Create, KilledAtAnyCallLeavesNoImageOrAWholeOne) {
  if (auto reason = KillAt::unavailable()) GTEST_SKIP() << *reason;
  std::vector<std::string> argv = createVector(image, smallImage);
  argv.insert(argv.begin(), toolPath("hdiutil"));
  int whole = 0;
  int kills = 0;
  for (int n = 1;; ++n) {
    const KillAt::Result run = KillAt::run({.argv = argv, .killAt = n, .mode = KillAt::Mode::all});
    if (!run.killed) {
      EXPECT_EQ(run.status, 0) << run.err;
      break;
    }
    ++kills;
    const ProgramResult attached = attach(image, mountPoint);
    if (attached.status == 0) {
      ++whole;
      EXPECT_EQ(namesIn(mountPoint), std::vector<std::string>{}) << "killed before " << run.call;
      EXPECT_EQ(detach(mountPoint).status, 0);
      EXPECT_EQ(runProgram({"e2fsck", "-f", "-n", band(image)}).status, 0) << "killed before " << run.call;
    } else {
      EXPECT_FALSE(exists(image + "/Info.plist")) << "killed before " << run.call;
    }
    removeEverything(image);
  }
  EXPECT_GT(kills, 10);
  EXPECT_LT(whole, kills / 2) << "the image is made complete at the end";
}

}  // namespace
}  // namespace fernwahrung::host
