// The bundle's own files.
#include "HostTest.h"
#include "linux/SparseBundle.h"
#include "linux/Tools.h"
#include "support/Files.h"

namespace fernwahrung::host {
namespace {

TEST(Bundle, LeavesNoHalfInformationBehind) {
  const TempFolder folder;
  const std::string path = folder / "Bild.sparsebundle";
  SparseBundle bundle = SparseBundle::begin(path, 100 << 20);
  makeFolder(path + "/Info.plist/in the way");
  EXPECT_THROW(bundle.writeInfo(100 << 20), Failure);
  EXPECT_EQ(namesIn(path), (std::vector<std::string>{"Info.plist", "bands", "token"}));
  removeEverything(path + "/Info.plist");
  bundle.remove();
  EXPECT_FALSE(exists(path));
}

}  // namespace
}  // namespace fernwahrung::host
