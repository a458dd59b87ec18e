#include "support/Files.h"
#include "support/TempFolder.h"
#include "support/ToolDouble.h"

#include "Foundation/Clock.h"
#include "Foundation/Errors.h"
#include "Foundation/HostTools.h"
#include "Foundation/Paths.h"
#include "Foundation/PropertyList.h"
#include "Foundation/Shell.h"
#include "Foundation/Text.h"
#include "Storage/DirectoryState.h"
#include "Storage/DiskImage.h"
#include "Storage/FileOps.h"

#include <cerrno>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fernwahrung {
namespace {

using Calls = std::vector<std::vector<std::string>>;
using Texts = std::vector<std::string>;

constexpr const char* hdiutilPath = "/usr/bin/hdiutil";
constexpr const char* diskutilPath = "/usr/sbin/diskutil";
// A volume that is mounted on every Linux machine, and that nobody can take down.
constexpr const char* busyMountPoint = "/proc";

std::string errorOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const std::exception& error) {
    return error.what();
  }
  return "nothing was thrown";
}

std::string fixture(const std::string& name) {
  return readFile(std::string(FERNWAHRUNG_FIXTURES) + "/" + name);
}

std::string attachReply(const Texts& mountPoints) {
  nlohmann::json entities = nlohmann::json::array();
  entities.push_back({{"content-hint", "GUID_partition_scheme"}, {"dev-entry", "/dev/disk7"}});
  for (const std::string& mountPoint : mountPoints) {
    entities.push_back({{"dev-entry", "/dev/disk8s1"}, {"mount-point", mountPoint}});
  }
  return PropertyList::printXml({{"system-entities", entities}});
}

std::string infoReply(const std::string& imagePath, const Texts& mountPoints = {}) {
  nlohmann::json image = PropertyList::parse(attachReply(mountPoints));
  image["image-path"] = imagePath;
  return PropertyList::printXml({{"images", nlohmann::json::array({image})}});
}

bool mayMount() {
  return ::geteuid() == 0;
}

class DiskImageTest : public testing::Test {
 protected:
  DiskImageTest() { makeFolder(mountPoint_); }

  std::string attachFailure() {
    return errorOf([&] { DiskImage::attach(image_, mountPoint_, {.browsable = false, .readOnly = false}); });
  }

  /// Mounts something at the path after "-mountpoint", and takes down what "detach" names.
  static ToolDouble::Answer mounting(const std::string& out) {
    return {.out = out, .script = R"(case "$1" in
attach) mount -t tmpfs none "$4" || exit 9 ;;
detach) umount "$2"; exit $? ;;
esac)"};
  }

  std::string logText() const {
    return exists(Paths::logFile()) ? readFile(Paths::logFile()) : std::string();
  }

  TempHome home_;
  TempFolder folder_;
  const std::string image_ = folder_ / "My Data.sparsebundle";
  const std::string mountPoint_ = folder_ / "mount point";
};

// create, resize, compact

TEST_F(DiskImageTest, NoImageIsSmallerThanAHundredUnits) {
  const ToolDouble hdiutil(hdiutilPath);
  DiskImage::create(image_, 50'000'000, "My Volume");
  DiskImage::create(image_, 150'000'000, "V");
  DiskImage::create(image_, -1, "V");
  EXPECT_EQ(hdiutil.calls(), (Calls{{"create", "-size", "100m", "-type", "SPARSEBUNDLE", "-fs", "APFS",
                                     "-volname", "My Volume", image_, "-quiet"},
                                    {"create", "-size", "143m", "-type", "SPARSEBUNDLE", "-fs", "APFS",
                                     "-volname", "V", image_, "-quiet"},
                                    {"create", "-size", "100m", "-type", "SPARSEBUNDLE", "-fs", "APFS",
                                     "-volname", "V", image_, "-quiet"}}));
  EXPECT_NE(logText().find("$ /usr/bin/hdiutil create -size 100m"), std::string::npos);
}

TEST_F(DiskImageTest, AnImageIsNeverMadeOverAnything) {
  const ToolDouble hdiutil(hdiutilPath);
  writeFile(folder_ / "file", "1");
  ASSERT_EQ(::symlink("gone", (folder_ / "link").c_str()), 0);
  for (const std::string name : {"file", "mount point", "link"}) {
    const std::string path = folder_ / name;
    EXPECT_EQ(errorOf([&] { DiskImage::create(path, 1, "V"); }),
              "Es gibt bereits eine Datei an diesem Ort: " + path);
  }
  EXPECT_TRUE(hdiutil.calls().empty());
}

TEST_F(DiskImageTest, ResizeHasNoLowerBoundOfItsOwn) {
  const ToolDouble hdiutil(hdiutilPath);
  DiskImage::resize(image_, 10'000'000);
  DiskImage::resize(image_, 9'223'372'036'854'775'807);
  EXPECT_EQ(hdiutil.calls(),
            (Calls{{"resize", "-size", "9m", image_}, {"resize", "-size", "8796093022207m", image_}}));
}

