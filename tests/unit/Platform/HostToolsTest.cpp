#include "support/Files.h"
#include "support/TempFolder.h"

#include "Foundation/HostTools.h"

#include <gtest/gtest.h>
#include <unistd.h>

namespace fernwahrung {
namespace {

struct LinuxHostTools : testing::Test {
  void SetUp() override { HostTools::setDirectory(folder.path()); }
  void TearDown() override { HostTools::setDirectory(""); }

  TempFolder folder;
};

TEST_F(LinuxHostTools, AStandInOfTheNameIsTaken) {
  writeFile(folder / "tmutil", "#!/bin/sh\n", 0755);
  EXPECT_EQ(HostTools::locate("/usr/bin/tmutil"), folder / "tmutil");
}

TEST_F(LinuxHostTools, OnlyAProgramCounts) {
  writeFile(folder / "tmutil", "text", 0644);
  EXPECT_NE(HostTools::locate("/usr/bin/tmutil"), folder / "tmutil");
}

TEST_F(LinuxHostTools, RealToolsAreTheSystems) {
  for (const char* tool : {"/usr/sbin/lsof", "/usr/bin/pgrep", "/bin/sh"}) {
    const std::string found = HostTools::locate(tool);
    EXPECT_EQ(::access(found.c_str(), X_OK), 0) << tool;
    EXPECT_EQ(found.substr(found.rfind('/')), std::string(tool).substr(std::string(tool).rfind('/')));
  }
}

TEST_F(LinuxHostTools, OtherPathsMeanThemselves) {
  writeFile(folder / "mkfs.ext4", "#!/bin/sh\n", 0755);
  writeFile(folder / "tmutil", "#!/bin/sh\n", 0755);
  for (const char* path :
       {"/sbin/mkfs.ext4", "/usr/bin/missing", "/opt/bin/tmutil", "/bin/tmutil", "tmutil", ""}) {
    EXPECT_EQ(HostTools::locate(path), path);
  }
}

TEST_F(LinuxHostTools, WhatIsNowhereStaysAsItIs) {
  for (const char* tool : {"/usr/bin/tmutil", "/usr/bin/osascript", "/usr/bin/fs_usage"}) {
    EXPECT_EQ(HostTools::locate(tool), tool);
  }
}

TEST_F(LinuxHostTools, AReplacementGoesBeforeAllAndEndsWithItsObject) {
  writeFile(folder / "tmutil", "#!/bin/sh\n", 0755);
  {
    const HostTools::Replacement outer("/usr/bin/tmutil", "/x/outer");
    const HostTools::Replacement other("/any/path", "/x/any");
    EXPECT_EQ(HostTools::locate("/usr/bin/tmutil"), "/x/outer");
    EXPECT_EQ(HostTools::locate("/any/path"), "/x/any");
    {
      const HostTools::Replacement inner("/usr/bin/tmutil", "/x/inner");
      EXPECT_EQ(HostTools::locate("/usr/bin/tmutil"), "/x/inner");
    }
    EXPECT_EQ(HostTools::locate("/usr/bin/tmutil"), "/x/outer");
  }
  EXPECT_EQ(HostTools::locate("/usr/bin/tmutil"), folder / "tmutil");
}

}  // namespace
}  // namespace fernwahrung
