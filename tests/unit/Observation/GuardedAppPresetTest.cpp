#include "Observation/GuardedAppPreset.h"

#include <gtest/gtest.h>

namespace fernwahrung {
namespace {

using List = std::vector<std::string>;

TEST(GuardedAppPreset, AddsInTheOrderOfThePreset) {
  EXPECT_EQ(GuardedAppPreset::merged({}, {"/Applications/B.app", "/Applications/A.app"}),
            (List{"/Applications/B.app", "/Applications/A.app"}));
  EXPECT_EQ(GuardedAppPreset::merged({"/Applications/C.app"}, {"/Applications/A.app"}),
            (List{"/Applications/C.app", "/Applications/A.app"}));
}

TEST(GuardedAppPreset, LeavesTheExistingOnesAsTheyAreSpelt) {
  EXPECT_EQ(GuardedAppPreset::merged({"/Applications/Foo.app/"}, {"/Applications/Foo.app", "/usr/bin/tool"}),
            List{"/Applications/Foo.app/"});
  EXPECT_EQ(GuardedAppPreset::merged({"/usr/bin/tool", "/usr/bin/tool"}, {}),
            (List{"/usr/bin/tool", "/usr/bin/tool"}));
}

TEST(GuardedAppPreset, AddsTheCanonicalForm) {
  EXPECT_EQ(GuardedAppPreset::merged({}, {"/System/Volumes/Data/Applications/Bar.app"}),
            List{"/Applications/Bar.app"});
  EXPECT_EQ(GuardedAppPreset::merged({}, {"/Applications//Bar.app/"}), List{"/Applications/Bar.app"});
}

TEST(GuardedAppPreset, AddsNothingTwice) {
  EXPECT_EQ(
      GuardedAppPreset::merged({}, {"/Applications/Bar.app", "/System/Volumes/Data/Applications/Bar.app",
                                    "/Applications/Bar.app/"}),
      List{"/Applications/Bar.app"});
}

TEST(GuardedAppPreset, AddsApplicationBundlesOnly) {
  EXPECT_EQ(GuardedAppPreset::merged({}, {"", "/", "/usr/bin/tool", "/Applications/Foo.app/Contents",
                                          "/Applications/Fooapp", "/Applications/Foo.APP"}),
            List{});
}

}  // namespace
}  // namespace fernwahrung
