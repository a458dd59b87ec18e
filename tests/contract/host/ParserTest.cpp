// What the stand-ins read: the kernel's tables, the outputs of programs, their own arguments.
#include "linux/AttachedImages.h"
#include "linux/FileSystem.h"
#include "linux/LoopDevice.h"
#include "linux/Mounting.h"
#include "linux/ProcessTable.h"
#include "linux/SparseBundle.h"
#include "linux/Tools.h"
#include "linux/hdiutil/Verbs.h"

#include <gtest/gtest.h>

namespace fernwahrung::host {
namespace {

TEST(BackingFile, LosesOnlyTheKernelsOwnLineFeed) {
  EXPECT_EQ(LoopDevices::parseBackingFile("/a/b\n"), "/a/b");
  EXPECT_EQ(LoopDevices::parseBackingFile("/a\nb \n\n"), "/a\nb \n");
  EXPECT_EQ(LoopDevices::parseBackingFile("/a/b (deleted)\n"), "/a/b (deleted)");
  EXPECT_EQ(LoopDevices::parseBackingFile(""), "");
}

TEST(BundleOfBand, IsTheFolderTwoLevelsUp) {
  EXPECT_EQ(AttachedImages::bundleOfBand("/x/a.sparsebundle/bands/0"), "/x/a.sparsebundle");
  EXPECT_EQ(AttachedImages::bundleOfBand("/x/a.sparsebundle/bands/0 (deleted)"), "/x/a.sparsebundle");
  EXPECT_EQ(AttachedImages::bundleOfBand("/a\nb.sparsebundle/bands/0"), "/a\nb.sparsebundle");
}

TEST(BundleOfBand, IsNothingForOtherFiles) {
  for (const char* path :
       {"", "/x/drive.img", "/bands/0", "/x/a.sparsebundle", "/x/a.sparsebundle/bands/1",
        "/x/a.sparsebundle/bands/0/y", "/x/a.sparsebundle2/bands/0", "x.sparsebundle/bands/00"})
    EXPECT_EQ(AttachedImages::bundleOfBand(path), std::nullopt) << path;
}

TEST(MountOption, HidesCommasAndBackslashes) {
  EXPECT_EQ(Mounting::escapedOption("/a b\nü"), "/a b\nü");
  EXPECT_EQ(Mounting::escapedOption("a,b\\c"), "a\\,b\\\\c");
}

TEST(VolumeLabel, IsCutBetweenCharacters) {
  EXPECT_EQ(FileSystem::label(""), "");
  EXPECT_EQ(FileSystem::label("0123456789abcdef"), "0123456789abcdef");
  EXPECT_EQ(FileSystem::label("0123456789abcdefg"), "0123456789abcdef");
  EXPECT_EQ(FileSystem::label("0123456789abcdeü"), "0123456789abcde");
  EXPECT_EQ(FileSystem::label("0123456789abcdü"), "0123456789abcdü");
  EXPECT_EQ(FileSystem::label(std::string(20, '\xbf')), "") << "no text at all";
}

TEST(MinimumBlocks, AreFoundBehindTheWords) {
  EXPECT_EQ(FileSystem::parseMinimumBlocks(
                "resize2fs 1.47.0 (5-Feb-2023)\nEstimated minimum size of the filesystem: 48792\n"),
            48792);
}

TEST(MinimumBlocks, AreAnErrorInAnyOtherText) {
  for (const char* text :
       {"", "resize2fs 1.47.0", "Estimated minimum size of the filesystem: ",
        "Estimated minimum size of the filesystem: many", "Estimated minimum size of the filesystem: -5",
        "Estimated minimum size of the filesystem: 99999999999999999999"})
    EXPECT_THROW(FileSystem::parseMinimumBlocks(text), Failure) << text;
}

TEST(BundleInfo, IsReadAsItWasWritten) {
  for (const std::int64_t bytes : {std::int64_t{1}, std::int64_t{100} << 20, std::int64_t{8} << 40})
    EXPECT_EQ(bundleBytes(bundleInfo(bytes)), bytes);
}

TEST(BundleInfo, OfAnythingElseIsNotRecognized) {
  const std::string good = bundleInfo(1 << 30);
  for (std::size_t length = 0; length < good.size() - 10; ++length)
    EXPECT_THROW(bundleBytes(good.substr(0, length)), Failure) << length;
  std::string otherType = good;
  otherType.replace(otherType.find("com.apple"), 9, "org.other");
  std::string noSize = good;
  noSize.replace(noSize.find("<key>size"), 9, "<key>sizo");
  for (const std::string& text :
       {otherType, noSize, bundleInfo(0), bundleInfo(-1), std::string("bytes"),
        std::string("<plist><array/></plist>"), std::string("<plist><string/></plist>")})
    EXPECT_THROW(bundleBytes(text), Failure) << text;
}

TEST(ProcessStat, IsReadBehindTheLastParenthesis) {
  const std::string rest = " S 17 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 123456 20";
  EXPECT_EQ(ProcessTable::parseStat("42 (sleep)" + rest), (ProcessTable::Stat{"sleep", 17, 123456}));
  EXPECT_EQ(ProcessTable::parseStat("42 (a) (b c)" + rest), (ProcessTable::Stat{"a) (b c", 17, 123456}));
  EXPECT_EQ(ProcessTable::parseStat("42 ()" + rest), (ProcessTable::Stat{"", 17, 123456}));
}

TEST(ProcessStat, OfAnythingElseIsNothing) {
  for (const char* text : {"", "42", "42 (", ")(", "42 (sleep) S 1 2",
                           "42 (sleep) S x 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19",
                           "42 (sleep) S 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 -5 6"})
    EXPECT_EQ(ProcessTable::parseStat(text), std::nullopt) << text;
}

TEST(ProcessUser, IsTheEffectiveOne) {
  EXPECT_EQ(ProcessTable::parseUser("Name:\tsleep\nUid:\t1000\t0\t3\t4\nGid:\t5\t6\t7\t8\n"), 0U);
  EXPECT_EQ(ProcessTable::parseUser("Uid:\t1\t65534\t3\t4\n"), 65534U);
  for (const char* text : {"", "Uid:", "Uid:\t1", "Uid:\tx\ty\n", "Name:\tUid: 1 2 3\n"})
    EXPECT_EQ(ProcessTable::parseUser(text), std::nullopt) << text;
}

TEST(BootTime, IsALineOfItsOwn) {
  EXPECT_EQ(ProcessTable::parseBootTime("cpu  1 2\nbtime 1700000000\nprocesses 3\n"), 1700000000);
  EXPECT_EQ(ProcessTable::parseBootTime("cpu  1 2\n"), std::nullopt);
}

TEST(SizeArgument, IsACountOfMebibytes) {
  EXPECT_EQ(Hdiutil::parseSize("1m"), 1048576);
  EXPECT_EQ(Hdiutil::parseSize("28610m"), 28610LL * 1048576);
  for (const char* text :
       {"", "m", "1", "1g", "1M", "0m", "-1m", "1.5m", " 1m", "8796093022208m", "99999999999999999999m"})
    EXPECT_EQ(Hdiutil::parseSize(text), std::nullopt) << text;
}

TEST(Options, AreTakenInAnyOrder) {
  const Arguments arguments = {"-size", "5m", "image", "-quiet"};
  Hdiutil::OptionReader options(arguments);
  EXPECT_TRUE(options.takeFlag("-quiet"));
  EXPECT_FALSE(options.takeFlag("-quiet"));
  EXPECT_EQ(options.takeValue("-size"), "5m");
  EXPECT_EQ(options.takeValue("-size"), std::nullopt);
  EXPECT_EQ(options.operand(), "image");
  EXPECT_THROW(options.requireNoMore(), Hdiutil::UsageError);
}

TEST(Options, ThatLackTheirValueOrAreUnknownAreRefused) {
  Hdiutil::OptionReader lacking({"-size"});
  EXPECT_THROW(lacking.takeValue("-size"), Hdiutil::UsageError);
  EXPECT_THROW(Hdiutil::OptionReader({"-x"}).operand(), Hdiutil::UsageError);
  EXPECT_THROW(Hdiutil::OptionReader({""}).operand(), Hdiutil::UsageError);
  EXPECT_THROW(Hdiutil::OptionReader({"a", "b"}).operand(), Hdiutil::UsageError);
  EXPECT_THROW(Hdiutil::OptionReader({}).operand(), Hdiutil::UsageError);
}

}  // namespace
}  // namespace fernwahrung::host
