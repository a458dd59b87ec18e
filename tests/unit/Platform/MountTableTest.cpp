#include "Platform/linux/MountTable.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace fernwahrung {
namespace {

using MountTable::parse;

TEST(MountTable, ReadsEveryFieldOfALine) {
  const auto entries =
      parse("36 35 98:12 /mnt1 /mnt2 rw,noatime master:1 - ext3 /dev/root rw,errors=continue\n");
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0], (MountEntry{.mountId = 36,
                                    .parentId = 35,
                                    .deviceMajor = 98,
                                    .deviceMinor = 12,
                                    .root = "/mnt1",
                                    .mountPoint = "/mnt2",
                                    .fsType = "ext3",
                                    .source = "/dev/root",
                                    .options = "rw,noatime",
                                    .superOptions = "rw,errors=continue"}));
}

TEST(MountTable, TakesAnyNumberOfOptionalFields) {
  const auto entries = parse(
      "1 0 8:1 / / rw - ext4 /dev/sda1 rw\n"
      "2 1 8:2 / /a rw shared:1 master:2 propagate_from:3 unbindable - xfs /dev/sda2 ro\n");
  ASSERT_EQ(entries.size(), 2u);
  EXPECT_EQ(entries[0].fsType, "ext4");
  EXPECT_EQ(entries[1].fsType, "xfs");
  EXPECT_EQ(entries[1].superOptions, "ro");
}

TEST(MountTable, ResolvesOctalEscapes) {
  const auto entries =
      parse(R"(7 1 7:0 /a\134b /Volumes/Meine\040Platte\011\012\134040 rw - fuse.my\040fs //server/a\040b rw)"
            "\n");
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0].root, "/a\\b");
  EXPECT_EQ(entries[0].mountPoint, "/Volumes/Meine Platte\t\n\\040");
  EXPECT_EQ(entries[0].fsType, "fuse.my fs");
  EXPECT_EQ(entries[0].source, "//server/a b");
}

TEST(MountTable, LeavesWhatIsNoEscape) {
  const auto entries = parse("7 1 7:0 / /x\\04 rw - ext4 a\\089\\ rw\n");
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0].mountPoint, "/x\\04");
  EXPECT_EQ(entries[0].source, "a\\089\\");
}

TEST(MountTable, KeepsUmlautsAndAnEmptySource) {
  const auto entries = parse("7 1 7:0 / /Volumes/Bücher rw - tmpfs  rw\n");
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0].mountPoint, "/Volumes/Bücher");
  EXPECT_EQ(entries[0].source, "");
  EXPECT_EQ(entries[0].superOptions, "rw");
}

TEST(MountTable, KeepsTheOrderOfStackedMounts) {
  const auto entries = parse(
      "7 1 7:0 / /m rw - ext4 /dev/loop0 rw\n"
      "8 7 7:1 / /m rw - btrfs /dev/loop1 rw\n");
  ASSERT_EQ(entries.size(), 2u);
  EXPECT_EQ(entries[0].mountPoint, entries[1].mountPoint);
  EXPECT_EQ(entries[1].mountId, 8u);
  EXPECT_EQ(entries[1].parentId, 7u);
}

TEST(MountTable, SkipsLinesOfAnotherForm) {
  EXPECT_TRUE(parse("").empty());
  EXPECT_TRUE(parse("\n\n   \n").empty());
  EXPECT_TRUE(parse("36 35 98:12 /mnt1 /mnt2 rw master:1 ext3 /dev/root rw extra\n").empty());
  EXPECT_TRUE(parse("36 35 98:12 / /m rw master:1 shared:2 extra -\n").empty());
  EXPECT_TRUE(parse("x 35 98:12 / /m rw - ext3 /dev/root rw\n").empty());
  EXPECT_TRUE(parse("36 35 9812 / /m rw - ext3 /dev/root rw\n").empty());
  EXPECT_TRUE(parse("36 35 98:-1 / /m rw - ext3 /dev/root rw\n").empty());
  EXPECT_TRUE(parse("99999999999999999999999 35 98:1 / /m rw - ext3 /dev/root rw\n").empty());
  EXPECT_EQ(parse("broken\n36 35 98:12 / /m rw - ext3 /dev/root rw").size(), 1u);
}

TEST(MountTable, OfTheKernelHoldsTheRoot) {
  struct stat status;
  ASSERT_EQ(::stat("/", &status), 0);
  const auto entries = MountTable::read();
  const auto root =
      std::find_if(entries.rbegin(), entries.rend(), [](const MountEntry& e) { return e.mountPoint == "/"; });
  ASSERT_NE(root, entries.rend());
  EXPECT_EQ(makedev(root->deviceMajor, root->deviceMinor), status.st_dev);
}

}  // namespace
}  // namespace fernwahrung