TEST_F(DiskImageTest, CompactNamesTheImageAlone) {
  const ToolDouble hdiutil(hdiutilPath);
  DiskImage::compact(image_);
  EXPECT_EQ(hdiutil.calls(), (Calls{{"compact", image_}}));
}

TEST_F(DiskImageTest, AFailedToolIsAShellError) {
  const ToolDouble hdiutil(hdiutilPath,
                           {.err = fixture("hdiutil-stderr/german-15.5-resource-busy.txt"), .status = 1});
  EXPECT_THROW(DiskImage::create(image_, 1, "V"), ShellError);
  EXPECT_THROW(DiskImage::resize(image_, 1), ShellError);
  EXPECT_THROW(DiskImage::compact(image_), ShellError);
  EXPECT_THROW(DiskImage::limits(image_), ShellError);
  EXPECT_THROW(DiskImage::attachedImages(), ShellError);
  EXPECT_THROW(DiskImage::attach(image_, mountPoint_, {.browsable = true, .readOnly = false}), ShellError);
  EXPECT_NE(errorOf([&] { DiskImage::compact(image_); }).find("Ressource ist belegt"), std::string::npos);
}

TEST_F(DiskImageTest, AToolThatIsNotThereIsTheSystemsError) {
  const HostTools::Replacement hdiutil(hdiutilPath, folder_ / "missing");
  EXPECT_THROW(DiskImage::attachedImages(), SystemError);
  EXPECT_EQ(DiskImage::attachment(image_), std::nullopt);
}

// attach

TEST_F(DiskImageTest, AttachPassesTheFlagsInTheirOrder) {
  const ToolDouble hdiutil(hdiutilPath, {.status = 1});
  for (const bool browsable : {false, true}) {
    for (const bool readOnly : {false, true}) {
      EXPECT_THROW(DiskImage::attach(image_, mountPoint_, {.browsable = browsable, .readOnly = readOnly}),
                   ShellError);
    }
  }
  EXPECT_EQ(hdiutil.calls(),
            (Calls{{"attach", "-plist", "-mountpoint", mountPoint_, "-noautoopen", "-nobrowse", image_},
                   {"attach", "-plist", "-mountpoint", mountPoint_, "-noautoopen", "-nobrowse", "-readonly",
                    image_},
                   {"attach", "-plist", "-mountpoint", mountPoint_, "-noautoopen", image_},
                   {"attach", "-plist", "-mountpoint", mountPoint_, "-noautoopen", "-readonly", image_}}));
}

TEST_F(DiskImageTest, AttachRefusesWhatIsNoFreeFolder) {
  const ToolDouble hdiutil(hdiutilPath);
  writeFile(folder_ / "file", "1");
  ASSERT_EQ(::symlink("mount point", (folder_ / "link").c_str()), 0);
  for (const std::string name : {"file", "missing", "link"}) {
    const std::string path = folder_ / name;
    EXPECT_EQ(errorOf([&] { DiskImage::attach(image_, path, {.browsable = false, .readOnly = false}); }),
              "Einhängepunkt fehlt: " + path);
  }
  EXPECT_EQ(
      errorOf([&] { DiskImage::attach(image_, busyMountPoint, {.browsable = false, .readOnly = false}); }),
      "An dieser Stelle ist bereits etwas eingehängt: " + std::string(busyMountPoint));
  writeFile(mountPoint_ + "/.DS_Store", "");
  EXPECT_EQ(attachFailure(),
            "Der Einhängepunkt ist nicht leer – Einhängen würde Daten verdecken: " + mountPoint_);
  EXPECT_TRUE(hdiutil.calls().empty());
}

TEST_F(DiskImageTest, AttachTakesAnUnreadableFolderForNoEmptyOne) {
  const ToolDouble hdiutil(hdiutilPath);
  FileOps::readdirErrorForTesting = EIO;
  EXPECT_EQ(attachFailure(),
            "Der Einhängepunkt kann nicht gelesen werden (" + errnoText(EIO) + "): " + mountPoint_);
  FileOps::readdirErrorForTesting = EPERM;
  try {
    DiskImage::attach(image_, mountPoint_, {.browsable = false, .readOnly = false});
    ADD_FAILURE() << "nothing was thrown";
  } catch (const AccessDeniedError& error) {
    EXPECT_EQ(error.path(), mountPoint_);
    EXPECT_FALSE(error.alreadyUnmounted());
  }
  FileOps::readdirErrorForTesting.reset();
  EXPECT_TRUE(hdiutil.calls().empty());
}

