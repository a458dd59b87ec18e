// The list of attached images stays true whatever happens to files.
#include "HostTest.h"

#include <algorithm>

namespace fernwahrung::host {
namespace {

using Listed = std::vector<std::pair<std::string, std::vector<std::string>>>;

struct Info : ImageTest {
  const std::string image = imagePath();
};

TEST_F(Info, ListsSeveralImagesWithTheirPlaces) {
  makeAttached(image, mountPoint);
  makeAttached(imagePath("other"), folder / "other");
  Listed images = listed();
  std::sort(images.begin(), images.end());
  EXPECT_EQ(images, (Listed{{image, {mountPoint}}, {imagePath("other"), {folder / "other"}}}));
}

TEST_F(Info, DoesNotListAnImageWhoseFileWasRemoved) {
  makeAttached(image, mountPoint);
  mustRun({"rm", "-r", image});
  EXPECT_EQ(listed(), Listed{});
  ASSERT_EQ(create(image).status, 0);
  EXPECT_EQ(listed(), Listed{}) << "the new image of that name is not the one that is mounted";
  EXPECT_EQ(detach(mountPoint).status, 0);
  EXPECT_FALSE(isMounted(mountPoint));
  EXPECT_EQ(attach(image, mountPoint).status, 0);
}

}  // namespace
}  // namespace fernwahrung::host
