#include "Engine/MountProblem.h"

#include <gtest/gtest.h>

namespace fernwahrung {
namespace {

using Kind = MountProblem::Kind;

TEST(MountProblem, TextPutsTheNameInFront) {
  EXPECT_EQ((MountProblem{"Fotos", Kind::other, "geht nicht"}).text(), "Fotos: geht nicht");
  EXPECT_EQ((MountProblem{"", Kind::skipped, "Übersprungen: x"}).text(), "Übersprungen: x");
}

TEST(MountProblem, ShortTextIsOneLine) {
  EXPECT_EQ((MountProblem{"Fotos", Kind::notEmpty, "lang\nund breit"}).shortText(),
            "Fotos: Ordner nicht leer – in der App bei „Einhängen“ auswählen, wie es weitergeht.");
  EXPECT_EQ((MountProblem{"Fotos", Kind::accessDenied, "lang\nund breit"}).shortText(),
            "Fotos: macOS verweigert den Zugriff – Festplattenvollzugriff für Fernwahrung freigeben.");
  EXPECT_EQ((MountProblem{"Fotos", Kind::other, "erste\nzweite"}).shortText(), "Fotos: erste");
  EXPECT_EQ((MountProblem{"", Kind::other, "\n\nzweite"}).shortText(), "zweite");
  EXPECT_EQ((MountProblem{"", Kind::other, ""}).shortText(), "");
}

TEST(MountProblem, RawValuesEqualTheCaseNamesAndSurviveARoundTrip) {
  for (Kind kind : {Kind::accessDenied, Kind::notEmpty, Kind::storageMissing, Kind::skipped, Kind::other}) {
    MountProblem problem{"Name", kind, "Text"};
    EXPECT_EQ(mountProblemFromJson(toJson(problem)), problem);
  }
  EXPECT_EQ(toJson(MountProblem{"", Kind::storageMissing, ""})["kind"], "storageMissing");
  EXPECT_THROW(mountProblemFromJson({{"name", ""}, {"kind", "neu"}, {"message", ""}}), JsonError);
}

}  // namespace
}  // namespace fernwahrung
