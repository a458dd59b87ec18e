#include "HostTest.h"
#include "support/Files.h"

#include "Foundation/FileDescriptor.h"
#include "Foundation/PropertyList.h"

#include <atomic>
#include <fcntl.h>
#include <thread>
#include <unistd.h>

namespace fernwahrung::host {
namespace {

struct VerifyVolume : ImageTest {
  void SetUp() override {
    ImageTest::SetUp();
    if (IsSkipped()) return;
    makeAttached(image, mountPoint);
    writeFile(mountPoint + "/file", "bytes");
  }

  void attachReadOnly() {
    ASSERT_EQ(detach(mountPoint).status, 0);
    ASSERT_EQ(attach(image, mountPoint, true).status, 0);
  }
  ProgramResult verify() const { return runTool("diskutil", {"verifyVolume", mountPoint}); }

  void damage() {
    ASSERT_EQ(detach(mountPoint).status, 0);
    mustRun({"debugfs", "-w", "-R", "set_inode_field /file links_count 7", band(image)});
  }
  void expectDamageIsFound() {
    const ProgramResult result = verify();
    EXPECT_NE(result.status, 0);
    EXPECT_NE(result.out.find("Inode"), std::string::npos) << result.out;
    EXPECT_NE(result.err.find("Error: -69845: File system verify or repair failed"), std::string::npos);
    EXPECT_TRUE(isMounted(mountPoint));
    EXPECT_EQ(readFile(mountPoint + "/file"), "bytes");
  }

  const std::string image = imagePath();
};

TEST_F(VerifyVolume, FindsAGoodOneGood) {
  attachReadOnly();
  const std::string before = mustRun({"sha256sum", band(image)});
  const ProgramResult result = verify();
  EXPECT_EQ(result.status, 0) << result.out << result.err;
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.out.rfind("Started file system verification on ", 0), 0U) << result.out;
  EXPECT_NE(result.out.find("File system check exit code is 0\nFinished file system verification on "),
            std::string::npos);
  EXPECT_TRUE(isMounted(mountPoint));
  EXPECT_EQ(mustRun({"sha256sum", band(image)}), before);
}

TEST_F(VerifyVolume, FindsADamagedOneBad) {
  damage();
  ASSERT_EQ(attach(image, mountPoint, true).status, 0);
  expectDamageIsFound();
}

TEST_F(VerifyVolume, FindsADamagedOneBadWhileItIsInUse) {
  damage();
  ASSERT_EQ(attach(image, mountPoint).status, 0);
  expectDamageIsFound();
}

TEST_F(VerifyVolume, FindsOverwrittenBytes) {
  attachReadOnly();
  const std::string where = mustRun({"debugfs", "-R", "imap /file", band(image)});
  const std::string words = "located at block ";
  ASSERT_NE(where.find(words), std::string::npos) << where;
  const long block = std::stol(where.substr(where.find(words) + words.size()));
  {
    const FileDescriptor fd(::open(band(image).c_str(), O_WRONLY | O_CLOEXEC));
    const std::string garbage(4096, '\x5a');
    ASSERT_EQ(::pwrite(fd.get(), garbage.data(), garbage.size(), block * 4096), 4096);
  }
  // The kernel may still hold what lay there before.
  ASSERT_EQ(detach(mountPoint).status, 0);
  const ProgramResult attached = attach(image, mountPoint, true);
  if (attached.status == 0) {
    EXPECT_NE(verify().status, 0);
  } else {
    EXPECT_EQ(attached.status, 1) << "the first block of inodes holds the root folder, too";
  }
}

TEST_F(VerifyVolume, FindsAGoodOneGoodWhileItIsWrittenTo) {
  std::atomic<bool> goOn{true};
  std::thread writer([&] {
    const FileDescriptor open(::open((mountPoint + "/open").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    removeEverything(mountPoint + "/open");  // a file without a name, as many programs keep
    for (int i = 0; goOn; ++i) {
      writeFile(mountPoint + "/churn/" + std::to_string(i % 50),
                std::string(static_cast<std::size_t>(i % 9) * 4000, 'c'));
      // One by one: FUSE keeps a file that was closed just now under another name, so the folder may not be
      // empty yet.
      if (i % 50 != 49) continue;
      for (int file = 0; file < 50; ++file) ::unlink((mountPoint + "/churn/" + std::to_string(file)).c_str());
    }
  });
  for (int i = 0; i < 5; ++i) {
    const ProgramResult result = verify();
    EXPECT_EQ(result.status, 0) << result.out << result.err;
  }
  goOn = false;
  writer.join();
  EXPECT_EQ(verify().status, 0);
  EXPECT_EQ(detach(mountPoint).status, 0);
}

TEST_F(VerifyVolume, RefusesWhatIsNoVolumeOfAnImage) {
  const ProgramResult result = runTool("diskutil", {"verifyVolume", folder / "missing"});
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.err, "");
  EXPECT_EQ(runTool("diskutil", {"verifyVolume"}).status, 1);
  EXPECT_EQ(runTool("diskutil", {"frobnicate"}).status, 1);
  EXPECT_EQ(runTool("diskutil", {}).status, 1);
}

TEST(ApfsContainers, AreNone) {
  const ProgramResult result = runTool("diskutil", {"apfs", "list", "-plist"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(PropertyList::parse(result.out), (nlohmann::json{{"Containers", nlohmann::json::array()}}));
  EXPECT_EQ(runTool("diskutil", {"apfs"}).status, 1);
}

}  // namespace
}  // namespace fernwahrung::host
