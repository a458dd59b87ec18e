#include "HostTest.h"
#include "support/Files.h"

#include "Foundation/FileDescriptor.h"
#include "Foundation/PropertyList.h"

#include <fcntl.h>

namespace fernwahrung::host {
namespace {

struct Detach : ImageTest {
  void SetUp() override {
    ImageTest::SetUp();
    if (!IsSkipped()) makeAttached(image, mountPoint);
  }

  const std::string image = imagePath();
};

TEST_F(Detach, LeavesAllDataInTheFile) {
  writeFile(mountPoint + "/file", "bytes");
  ASSERT_EQ(detach(mountPoint).status, 0);
  EXPECT_TRUE(isReleased(image));
  // Asked of the file itself, not of what the kernel remembers.
  EXPECT_EQ(runProgram({"debugfs", "-R", "cat /file", band(image)}).out, "bytes");
}

TEST_F(Detach, IsRefusedWhileAFileIsOpenAndWorksAfterwards) {
  writeFile(mountPoint + "/file", "bytes");
  {
    const FileDescriptor fd(::open((mountPoint + "/file").c_str(), O_RDONLY | O_CLOEXEC));
    const ProgramResult result = detach(mountPoint);
    EXPECT_EQ(result.status, 16);
    EXPECT_NE(result.err.find("hdiutil: couldn't unmount"), std::string::npos) << result.err;
    EXPECT_NE(result.err.find("- Resource busy"), std::string::npos) << result.err;
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(readFile(mountPoint + "/file"), "bytes");
  }
  EXPECT_EQ(detach(mountPoint).status, 0);
  EXPECT_TRUE(isReleased(image));
}

TEST_F(Detach, TakesTheDeviceAsWell) {
  const auto images = PropertyList::parse(runTool("hdiutil", {"info", "-plist"}).out).at("images");
  for (const auto& each : images) {
    if (each.at("image-path") != image) continue;
    EXPECT_EQ(detach(each.at("system-entities").at(0).at("dev-entry")).status, 0);
  }
  EXPECT_FALSE(isMounted(mountPoint));
  EXPECT_TRUE(isReleased(image));
}

TEST_F(Detach, TakesAPathThroughALink) {
  mustRun({"ln", "-s", folder.path(), folder / "link"});
  EXPECT_EQ(detach(folder / "link/Ort").status, 0);
  EXPECT_FALSE(isMounted(mountPoint));
}

TEST_F(Detach, OfOneImageLeavesTheOther) {
  makeAttached(imagePath("other"), folder / "other");
  EXPECT_EQ(detach(mountPoint).status, 0);
  EXPECT_FALSE(isMounted(mountPoint));
  EXPECT_TRUE(isMounted(folder / "other"));
  EXPECT_EQ(listed().size(), 1U);
}

TEST_F(Detach, OfWhatIsNotAttachedFails) {
  makeFolder(mountPoint + "/inside");
  for (const std::string& target :
       {mountPoint + "/inside", folder / "missing", folder.path(), std::string("/"), std::string("/proc"),
        image, std::string("/dev/null")}) {
    const ProgramResult result = detach(target);
    EXPECT_EQ(result.status, 1) << target;
    EXPECT_EQ(result.err, "hdiutil: detach failed - No such file or directory\n");
  }
  EXPECT_TRUE(isMounted(mountPoint));
  EXPECT_EQ(detach(mountPoint).status, 0);
  EXPECT_EQ(detach(mountPoint).status, 1) << "a second time";
}

}  // namespace
}  // namespace fernwahrung::host
