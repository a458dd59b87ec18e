#include "support/Files.h"
#include "support/NastyTree.h"
#include "support/TempFolder.h"
#include "support/TreeManifest.h"

#include "Foundation/HostTools.h"
#include "Storage/Copier.h"
#include "Storage/Verifier.h"

#include <gtest/gtest.h>
#include <unistd.h>

namespace fernwahrung {
namespace {

struct Copy : testing::Test {
  void SetUp() override {
    if (::access(HostTools::locate("/usr/bin/ditto").c_str(), X_OK) != 0) GTEST_SKIP() << "there is no ditto";
    makeNastyTree(source);
  }

  TempFolder folder;
  const std::string source = folder / "source";
  const std::string copy = folder / "copy";
  OperationContext context;
};

TEST_F(Copy, OfATreeThatIsHardToCopyIsIdentical) {
  Copier::copyItem(source, copy);
  EXPECT_EQ(Verifier::compare(source, copy, {}, context).problems, std::vector<std::string>{});
}

TEST_F(Copy, HasTheMetadataToo) {
  Copier::copyItem(source, copy);
  EXPECT_EQ(diff(TreeManifest::of(source), TreeManifest::of(copy), {.topFolder = false}), "");
}

TEST_F(Copy, IntoAFolderThatExistsMergesWithWhatLiesThere) {
  writeFile(copy + "/here before", "bytes");
  Copier::ditto(source, copy, 1, 0, context);
  EXPECT_EQ(readFile(copy + "/here before"), "bytes");
  removeEverything(copy + "/here before");
  EXPECT_EQ(Verifier::compare(source, copy, {}, context).problems, std::vector<std::string>{});
}

TEST_F(Copy, OfWhatIsNotThereFails) {
  EXPECT_ANY_THROW(Copier::copyItem(folder / "missing", copy));
  EXPECT_FALSE(exists(copy));
}

}  // namespace
}  // namespace fernwahrung
