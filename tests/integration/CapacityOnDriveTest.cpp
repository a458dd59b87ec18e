// How full a mounted image is, measured and shown.
#include "Integration/Capacity.h"
#include "Scene.h"
#include "support/Files.h"
#include "support/Program.h"

#include "Foundation/Json.h"
#include "Storage/DiskImage.h"
#include "Storage/FileOps.h"

#include <gmock/gmock.h>

namespace fernwahrung {
namespace {

using testing::HasSubstr;

class CapacityOnDriveTest : public Scene {};

TEST_F(CapacityOnDriveTest, AMountedImageTellsWhatIsUsedInIt) {
  makeSource({.depth = 3, .manyFiles = 2, .bigFile = false});
  Relocation relocation = relocate(RelocationKind::image);
  const ImageCapacity earlier = Capacity::image(relocation, {});
  EXPECT_EQ(earlier.usedBytes, FileOps::usedBytesOnVolume(source));
  EXPECT_EQ(earlier.capacityBytes, DiskImage::capacityBytes(relocation.storagePath));
  ASSERT_TRUE(earlier.usedBytes && earlier.canStillGrow());

  writeFile(source + "/mehr", std::string(8 << 20, 'm'));
  mustRun({"sync", "-f", source});
  const ImageCapacity later = Capacity::image(relocation, {});
  EXPECT_GE(*later.usedBytes - *earlier.usedBytes, 8 << 20);
  EXPECT_LT(*later.usedBytes - *earlier.usedBytes, 9 << 20);

  DiskImage::detach(source);
  EXPECT_EQ(Capacity::image(relocation, {}).usedBytes, std::nullopt);
}

TEST_F(CapacityOnDriveTest, TheCommandShowsAMountedImage) {
  makeSource({.depth = 3, .manyFiles = 2, .bigFile = false});
  Relocation relocation = relocate(RelocationKind::image);
  const ImageCapacity capacity = Capacity::image(relocation, {});
  const Json::Value image = Json::parse(mustRun({FERNWAHRUNG_HELPER, "capacity", "--json"}))["images"].at(0);
  EXPECT_EQ(image["usedBytes"], *capacity.usedBytes);
  EXPECT_EQ(image["fraction"], *capacity.fraction());
  EXPECT_EQ(image["canStillGrow"], *capacity.canStillGrow());

  const std::string table = mustRun({FERNWAHRUNG_HELPER, "capacity"});
  EXPECT_THAT(table, HasSubstr(relocation.name));
  EXPECT_THAT(table, HasSubstr(std::to_string(Capacity::percent(*capacity.fraction())) + " %"));
  EXPECT_THAT(table, testing::Not(HasSubstr("nicht eingehängt")));
}

}  // namespace
}  // namespace fernwahrung
