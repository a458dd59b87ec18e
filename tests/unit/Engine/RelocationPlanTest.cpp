#include "Engine/RelocationPlan.h"

#include <gtest/gtest.h>

namespace fernwahrung {
namespace {

std::string safe(const std::string& name) {
  RelocationPlan plan;
  plan.name = name;
  return plan.safeName();
}

TEST(RelocationPlan, KeepsLettersMarksDigitsAndFourOtherCharacters) {
  EXPECT_EQ(safe("Größe 12-b_c.d"), "Größe 12-b_c.d");
  EXPECT_EQ(safe("Mu\xCC\x88ller"), "Mu\xCC\x88ller");  // decomposed: the combining mark stays
  EXPECT_EQ(safe("日本語"), "日本語");
}

TEST(RelocationPlan, ReplacesEveryOtherScalarByAnUnderscore) {
  EXPECT_EQ(safe("a/b:c"), "a_b_c");
  EXPECT_EQ(safe("x\ny"), "x_y");
  EXPECT_EQ(safe("🙂"), "_");
}

TEST(RelocationPlan, NameOfOnlyForbiddenCharactersYieldsUnderscores) {
  EXPECT_EQ(safe("///"), "___");
}

TEST(RelocationPlan, NameOfOnlyBlanksYieldsTheProgramsName) {
  EXPECT_EQ(safe("   "), "Fernwahrung");
  EXPECT_EQ(safe(""), "Fernwahrung");
}

TEST(RelocationPlan, TrimsBlanksAtBothEnds) {
  EXPECT_EQ(safe("  Fotos  "), "Fotos");
}

TEST(RelocationPlan, StoragePathHasTheBundlesExtensionOnlyForAnImage) {
  RelocationPlan plan;
  plan.name = "Fotos/2024";
  plan.storageDirectory = "/Volumes/Extern/";
  EXPECT_EQ(plan.storagePath(), "/Volumes/Extern/Fotos_2024.sparsebundle");
  plan.kind = RelocationKind::symlink;
  EXPECT_EQ(plan.storagePath(), "/Volumes/Extern/Fotos_2024");
}

}  // namespace
}  // namespace fernwahrung