TEST_F(DiskImageTest, AttachTellsWhatIsMountedWhere) {
  if (!mayMount()) GTEST_SKIP() << "this user may not mount";
  const ToolDouble hdiutil(hdiutilPath,
                           mounting("license\n" + attachReply({"/Volumes/Other", mountPoint_ + "/"}) + "\n"));
  const AttachedImage image = DiskImage::attach(image_, mountPoint_, {.browsable = false, .readOnly = false});
  EXPECT_EQ(image.imagePath, image_);
  EXPECT_EQ(image.mountPoints, (Texts{"/Volumes/Other", mountPoint_ + "/"}));
  EXPECT_EQ(image.deviceEntries, (Texts{"/dev/disk7", "/dev/disk8s1", "/dev/disk8s1"}));
}

TEST_F(DiskImageTest, AnImageMountedElsewhereIsNoSuccess) {
  const std::string expected =
      "Virtuelle Festplatte wurde nicht am erwarteten Ort eingehängt: " + mountPoint_;
  for (const std::string& reply :
       {attachReply({"/Volumes/Other"}), attachReply({}), PropertyList::printXml(nlohmann::json::array()),
        PropertyList::printXml({{"system-entities", "none"}}), PropertyList::printXml({{"other", 1}})}) {
    const ToolDouble hdiutil(hdiutilPath, {.out = reply});
    EXPECT_EQ(attachFailure(), expected);
    EXPECT_EQ(hdiutil.calls().size(), 1u);
  }
}

TEST_F(DiskImageTest, AReplyIsNotBelievedWhereNothingIsMounted) {
  const ToolDouble hdiutil(hdiutilPath, {.out = attachReply({mountPoint_})});
  EXPECT_EQ(attachFailure(), "Virtuelle Festplatte wurde nicht am erwarteten Ort eingehängt: " + mountPoint_);
}

TEST_F(DiskImageTest, AReplyThatIsNoPropertyListIsAnError) {
  for (const std::string reply : {"", "hdiutil: attach succeeded?", "<plist><dict>"}) {
    const ToolDouble hdiutil(hdiutilPath, {.out = reply});
    EXPECT_THROW(DiskImage::attach(image_, mountPoint_, {.browsable = false, .readOnly = false}),
                 PropertyListError)
        << reply;
  }
}

TEST(ParseAttachTest, TheEntitiesComeInAnyOrder) {
  const AttachedImage last =
      DiskImage::parseAttach("i", fixture("hdiutil-attach/recorded-2026-hfs-whole-disk-last.plist"));
  EXPECT_EQ(last, (AttachedImage{"i", {"/tmp/u/mounts/dmg.clFfV8"}, {"/dev/disk18s1", "/dev/disk18"}}));
  const AttachedImage between =
      DiskImage::parseAttach("i", fixture("hdiutil-attach/homebrew-apm-hfs-order.plist"));
  EXPECT_EQ(between, (AttachedImage{
                         "i", {"/private/tmp/dmg.BhfS2g"}, {"/dev/disk3s1", "/dev/disk3", "/dev/disk3s2"}}));
  const AttachedImage noContainer =
      DiskImage::parseAttach("i", fixture("hdiutil-attach/outset-apfs-dmg-no-container-entity.plist"));
  EXPECT_EQ(
      noContainer,
      (AttachedImage{"i", {"/Volumes/Demo Installer"}, {"/dev/disk4", "/dev/disk4s1", "/dev/disk5s1"}}));
}

TEST(ParseAttachTest, WhatDoesNotFitIsPassedOver) {
  const std::string reply = PropertyList::printXml(
      {{"system-entities",
        nlohmann::json::array(
            {1, "x", {{"mount-point", 5}, {"dev-entry", "/dev/disk1"}}, {{"mount-point", "/a"}}})}});
  EXPECT_EQ(DiskImage::parseAttach("i", reply), (AttachedImage{"i", {"/a"}, {"/dev/disk1"}}));
}

// info

TEST(ParseInfoTest, ReadsRecordedReplies) {
  const auto three = DiskImage::parseInfo(fixture("hdiutil-info/bladerunner-macos15-three-images.plist"));
  ASSERT_EQ(three.size(), 3u);
  EXPECT_EQ(three[0], (AttachedImage{"/Users/someone/build/Other_0.0.0_aarch64.dmg",
                                     {"/Volumes/dmg.mrluVn"},
                                     {"/dev/disk4", "/dev/disk4s1"}}));
  EXPECT_EQ(three[1].mountPoints, (Texts{"/Volumes/bladerunner-demo"}));
  EXPECT_EQ(three[2].imagePath, "/private/tmp/brdetect/work.sparseimage");
  EXPECT_TRUE(three[2].mountPoints.empty());
  EXPECT_EQ(three[2].deviceEntries.size(), 5u);
  const auto two = DiskImage::parseInfo(fixture("hdiutil-info/cmdr-macos26-two-volume-apfs.trimmed.plist"));
  ASSERT_EQ(two.size(), 2u);
  EXPECT_EQ(two[1].mountPoints, (Texts{"/Volumes/CMDR1"}));
}

