#include "HostTest.h"
#include "support/Files.h"
#include "support/NastyTree.h"
#include "support/TreeManifest.h"

#include "Foundation/FileDescriptor.h"
#include "Foundation/PropertyList.h"
#include "Platform/FileChanges.h"

#include <algorithm>
#include <fcntl.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace fernwahrung::host {
namespace {

using Listed = std::vector<std::pair<std::string, std::vector<std::string>>>;

struct Attach : ImageTest {
  void SetUp() override {
    ImageTest::SetUp();
    if (!IsSkipped()) {
      ASSERT_EQ(create(image).status, 0);
    }
  }

  void expectRefused(const std::string& refusedImage, const std::string& where, const std::string& reason) {
    const ProgramResult result = attach(refusedImage, where);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err.rfind("hdiutil: attach failed - " + reason, 0), 0U) << result.err;
    EXPECT_EQ(listed(), Listed{});
    EXPECT_FALSE(isMounted(where));
  }

  static void overwrite(const std::string& file, off_t position, const std::string& bytes) {
    const FileDescriptor fd(::open(file.c_str(), O_WRONLY | O_CLOEXEC));
    ASSERT_EQ(::pwrite(fd.get(), bytes.data(), bytes.size(), position), static_cast<ssize_t>(bytes.size()));
  }

  const std::string image = imagePath();
};

TEST_F(Attach, MountsTheImageAndListsItsEntities) {
  const ProgramResult result = attach(image, mountPoint);
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.err, "");
  const auto entities = PropertyList::parse(result.out).at("system-entities");
  ASSERT_EQ(entities.size(), 2U);
  EXPECT_FALSE(entities[0].contains("mount-point")) << "the whole disk";
  EXPECT_EQ(textsUnder(entities, "mount-point"), std::vector<std::string>{mountPoint});
  for (const char* key : {"content-hint", "dev-entry", "unmapped-content-hint"})
    EXPECT_EQ(textsUnder(entities, key).size(), 2U) << key;
  EXPECT_TRUE(isMounted(mountPoint));
  EXPECT_EQ(listed(), (Listed{{image, {mountPoint}}}));
  EXPECT_EQ(detach(mountPoint).status, 0);
  EXPECT_FALSE(isMounted(mountPoint));
  EXPECT_EQ(listed(), Listed{});
  EXPECT_TRUE(isReleased(image));
}

TEST_F(Attach, KeepsATreeThatIsHardToCopyAsItWas) {
  ASSERT_EQ(attach(image, mountPoint).status, 0);
  const std::string tree = mountPoint + "/tree";
  makeNastyTree(tree);
  const TreeManifest before = TreeManifest::of(tree);
  ASSERT_EQ(detach(mountPoint).status, 0);
  ASSERT_EQ(attach(image, mountPoint).status, 0);
  EXPECT_EQ(diff(before, TreeManifest::of(tree)), "");
  ASSERT_EQ(detach(mountPoint).status, 0);
  const ProgramResult check = runProgram({"e2fsck", "-f", "-n", band(image)});
  EXPECT_EQ(check.status, 0) << check.out;
}

TEST_F(Attach, OfAnAttachedImageTellsWhereItIs) {
  makeFolder(folder / "elsewhere");
  ASSERT_EQ(attach(image, mountPoint).status, 0);
  const ProgramResult again = attach(image, folder / "elsewhere");
  EXPECT_EQ(again.status, 0) << again.err;
  EXPECT_EQ(textsUnder(PropertyList::parse(again.out).at("system-entities"), "mount-point"),
            std::vector<std::string>{mountPoint});
  EXPECT_FALSE(isMounted(folder / "elsewhere"));
}

TEST_F(Attach, ByManyAtOnceMountsTheImageOnce) {
  std::vector<ProgramResult> results(6);
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < results.size(); ++i) makeFolder(folder / std::to_string(i));
  for (std::size_t i = 0; i < results.size(); ++i)
    threads.emplace_back([&, i] { results[i] = attach(image, folder / std::to_string(i)); });
  for (std::thread& thread : threads) thread.join();
  const Listed images = listed();
  ASSERT_EQ(images.size(), 1U);
  ASSERT_EQ(images[0].second.size(), 1U);
  for (const ProgramResult& result : results) {
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(textsUnder(PropertyList::parse(result.out).at("system-entities"), "mount-point"),
              images[0].second);
  }
}

