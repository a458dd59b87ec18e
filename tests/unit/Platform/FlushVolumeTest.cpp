#include "support/Files.h"
#include "support/TempFolder.h"

#include "Platform/FileChanges.h"

#include <gtest/gtest.h>

namespace fernwahrung {
namespace {

TEST(FlushVolume, FlushesTheVolumeOfAFolderAndOfAFile) {
  TempFolder folder;
  writeFile(folder / "a", "b");
  EXPECT_FALSE(Platform::flushVolume(folder.path()));
  EXPECT_FALSE(Platform::flushVolume(folder / "a"));
}

TEST(FlushVolume, MissingPathIsAnError) {
  TempFolder folder;
  EXPECT_EQ(Platform::flushVolume(folder / "fehlt").value(), ENOENT);
}

}  // namespace
}  // namespace fernwahrung