TEST(ParseInfoTest, WithoutImagesThereIsNone) {
  EXPECT_TRUE(DiskImage::parseInfo(fixture("hdiutil-info/bladerunner-macos15-no-images-key.plist")).empty());
  EXPECT_TRUE(DiskImage::parseInfo(PropertyList::printXml({{"images", nlohmann::json::array()}})).empty());
  EXPECT_TRUE(DiskImage::parseInfo(PropertyList::printXml({{"images", 7}})).empty());
  EXPECT_TRUE(DiskImage::parseInfo(PropertyList::printXml(nlohmann::json::array())).empty());
  EXPECT_THROW(DiskImage::parseInfo(""), PropertyListError);
  EXPECT_THROW(DiskImage::parseInfo("\x01\x02garbage"), PropertyListError);
}

TEST(ParseInfoTest, AnImageWithoutAPathIsSkippedAndOneWithoutEntitiesKept) {
  const auto images = DiskImage::parseInfo(PropertyList::printXml(
      {{"images",
        nlohmann::json::array({{{"image-type", "x"}}, {{"image-path", 3}}, {{"image-path", "ram://99"}}})}}));
  EXPECT_EQ(images, (std::vector<AttachedImage>{{"ram://99", {}, {}}}));
}

TEST_F(DiskImageTest, AskingForImagesIsNotLogged) {
  const ToolDouble hdiutil(hdiutilPath, {.out = infoReply(image_)});
  EXPECT_EQ(DiskImage::attachedImages().size(), 1u);
  EXPECT_EQ(hdiutil.calls(), (Calls{{"info", "-plist"}}));
  EXPECT_EQ(logText(), "");
}

TEST_F(DiskImageTest, AnImageIsFoundUnderAnySpellingOfItsPath) {
  makeFolder(image_);
  ASSERT_EQ(::symlink(folder_.path().c_str(), (home_ / "link").c_str()), 0);
  for (const std::string& spelling :
       {image_, "/System/Volumes/Data" + image_, home_ / "link/./My Data.sparsebundle/",
        folder_ / "x/../My Data.sparsebundle"}) {
    const ToolDouble hdiutil(hdiutilPath, {.out = infoReply(spelling, {"/m"})});
    const auto found = DiskImage::attachment(image_);
    ASSERT_TRUE(found) << spelling;
    EXPECT_EQ(found->imagePath, spelling);
    EXPECT_EQ(found->mountPoints, (Texts{"/m"}));
  }
  const ToolDouble hdiutil(hdiutilPath, {.out = infoReply(image_ + "2")});
  EXPECT_EQ(DiskImage::attachment(image_), std::nullopt);
}

TEST_F(DiskImageTest, AFailedQuestionReadsAsNotAttached) {
  {
    const ToolDouble hdiutil(hdiutilPath, {.out = infoReply(image_), .status = 1});
    EXPECT_EQ(DiskImage::attachment(image_), std::nullopt);
  }
  const ToolDouble hdiutil(hdiutilPath, {.out = "garbage"});
  EXPECT_EQ(DiskImage::attachment(image_), std::nullopt);
}

// limits