TEST_F(Attach, OfManyImagesAtOnceGivesEachItsOwnDevice) {
  constexpr std::size_t count = 6;
  std::vector<std::string> names;
  for (std::size_t i = 0; i < count; ++i) {
    names.push_back(std::to_string(i));
    makeFolder(folder / names[i]);
    ASSERT_EQ(create(imagePath(names[i])).status, 0);
  }
  std::vector<ProgramResult> results(count);
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < count; ++i)
    threads.emplace_back([&, i] { results[i] = attach(imagePath(names[i]), folder / names[i]); });
  for (std::thread& thread : threads) thread.join();
  std::vector<std::string> devices;
  for (const ProgramResult& result : results) {
    ASSERT_EQ(result.status, 0) << result.err;
    devices.push_back(textsUnder(PropertyList::parse(result.out).at("system-entities"), "dev-entry").at(0));
  }
  std::sort(devices.begin(), devices.end());
  EXPECT_EQ(std::unique(devices.begin(), devices.end()), devices.end());
  for (std::size_t i = 0; i < count; ++i) writeFile(folder / (names[i] + "/name"), names[i]);
  for (std::size_t i = 0; i < count; ++i) {
    EXPECT_EQ(readFile(folder / (names[i] + "/name")), names[i]);
    EXPECT_EQ(detach(folder / names[i]).status, 0);
  }
}

TEST_F(Attach, TakesAnyName) {
  for (const std::string name : {"mit Leerzeichen ", "Größe „Ä“", "it's \"quoted\"", "back\\slash \\040",
                                 "comma, and = %", "line\nfeed\tand tab", "(deleted) (deleted)", "#hash"}) {
    SCOPED_TRACE(name);
    const std::string strange = imagePath(name);
    const std::string where = folder / ("Ort " + name);
    makeAttached(strange, where);
    EXPECT_EQ(listed(), (Listed{{strange, {where}}}));
    writeFile(where + "/" + name, name);
    EXPECT_EQ(detach(where).status, 0);
    EXPECT_EQ(attach(strange, where).status, 0);
    EXPECT_EQ(readFile(where + "/" + name), name);
    EXPECT_EQ(detach(where).status, 0);
    EXPECT_TRUE(isReleased(strange));
  }
}

TEST_F(Attach, ThroughALinkReportsWhereTheImageReallyLies) {
  ASSERT_EQ(::symlink(image.c_str(), (folder / "link").c_str()), 0);
  ASSERT_EQ(attach(folder / "link", mountPoint).status, 0);
  EXPECT_EQ(listed(), (Listed{{image, {mountPoint}}}));
}

TEST_F(Attach, ReadOnlyLetsNothingBeWritten) {
  ASSERT_EQ(attach(image, mountPoint).status, 0);
  writeFile(mountPoint + "/file", "bytes");
  ASSERT_EQ(detach(mountPoint).status, 0);
  const std::string before = mustRun({"sha256sum", band(image)});
  ASSERT_EQ(attach(image, mountPoint, true).status, 0);
  EXPECT_EQ(readFile(mountPoint + "/file"), "bytes");
  EXPECT_EQ(Platform::createFile(mountPoint + "/new").value(), EROFS);
  ASSERT_EQ(detach(mountPoint).status, 0);
  EXPECT_EQ(mustRun({"sha256sum", band(image)}), before);
}

TEST_F(Attach, ReadOnlyWorksForAnImageThatWasNeverDetached) {
  ASSERT_EQ(attach(image, mountPoint).status, 0);
  writeFile(mountPoint + "/file", "bytes");
  writeFile(mountPoint + "/open", "bytes");
  const FileDescriptor open(::open((mountPoint + "/open").c_str(), O_RDONLY | O_CLOEXEC));
  removeEverything(mountPoint + "/open");  // what only a replayed journal can make an end of
  mustRun({"sync", "-f", mountPoint});
  // What the drive holds at this moment is what a power cut would leave.
  const std::string left = imagePath("left");
  mustRun({"cp", "-r", "--sparse=always", image, left});
  const std::string before = mustRun({"sha256sum", band(left)});
  makeFolder(folder / "elsewhere");
  const ProgramResult result = attach(left, folder / "elsewhere", true);
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(runTool("diskutil", {"verifyVolume", folder / "elsewhere"}).status, 0);
  EXPECT_EQ(detach(folder / "elsewhere").status, 0);
  EXPECT_EQ(mustRun({"sha256sum", band(left)}), before);
  EXPECT_EQ(attach(left, folder / "elsewhere").status, 0);
  EXPECT_EQ(readFile(folder / "elsewhere/file"), "bytes");
}

