#include "HostTest.h"
#include "support/Files.h"
#include "support/KillAt.h"
#include "support/NastyTree.h"
#include "support/TreeManifest.h"

#include <sstream>
#include <sys/stat.h>
#include <sys/statvfs.h>

namespace fernwahrung::host {
namespace {

struct Resize : ImageTest {
  void SetUp() override {
    ImageTest::SetUp();
    if (IsSkipped()) return;
    makeAttached(image, mountPoint, 200);
    makeNastyTree(tree);
    before = TreeManifest::of(tree);
    ASSERT_EQ(detach(mountPoint).status, 0);
  }

  static ProgramResult resize(const std::string& image, long mebibytes) {
    return runTool("hdiutil", {"resize", "-size", std::to_string(mebibytes) + "m", image});
  }

  std::vector<long long> limits() const {
    const ProgramResult result = runTool("hdiutil", {"resize", "-limits", image});
    EXPECT_EQ(result.status, 0) << result.err;
    std::istringstream words(result.out);
    std::vector<long long> numbers;
    for (long long number; words >> number;) numbers.push_back(number);
    return numbers;
  }

  long long fileSize() const {
    struct stat status;
    return ::stat(band(image).c_str(), &status) == 0 ? status.st_size : -1;
  }

  long long fileSystemBytes() const {
    const std::string facts = mustRun({"dumpe2fs", "-h", band(image)});
    const std::string words = "Block count:";
    return std::stoll(facts.substr(facts.find(words) + words.size())) * 4096;
  }

  void expectSound(long mebibytes) {
    EXPECT_EQ(infoOf(image).at("size"), static_cast<long long>(mebibytes) << 20);
    EXPECT_EQ(fileSize(), static_cast<long long>(mebibytes) << 20);
    const ProgramResult check = runProgram({"e2fsck", "-f", "-n", band(image)});
    EXPECT_EQ(check.status, 0) << check.out;
    // The programs round down to whole groups of blocks.
    EXPECT_GE(fileSystemBytes(), static_cast<long long>(mebibytes << 20) * 9 / 10);
    EXPECT_LE(fileSystemBytes(), static_cast<long long>(mebibytes) << 20);
    ASSERT_EQ(attach(image, mountPoint).status, 0);
    EXPECT_EQ(diff(before, TreeManifest::of(tree)), "");
    EXPECT_EQ(namesIn(mountPoint), std::vector<std::string>{"tree"}) << "nothing of the tools' own";
    ASSERT_EQ(detach(mountPoint).status, 0);
  }

  const std::string image = imagePath();
  const std::string tree = mountPoint + "/tree";
  TreeManifest before;
};

TEST_F(Resize, LimitsAreThreeCountsOfSectors) {
  const auto numbers = limits();
  ASSERT_EQ(numbers.size(), 3U);
  EXPECT_GT(numbers[0], 3 * 2048) << "the tree holds a file of 3 MiB";
  EXPECT_LT(numbers[0], numbers[1]);
  EXPECT_EQ(numbers[1], 200 * 2048);
  struct statvfs drive;
  ASSERT_EQ(::statvfs(image.c_str(), &drive), 0);
  const double expected =
      static_cast<double>(drive.f_bavail) * static_cast<double>(drive.f_frsize) / 512 + 200 * 2048;
  EXPECT_NEAR(static_cast<double>(numbers[2]), expected, expected / 20) << "others use the drive as well";
}

TEST_F(Resize, GrowsAndKeepsAll) {
  ASSERT_EQ(resize(image, 3000).status, 0);
  expectSound(3000);
}

TEST_F(Resize, ShrinksAndKeepsAll) {
  ASSERT_EQ(resize(image, 120).status, 0);
  expectSound(120);
}

TEST_F(Resize, GoesToAndFro) {
  for (const long mebibytes : {9000, 150, 151, 400, 200}) {
    ASSERT_EQ(resize(image, mebibytes).status, 0) << mebibytes;
    expectSound(mebibytes);
  }
}

TEST_F(Resize, ToTheSmallestSizeItNamesWorks) {
  const long smallest = static_cast<long>(limits().at(0) / 2048) + 1;
  ASSERT_EQ(resize(image, smallest).status, 0);
  expectSound(smallest);
}

TEST_F(Resize, ToLessThanTheContentsIsRefusedAndChangesNothing) {
  const ProgramResult result = resize(image, static_cast<long>(limits().at(0) / 2048) / 2);
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err.rfind("hdiutil: resize failed - ", 0), 0U) << result.err;
  expectSound(200);
}

TEST_F(Resize, OfAnAttachedImageIsRefused) {
  ASSERT_EQ(attach(image, mountPoint).status, 0);
  const ProgramResult result = resize(image, 400);
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "hdiutil: resize failed - Resource temporarily unavailable\n");
  ASSERT_EQ(detach(mountPoint).status, 0);
  expectSound(200);
}

TEST_F(Resize, RefusesWhatIsNoImageAndArgumentsItDoesNotKnow) {
  EXPECT_EQ(resize(imagePath("missing"), 300).err, "hdiutil: resize failed - No such file or directory\n");
  EXPECT_EQ(resize(folder.path(), 300).err, "hdiutil: resize failed - image not recognized\n");
  for (const std::vector<std::string>& arguments : {std::vector<std::string>{"resize", image},
                                                    {"resize", "-limits"},
                                                    {"resize", "-size", "300", image},
                                                    {"resize", "-limits", "-size", "300m", image},
                                                    {"resize", "-size", "300m", "-x", image}}) {
    const ProgramResult result = runTool("hdiutil", arguments);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err.rfind("Usage", 0), 0U) << result.err;
  }
}

/// Its programs finish their work, as they do when only the tool is killed.
TEST_F(Resize, KilledAtAnyCallKeepsAllAndCanBeRepeated) {
  if (auto reason = KillAt::unavailable()) GTEST_SKIP() << *reason;
  int kills = 0;
  for (int n = 1;; ++n) {
    const long size = kills % 2 == 0 ? 300 : 150;
    const KillAt::Result run = KillAt::run(
        {.argv = {toolPath("hdiutil"), "resize", "-size", std::to_string(size) + "m", image}, .killAt = n});
    if (!run.killed) {
      EXPECT_EQ(run.status, 0) << run.err;
      break;
    }
    ++kills;
    SCOPED_TRACE("killed before " + run.call);
    EXPECT_LE(infoOf(image).at("size").get<long long>(), std::max(fileSize(), 300LL << 20));
    const ProgramResult attached = attach(image, mountPoint);
    ASSERT_EQ(attached.status, 0) << attached.err;
    EXPECT_EQ(diff(before, TreeManifest::of(tree)), "");
    ASSERT_EQ(detach(mountPoint).status, 0);
    ASSERT_EQ(resize(image, size).status, 0);
    expectSound(size);
  }
  EXPECT_GT(kills, 5);
}

}  // namespace
}  // namespace fernwahrung::host