TEST(ParseLimitsTest, TheFirstThreeNumbersAreSectors) {
  EXPECT_EQ(DiskImage::parseLimits("1000 2000 3000\n"), (ImageLimits{512'000, 1'024'000, 1'536'000}));
  EXPECT_EQ(DiskImage::parseLimits("\n min\t1\tcur 2 max 3 4 5"), (ImageLimits{512, 1024, 1536}));
}

TEST(ParseLimitsTest, TwoNumbersAreNotEnough) {
  for (const std::string output :
       {"", "\n", "garbage", "1 2", "1 2x 3", "1 2 3.5", "1 2 99999999999999999999"}) {
    EXPECT_EQ(errorOf([&] { DiskImage::parseLimits(output); }), "Größenangaben des Images nicht lesbar.")
        << output;
  }
}

TEST(ParseLimitsTest, ALimitBeyondSixtyFourBitsIsAsLargeAsCanBe) {
  const std::int64_t endless = std::numeric_limits<std::int64_t>::max();
  EXPECT_EQ(DiskImage::parseLimits("1 2 18014398509481984"), (ImageLimits{512, 1024, endless}));
  EXPECT_EQ(DiskImage::parseLimits("1 2 18014398509481983"),
            (ImageLimits{512, 1024, 9'223'372'036'854'775'296}));
  EXPECT_EQ(DiskImage::parseLimits("1 2 9223372036854775807"), (ImageLimits{512, 1024, endless}));
  EXPECT_EQ(DiskImage::parseLimits("-9223372036854775808 0 0").minimumBytes,
            std::numeric_limits<std::int64_t>::min());
}

TEST_F(DiskImageTest, LimitsAsksTheTool) {
  const ToolDouble hdiutil(hdiutilPath, {.out = " 10\t20 30\n"});
  EXPECT_EQ(DiskImage::limits(image_), (ImageLimits{5120, 10240, 15360}));
  EXPECT_EQ(hdiutil.calls(), (Calls{{"resize", "-limits", image_}}));
}

// detach

class DetachTest : public DiskImageTest {
 protected:
  /// Lists what the file holds, and answers "detach" with these lines of sh.
  ToolDouble::Answer listing(const std::string& detach) const {
    return {.script =
                "case \"$1\" in\ninfo) cat '" + list_ + "'; exit 0 ;;\ndetach) " + detach + " ;;\nesac"};
  }
  static Calls detachCalls(const ToolDouble& hdiutil) {
    Calls calls = hdiutil.calls();
    std::erase_if(calls, [](const Texts& call) { return call.at(0) != "detach"; });
    return calls;
  }

  const std::string list_ = folder_ / "list";
  double slept_ = 0;
  Clock::Override clock_{[] { return Dates::fromUnixSeconds(1'700'000'000); },
                         [this](double seconds) { slept_ += seconds; }};
};

TEST_F(DetachTest, OneTryIsEnoughWhereItSucceeds) {
  const ToolDouble hdiutil(hdiutilPath);
  DiskImage::detach(busyMountPoint);
  EXPECT_EQ(detachCalls(hdiutil), (Calls{{"detach", busyMountPoint, "-quiet"}}));
  EXPECT_EQ(slept_, 0);
}

TEST_F(DetachTest, ABusyVolumeIsTriedThreeTimesInSixSeconds) {
  const std::string words = fixture("hdiutil-stderr/macos27-deprecated-detach-then-busy.txt");
  const ToolDouble hdiutil(hdiutilPath, {.err = words, .status = 16});
  const std::string error = errorOf([] { DiskImage::detach(busyMountPoint); });
  EXPECT_EQ(error, "Aushängen nicht möglich – vermutlich hat noch ein Programm Dateien geöffnet.\n" +
                       std::string(ShellError("/usr/bin/hdiutil detach /proc -quiet", 16, words).what()));
  EXPECT_EQ(detachCalls(hdiutil).size(), 3u);
  EXPECT_EQ(slept_, 6.0);
  for (const std::string attempt : {"1", "2", "3"}) {
    EXPECT_NE(logText().find("Aushängen Versuch " + attempt + " fehlgeschlagen\n"), std::string::npos);
  }
}

TEST_F(DetachTest, ALaterTryMaySucceed) {
  const std::string tried = folder_ / "tried";
  const ToolDouble hdiutil(hdiutilPath,
                           listing("[ -e '" + tried + "' ] && exit 0; : >'" + tried + "'; exit 16"));
  DiskImage::detach(busyMountPoint);
  EXPECT_EQ(detachCalls(hdiutil).size(), 2u);
  EXPECT_EQ(slept_, 2.0);
}

// A retry may fail with "No such file or directory" because the try before it did the work.
TEST_F(DetachTest, ATryThatFailedAndYetLetGoOfTheImageIsASuccess) {
  writeFile(list_, infoReply(image_, {mountPoint_}));
  const ToolDouble hdiutil(hdiutilPath, listing("echo '" + infoReply("/other", {"/m"}) + "' >'" + list_ +
                                                "'; echo busy >&2; exit 16"));
  DiskImage::detach(mountPoint_);
  EXPECT_EQ(detachCalls(hdiutil).size(), 1u);
  EXPECT_EQ(slept_, 0);
}

TEST_F(DetachTest, SoItIsWhenTheImageIsLetGoOfAMomentLater) {
  writeFile(list_, infoReply(image_, {mountPoint_}));
  writeFile(folder_ / "unmounted", infoReply(image_));
  writeFile(folder_ / "gone", infoReply("/other"));
  // the second try only finds what the first has begun
  const ToolDouble hdiutil(hdiutilPath, listing("cd '" + folder_.path() +
                                                "'; mv unmounted list 2>/dev/null || mv gone list; exit 1"));
  DiskImage::detach(mountPoint_);
  EXPECT_EQ(detachCalls(hdiutil).size(), 2u);
  EXPECT_EQ(slept_, 2.0);
}

// The drive would be pulled from under an open image.
TEST_F(DetachTest, AVolumeThatIsGoneWhileItsImageStaysAttachedIsNoSuccess) {
  writeFile(list_, infoReply(image_, {mountPoint_}));
  ToolDouble::Answer answer = listing("mv '" + list_ + ".unmounted' '" + list_ + "' 2>/dev/null");
  answer.err = fixture("hdiutil-detach/zui-690-eject-busy-then-gone.txt");
  answer.status = 16;
  const ToolDouble hdiutil(hdiutilPath, answer);
  writeFile(list_ + ".unmounted", infoReply(image_));
  const std::string error = errorOf([&] { DiskImage::detach(mountPoint_); });
  EXPECT_TRUE(error.starts_with("Aushängen nicht möglich – ")) << error;
  EXPECT_NE(error.find("couldn't eject \"disk2\" - Resource busy"), std::string::npos) << error;
  EXPECT_EQ(detachCalls(hdiutil).size(), 3u);
  EXPECT_EQ(slept_, 6.0);
}

TEST_F(DetachTest, WhereTheImageIsNotKnownAFailureIsAFailure) {
  for (const std::string& info : {std::string("garbage"), infoReply("/other")}) {
    writeFile(list_, info);
    ToolDouble::Answer answer = listing(":");
    answer.err = "hdiutil: detach failed - No such file or directory\n";
    answer.status = 1;
    const ToolDouble hdiutil(hdiutilPath, answer);
    for (const std::string& target : {mountPoint_, folder_ / "missing"}) {
      const std::string error = errorOf([&] { DiskImage::detach(target); });
      EXPECT_TRUE(error.starts_with("Aushängen nicht möglich – ")) << error;
    }
  }
}

TEST_F(DetachTest, AnImageThatCanNoLongerBeLookedForIsNotTakenForDetached) {
  writeFile(list_, infoReply(image_, {mountPoint_}));
  const ToolDouble hdiutil(hdiutilPath, listing("echo garbage >'" + list_ + "'; exit 16"));
  EXPECT_TRUE(errorOf([&] { DiskImage::detach(mountPoint_); }).starts_with("Aushängen nicht möglich – "));
}

TEST_F(DetachTest, AStillMountedVolumeIsNotTakenForDetached) {
  writeFile(list_, infoReply(image_, {busyMountPoint}));
  const ToolDouble hdiutil(hdiutilPath,
                           listing("echo '" + infoReply("/other") + "' >'" + list_ + "'; exit 16"));
  EXPECT_TRUE(errorOf([&] { DiskImage::detach(busyMountPoint); }).starts_with("Aushängen nicht möglich – "));
  EXPECT_EQ(detachCalls(hdiutil).size(), 3u);
}

// which calls the log shows

TEST_F(DiskImageTest, TheLogShowsEveryCallButTheLookAtWhatIsAttached) {
  if (!mayMount()) GTEST_SKIP() << "this user may not mount";
  const std::string other = folder_ / "other";
  makeFolder(other);
  const ToolDouble hdiutil(hdiutilPath, {.script = R"(case "$1" in
attach) mount -t tmpfs none "$4" || exit 9
  echo "<plist><dict><key>system-entities</key><array><dict><key>mount-point</key><string>$4</string></dict></array></dict></plist>"
  exit 0 ;;
detach) umount "$2"; exit $? ;;
info) echo '<plist><dict/></plist>' ;;
resize) echo 1 2 3 ;;
esac)"});
  const ToolDouble diskutil(diskutilPath);
  const auto linesOf = [&](const std::function<void()>& action) {
    ::unlink(Paths::logFile().c_str());
    action();
    Texts lines;
    for (const std::string& line : Text::split(logText(), '\n'))
      lines.push_back(line.substr(line.find("] ") + 2));
    return lines;
  };
  const std::string tool = "$ " + std::string(hdiutilPath) + " ";
  const std::string image = folder_ / "image.sparsebundle";
  struct Case {
    std::function<void()> action;
    Texts lines;
  };
  const std::vector<Case> cases = {
      {[&] { DiskImage::create(image, 1, "V"); },
       {tool + "create -size 100m -type SPARSEBUNDLE -fs APFS -volname V " + image + " -quiet"}},
      {[&] { DiskImage::attach(image, other, {.browsable = true, .readOnly = false}); },
       {tool + "attach -plist -mountpoint " + other + " -noautoopen " + image}},
      {[&] { DiskImage::detach(other); }, {tool + "detach " + other + " -quiet"}},
      {[] { DiskImage::attachedImages(); }, {}},
      {[&] { DiskImage::attachment(image); }, {}},
      {[&] { DiskImage::limits(image); }, {tool + "resize -limits " + image}},
      {[&] { DiskImage::resize(image, 1 << 20); }, {tool + "resize -size 1m " + image}},
      {[&] { DiskImage::compact(image); }, {tool + "compact " + image}},
  };
  for (const Case& each : cases) EXPECT_EQ(linesOf(each.action), each.lines);
  const Texts verifying = linesOf([&] { DiskImage::verifyFileSystem(image); });
  ASSERT_EQ(verifying.size(), 3u);
  const std::string mountPoint = hdiutil.calls().back().at(1);
  EXPECT_EQ(verifying[1], "$ " + std::string(diskutilPath) + " verifyVolume " + mountPoint);
}

// capacity, occupied space, temporary mount points

TEST_F(DiskImageTest, TheCapacityIsReadFromTheBundle) {
  const HostTools::Replacement noTool(hdiutilPath, folder_ / "missing");
  makeFolder(image_);
  EXPECT_EQ(DiskImage::capacityBytes(image_), std::nullopt);
  writeFile(image_ + "/Info.plist", fixture("sparsebundle/howett-4tib-Info.plist"));
  EXPECT_EQ(DiskImage::capacityBytes(image_), 4'398'046'511'104);
  for (const std::string& content :
       {std::string("garbage"), std::string(), PropertyList::printXml({{"size", "12"}}),
        PropertyList::printXml({{"band-size", 12}}), PropertyList::printXml(nlohmann::json::array({1}))}) {
    writeFile(image_ + "/Info.plist", content);
    EXPECT_EQ(DiskImage::capacityBytes(image_), std::nullopt) << content;
  }
  EXPECT_EQ(DiskImage::capacityBytes(folder_ / "no image"), std::nullopt);
}

TEST_F(DiskImageTest, TheOccupiedSpaceIsThatOfTheBundlesFiles) {
  writeFile(image_ + "/bands/0", std::string(100'000, 'x'));
  writeFile(image_ + "/bands/1", "");
  ASSERT_EQ(::truncate((image_ + "/bands/1").c_str(), 1'000'000'000), 0);
  EXPECT_GE(DiskImage::occupiedBytes(image_), 100'000);
  EXPECT_LT(DiskImage::occupiedBytes(image_), 10'000'000);
  EXPECT_EQ(DiskImage::occupiedBytes(folder_ / "missing"), 0);
}

TEST_F(DiskImageTest, ATemporaryMountPointIsFreshAndEmpty) {
  const std::string one = DiskImage::temporaryMountPoint();
  const std::string other = DiskImage::temporaryMountPoint();
  EXPECT_NE(one, other);
  EXPECT_TRUE(one.starts_with(Paths::tempMountDirectory() + "/"));
  EXPECT_EQ(FileOps::directoryState(one), DirectoryState::empty());
  writeFile(other + "/data", "1");
  DiskImage::removeTemporaryMountPoint(one);
  DiskImage::removeTemporaryMountPoint(other);
  EXPECT_FALSE(exists(one));
  EXPECT_TRUE(exists(other + "/data"));
}

TEST_F(DiskImageTest, ATemporaryMountPointIsAnnouncedBeforeItIsMade) {
  std::string announced;
  const std::string made = DiskImage::temporaryMountPoint([&](const std::string& path) {
    announced = path;
    EXPECT_FALSE(exists(path));
  });
  EXPECT_EQ(announced, made);
  EXPECT_TRUE(exists(made));
  const auto refuse = [&](const std::string& path) {
    announced = path;
    throw FernwahrungError::message("nein");
  };
  EXPECT_THROW(DiskImage::temporaryMountPoint(refuse), FernwahrungError);
  EXPECT_FALSE(exists(announced));
}

// verifyFileSystem

class VerifyFileSystemTest : public DetachTest {
 protected:
  void SetUp() override {
    if (!mayMount()) GTEST_SKIP() << "this user may not mount";
    writeFile(list_, infoReply("/other"));
  }

  /// hdiutil, with a real volume; its reply to "attach" names the mount point it was given, behind others.
  ToolDouble::Answer attaching(const Texts& others = {}) const {
    std::string entities;
    for (const std::string& mountPoint : others) entities += entity(mountPoint);
    return {.script =
                "case \"$1\" in\nattach) mount -t tmpfs none \"$4\" || exit 9\n"
                "  echo \"<plist><dict><key>system-entities</key><array>" +
                entities + entity("$4") + "</array></dict></plist>\"; exit 0 ;;\ninfo) cat '" + list_ +
                "'; exit 0 ;;\ndetach) [ -d \"$2\" ] || exit 0; umount \"$2\"; exit $? ;;\nesac"};
  }
  static std::string entity(const std::string& mountPoint) {
    return "<dict><key>mount-point</key><string>" + mountPoint + "</string></dict>";
  }

  std::vector<std::string> temporaryMountPoints() const {
    const std::string folder = Paths::tempMountDirectory();
    return exists(folder) ? namesIn(folder) : std::vector<std::string>();
  }
};

TEST_F(VerifyFileSystemTest, ASoundImageIsAttachedReadOnlyCheckedAndDetached) {
  const ToolDouble hdiutil(hdiutilPath, attaching());
  const ToolDouble diskutil(diskutilPath, {.out = "Warning: nothing to see\n"});
  DiskImage::verifyFileSystem(image_);
  const std::string mountPoint = hdiutil.calls().at(0).at(3);
  EXPECT_EQ(
      hdiutil.calls(),
      (Calls{{"attach", "-plist", "-mountpoint", mountPoint, "-noautoopen", "-nobrowse", "-readonly", image_},
             {"info", "-plist"},
             {"detach", mountPoint, "-quiet"}}));
  EXPECT_EQ(diskutil.calls(), (Calls{{"verifyVolume", mountPoint}}));
  EXPECT_TRUE(temporaryMountPoints().empty());
}

TEST_F(VerifyFileSystemTest, ADamagedImageIsReportedInTheToolsWordsAndLeavesNothing) {
  const ToolDouble hdiutil(hdiutilPath, attaching());
  const ToolDouble diskutil(diskutilPath, {.err = "error: fsroot tree is invalid\n", .status = 8});
  const std::string error = errorOf([&] { DiskImage::verifyFileSystem(image_); });
  EXPECT_TRUE(error.starts_with("Dateisystem-Prüfung meldet Fehler:\nBefehl fehlgeschlagen (Code 8): "))
      << error;
  EXPECT_TRUE(error.ends_with("error: fsroot tree is invalid")) << error;
  EXPECT_EQ(hdiutil.calls().back().at(0), "detach");
  EXPECT_TRUE(temporaryMountPoints().empty());
}

TEST_F(VerifyFileSystemTest, AFailedAttachLeavesNothing) {
  const ToolDouble hdiutil(hdiutilPath, {.status = 1});
  const ToolDouble diskutil(diskutilPath);
  EXPECT_THROW(DiskImage::verifyFileSystem(image_), ShellError);
  EXPECT_TRUE(diskutil.calls().empty());
  EXPECT_TRUE(temporaryMountPoints().empty());
}

TEST_F(VerifyFileSystemTest, AFailedDetachComesFirstAndTheMountedFolderStays) {
  ToolDouble hdiutil(hdiutilPath, {.err = "busy", .status = 16});
  hdiutil.answerCall(1, attaching());
  const ToolDouble diskutil(diskutilPath, {.status = 8});
  const std::string error = errorOf([&] { DiskImage::verifyFileSystem(image_); });
  EXPECT_TRUE(error.starts_with("Aushängen nicht möglich – ")) << error;
  ASSERT_EQ(temporaryMountPoints().size(), 1u);
  EXPECT_TRUE(FileOps::isMountPoint(Paths::tempMountDirectory() + "/" + temporaryMountPoints()[0]));
}

// The check takes the volume down and brings it up again, not always at the same place.
TEST_F(VerifyFileSystemTest, AVolumeThatCameUpElsewhereIsDetachedThere) {
  const std::string elsewhere = folder_ / "elsewhere";
  makeFolder(elsewhere);
  writeFile(list_, infoReply(image_, {elsewhere}));
  const ToolDouble hdiutil(hdiutilPath, attaching());
  const ToolDouble diskutil(diskutilPath,
                            {.script = "umount \"$2\"; mount -t tmpfs none '" + elsewhere + "'"});
  DiskImage::verifyFileSystem(image_);
  EXPECT_EQ(detachCalls(hdiutil), (Calls{{"detach", elsewhere, "-quiet"}}));
  EXPECT_FALSE(FileOps::isMountPoint(elsewhere));
  EXPECT_TRUE(temporaryMountPoints().empty());
}

TEST_F(VerifyFileSystemTest, AnImageWhoseVolumeStayedDownIsDetachedByItsDevice) {
  writeFile(list_, infoReply(image_));
  const ToolDouble hdiutil(hdiutilPath, attaching());
  const ToolDouble diskutil(diskutilPath, {.script = "umount \"$2\""});
  DiskImage::verifyFileSystem(image_);
  EXPECT_EQ(detachCalls(hdiutil), (Calls{{"detach", "/dev/disk7", "-quiet"}}));
  EXPECT_TRUE(temporaryMountPoints().empty());
}

TEST_F(VerifyFileSystemTest, ThatDetachMayFailToo) {
  writeFile(list_, infoReply(image_));
  ToolDouble hdiutil(hdiutilPath, listing("echo 'Resource busy' >&2; exit 16"));
  hdiutil.answerCall(1, attaching());
  const ToolDouble diskutil(diskutilPath, {.status = 8, .script = "umount \"$2\""});
  const std::string error = errorOf([&] { DiskImage::verifyFileSystem(image_); });
  EXPECT_TRUE(error.starts_with("Aushängen nicht möglich – ")) << error;
  EXPECT_NE(error.find("Resource busy"), std::string::npos) << error;
  EXPECT_TRUE(temporaryMountPoints().empty()) << "nothing is mounted there";
}

TEST_F(VerifyFileSystemTest, OfSeveralMountPointsTheFirstIsDetached) {
  const std::string first = folder_ / "first";
  makeFolder(first);
  ToolDouble hdiutil(hdiutilPath,
                     {.script = "umount '" + first + "'; umount " + Paths::tempMountDirectory() + "/*"});
  ToolDouble::Answer attach = attaching({first});
  attach.script = "mount -t tmpfs none '" + first + "'\n" + attach.script;
  hdiutil.answerCall(1, attach);
  const ToolDouble diskutil(diskutilPath);
  DiskImage::verifyFileSystem(image_);
  EXPECT_EQ(hdiutil.calls().back(), (Texts{"detach", first, "-quiet"}));
  EXPECT_TRUE(temporaryMountPoints().empty());
}

}  // namespace
}  // namespace fernwahrung