TEST_F(Attach, RefusesAMissingImageOrMountPoint) {
  expectRefused(imagePath("missing"), mountPoint, "No such file or directory\n");
  expectRefused(image, folder / "missing", "No such file or directory\n");
  writeFile(folder / "file", "bytes");
  expectRefused(image, folder / "file", "Not a directory\n");
  EXPECT_TRUE(isReleased(image));
  EXPECT_EQ(attach(image, mountPoint).status, 0);
}

TEST_F(Attach, RefusesWhatIsNoImage) {
  const std::string recognized = "image not recognized\n";
  expectRefused(folder.path(), mountPoint, recognized);
  writeFile(folder / "file.sparsebundle", "bytes");
  expectRefused(folder / "file.sparsebundle", mountPoint, recognized);
  const std::string info = readFile(image + "/Info.plist");
  for (const std::string& damaged : {std::string(), std::string("bytes"), info.substr(0, info.size() / 2)}) {
    writeFile(image + "/Info.plist", damaged);
    expectRefused(image, mountPoint, recognized);
  }
  removeEverything(image + "/Info.plist");
  expectRefused(image, mountPoint, recognized);
  writeFile(image + "/Info.plist", info);
  mustRun({"mv", band(image), folder / "band"});
  expectRefused(image, mountPoint, recognized);
  makeFolder(band(image));
  EXPECT_EQ(attach(image, mountPoint).status, 1);
  removeEverything(band(image));
  ASSERT_EQ(::symlink((folder / "band").c_str(), band(image).c_str()), 0);
  expectRefused(image, mountPoint, recognized);
}

TEST_F(Attach, RefusesADamagedFileSystemAndLetsGoOfIt) {
  overwrite(band(image), 0, std::string(4096, 'x'));
  expectRefused(image, mountPoint, "no mountable file systems");
  EXPECT_TRUE(isReleased(image));
  ASSERT_EQ(::truncate(band(image).c_str(), 0), 0);
  expectRefused(image, mountPoint, "no mountable file systems");
  EXPECT_TRUE(isReleased(image));
}

TEST_F(Attach, OverALockedFolderLeavesItLocked) {
  ASSERT_FALSE(Platform::setImmutable(mountPoint, true));
  ASSERT_EQ(attach(image, mountPoint).status, 0);
  EXPECT_FALSE(Platform::createFile(mountPoint + "/file")) << "the image itself can be written to";
  ASSERT_EQ(detach(mountPoint).status, 0);
  EXPECT_TRUE(Platform::isImmutable(mountPoint));
  overwrite(band(image), 0, std::string(4096, 'x'));
  expectRefused(image, mountPoint, "no mountable file systems");
  EXPECT_TRUE(Platform::isImmutable(mountPoint)) << "after a refusal, too";
  EXPECT_FALSE(Platform::setImmutable(mountPoint, false));
}

TEST_F(Attach, RefusesArgumentsItDoesNotKnow) {
  const std::vector<std::string> good = attachVector(image, mountPoint);
  std::vector<std::vector<std::string>> vectors(4, good);
  vectors[0].push_back("-unknown");
  vectors[1].push_back(imagePath("another"));
  vectors[2].pop_back();
  vectors[3].erase(vectors[3].begin() + 2, vectors[3].begin() + 4);
  for (const auto& arguments : vectors) {
    const ProgramResult result = runTool("hdiutil", arguments);
    EXPECT_EQ(result.status, 1) << testing::PrintToString(arguments);
    EXPECT_EQ(result.err.rfind("Usage", 0), 0U) << result.err;
  }
  EXPECT_FALSE(isMounted(mountPoint));
}

}  // namespace
}  // namespace fernwahrung::host
