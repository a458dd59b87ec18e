#include "HostTest.h"

#include "support/Files.h"
#include "support/Mounts.h"
#include "support/ScratchDrive.h"

#include "Foundation/FileDescriptor.h"
#include "Foundation/HostTools.h"
#include "Foundation/PathString.h"
#include "Foundation/PropertyList.h"
#include "Platform/linux/MountTable.h"

#include <algorithm>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fernwahrung::host {

std::string toolPath(const std::string& tool) {
  const char* folder = tool == "diskutil" ? "/usr/sbin" : tool == "ps" ? "/bin" : "/usr/bin";
  return HostTools::locate(PathString::join(folder, tool));
}

ProgramResult runTool(const std::string& tool, std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), toolPath(tool));
  return runProgram(arguments);
}

std::optional<std::string> ImageTest::unavailable() {
  if (isRoot()) return ScratchDrive::unavailable(ScratchDrive::FileSystem::ext4);
  if (::access("/dev/fuse", R_OK | W_OK) != 0) return "this user may not use /dev/fuse";
  for (const char* program : {"fuse2fs", "fusermount3"}) {
    if (!findProgram(program)) return std::string(program) + " is not installed";
  }
  return std::nullopt;
}

void ImageTest::SetUp() {
  if (auto reason = unavailable()) GTEST_SKIP() << *reason;
  makeFolder(mountPoint);
}

void ImageTest::TearDown() {
  auto mounts = Mounts::mounts();
  for (auto mount = mounts.rbegin(); mount != mounts.rend(); ++mount) {
    if (!PathString::isInside(mount->mountPoint, folder.path())) continue;
    if (isRoot()) {
      Mounts::release(mount->mountPoint);
    } else {
      runProgram({"fusermount3", "-u", "-z", "--", mount->mountPoint});
    }
  }
}

std::vector<std::string> ImageTest::createVector(const std::string& image, long mebibytes) {
  return {"create", "-size",        std::to_string(mebibytes) + "m",
          "-type",  "SPARSEBUNDLE", "-fs",
          "APFS",   "-volname",     "Große Bibliothek",
          image,    "-quiet"};
}

std::vector<std::string> ImageTest::attachVector(const std::string& image, const std::string& mountPoint,
                                                 bool readOnly) {
  std::vector<std::string> arguments = {"attach",   "-plist",      "-mountpoint",
                                        mountPoint, "-noautoopen", "-nobrowse"};
  if (readOnly) arguments.push_back("-readonly");
  arguments.push_back(image);
  return arguments;
}

ProgramResult ImageTest::create(const std::string& image, long mebibytes) {
  return runTool("hdiutil", createVector(image, mebibytes));
}

ProgramResult ImageTest::attach(const std::string& image, const std::string& mountPoint, bool readOnly) {
  return runTool("hdiutil", attachVector(image, mountPoint, readOnly));
}

ProgramResult ImageTest::detach(const std::string& target) {
  return runTool("hdiutil", {"detach", target, "-quiet"});
}

void ImageTest::makeAttached(const std::string& image, const std::string& where, long mebibytes) {
  makeFolder(where);
  const ProgramResult created = create(image, mebibytes);
  ASSERT_EQ(created.status, 0) << created.err;
  const ProgramResult attached = attach(image, where);
  ASSERT_EQ(attached.status, 0) << attached.err;
}

std::vector<std::pair<std::string, std::vector<std::string>>> ImageTest::listed() const {
  const ProgramResult result = runTool("hdiutil", {"info", "-plist"});
  EXPECT_EQ(result.status, 0) << result.err;
  std::vector<std::pair<std::string, std::vector<std::string>>> images;
  const nlohmann::json list = PropertyList::parse(result.out);
  for (const auto& image : list.at("images")) {
    const std::string path = image.at("image-path");
    if (PathString::isInside(path, folder.path()))
      images.emplace_back(path, textsUnder(image.at("system-entities"), "mount-point"));
  }
  return images;
}

bool ImageTest::isMounted(const std::string& path) {
  const auto mounts = MountTable::read();
  return std::any_of(mounts.begin(), mounts.end(),
                     [&](const MountEntry& mount) { return mount.mountPoint == path; });
}

bool ImageTest::isReleased(const std::string& image) {
  const auto loops = Mounts::loops();
  if (std::any_of(loops.begin(), loops.end(),
                  [&](const Mounts::Loop& loop) { return loop.backingFile == band(image); }))
    return false;
  const FileDescriptor fd(::open(band(image).c_str(), O_RDONLY | O_CLOEXEC));
  return fd && ::flock(fd.get(), LOCK_EX | LOCK_NB) == 0;
}

std::int64_t ImageTest::allocatedBytes(const std::string& image) {
  struct stat status;
  return ::stat(band(image).c_str(), &status) == 0 ? status.st_blocks * 512 : -1;
}

nlohmann::json ImageTest::infoOf(const std::string& image) {
  return PropertyList::parse(readFile(image + "/Info.plist"));
}

std::vector<std::string> textsUnder(const nlohmann::json& dictionaries, const std::string& key) {
  std::vector<std::string> texts;
  for (const auto& dictionary : dictionaries) {
    if (dictionary.contains(key)) texts.push_back(dictionary.at(key));
  }
  return texts;
}

}  // namespace fernwahrung::host
