#include "support/Files.h"
#include "support/ScratchDrive.h"
#include "support/TempFolder.h"

#include "Foundation/Paths.h"
#include "Storage/FileOps.h"

#include <gtest/gtest.h>

namespace fernwahrung {
namespace {

TEST(CloneOnDriveTest, ACloneIsMadeAndLogged) {
  if (auto reason = ScratchDrive::unavailable()) GTEST_SKIP() << *reason;
  const TempHome home;
  const ScratchDrive drive;
  writeFile(drive / "a/file", "bytes");
  FileOps::clone(drive / "a", drive / "b");
  EXPECT_EQ(readFile(drive / "b/file"), "bytes");
  EXPECT_TRUE(
      readFile(Paths::logFile()).ends_with("] geklont: " + (drive / "a") + " → " + (drive / "b") + "\n"))
      << readFile(Paths::logFile());
}

}  // namespace
}  // namespace fernwahrung
