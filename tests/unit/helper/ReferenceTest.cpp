#include "HelperRun.h"
#include "helper/Failure.h"
#include "helper/Reference.h"
#include "support/Files.h"

#include "Foundation/Unicode.h"

#include <filesystem>

namespace fernwahrung {
namespace {

const std::vector<Relocation> three = {makeRelocation(firstId, "Mail", "/Users/a/Library/Mail"),
                                       makeRelocation(secondId, "Fotos", "/Users/a/Fotos"),
                                       makeRelocation(thirdId, "Übung", "/Users/a/Übung")};

std::string found(const std::string& reference, const std::vector<Relocation>& relocations = three) {
  return Reference::find(relocations, reference).name;
}

std::string problem(const std::string& reference, const std::vector<Relocation>& relocations = three) {
  try {
    found(reference, relocations);
  } catch (const UsageError& error) {
    return error.what();
  }
  return "";
}

TEST(Reference, ByIdentifierInEitherCase) {
  EXPECT_EQ(found(firstId), "Mail");
  EXPECT_EQ(found("68753a99-4d6f-1226-9c60-0050e4c00067"), "Fotos");
}

TEST(Reference, ByAnUnambiguousBeginning) {
  EXPECT_EQ(found("F00D"), "Übung");
  EXPECT_EQ(found("f00d0001-4"), "Übung");
  EXPECT_EQ(found("68753A9"), "Fotos");
}

TEST(Reference, ABeginningOfLessThanFourCharactersIsNone) {
  EXPECT_TRUE(problem("F00").starts_with("„F00“ ist unbekannt."));
}

TEST(Reference, AnAmbiguousBeginningListsTheCandidates) {
  EXPECT_EQ(problem("68753A"),
            "„68753A“ ist nicht eindeutig. Es passen:\n"
            "  68753A44-4D6F-1226-9C60-0050E4C00067  Mail  /Users/a/Library/Mail\n"
            "  68753A99-4D6F-1226-9C60-0050E4C00067  Fotos  /Users/a/Fotos");
}

TEST(Reference, ByName) {
  EXPECT_EQ(found("Mail"), "Mail");
}

TEST(Reference, ANameInEitherNormalForm) {
  EXPECT_EQ(found("U\u0308bung"), "Übung");
}

TEST(Reference, ANameIsMatchedWhole) {
  EXPECT_NE(problem("Mai"), "");
  EXPECT_NE(problem("mail"), "");
}

TEST(Reference, TwoOfTheSameNameAreAmbiguous) {
  const std::vector<Relocation> two = {makeRelocation(firstId, "Mail", "/a"),
                                       makeRelocation(thirdId, "Mail", "/b")};
  EXPECT_NE(problem("Mail", two).find("ist nicht eindeutig"), std::string::npos);
  EXPECT_EQ(found(thirdId, two), "Mail");
}

TEST(Reference, ANameThatIsTheBeginningOfAnotherIdentifierIsAmbiguous) {
  const std::vector<Relocation> two = {makeRelocation(firstId, "F00D", "/a"),
                                       makeRelocation(thirdId, "Mail", "/b")};
  EXPECT_NE(problem("F00D", two).find("ist nicht eindeutig"), std::string::npos);
}

TEST(Reference, AWholeIdentifierWinsOverAName) {
  const std::vector<Relocation> two = {makeRelocation(firstId, thirdId, "/a"),
                                       makeRelocation(thirdId, "Mail", "/b")};
  EXPECT_EQ(found(thirdId, two), "Mail");
}

TEST(Reference, BySourcePath) {
  EXPECT_EQ(found("/Users/a/Fotos"), "Fotos");
  EXPECT_EQ(found("/Users/a/./Fotos/"), "Fotos");
}

TEST(Reference, ASourcePathIsComparedAsTheSamePlace) {
  const TempFolder folder;
  makeFolder(folder / "echt/Mail");
  std::filesystem::create_symlink(folder / "echt", folder / "link");
  const std::vector<Relocation> one = {makeRelocation(firstId, "x", folder / "echt/Mail")};
  EXPECT_EQ(found(folder / "link/Mail", one), "x");
}

TEST(Reference, TheRestoredAndTheActiveEntryOfOneFolderAreAmbiguous) {
  const std::vector<Relocation> two = {makeRelocation(firstId, "alt", "/a/b"),
                                       makeRelocation(thirdId, "neu", "/a/b")};
  EXPECT_NE(problem("/a/b", two).find("ist nicht eindeutig"), std::string::npos);
}

TEST(Reference, AnUnknownOneListsWhatThereIs) {
  EXPECT_EQ(problem("nix\n"),
            "„nix\\n“ ist unbekannt. Bekannt sind:\n"
            "  68753A44-4D6F-1226-9C60-0050E4C00067  Mail  /Users/a/Library/Mail\n"
            "  68753A99-4D6F-1226-9C60-0050E4C00067  Fotos  /Users/a/Fotos\n"
            "  F00D0001-4D6F-1226-9C60-0050E4C00067  Übung  /Users/a/Übung");
  EXPECT_EQ(problem("nix", {}), "„nix“ ist unbekannt. Es ist nichts ferngewahrt.");
}

TEST(Reference, AtMostTwentyCandidatesAreListed) {
  std::vector<Relocation> many;
  for (int i = 0; i < 25; ++i) {
    many.push_back(makeRelocation(firstId, "x", "/a"));
    many.back().id = Uuid::random();
  }
  const std::string text = problem("x", many);
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 21);
  EXPECT_TRUE(text.ends_with("\n  … und 5 weitere"));
}

TEST(Reference, ShortIdentifiersAreAsLongAsItTakes) {
  EXPECT_EQ(Reference::shortIdentifiers({uuid(firstId), uuid(secondId), uuid(thirdId)}),
            (std::vector<std::string>{"68753A44", "68753A99", "F00D0001"}));
  EXPECT_EQ(Reference::shortIdentifiers({uuid(firstId), uuid("68753A44-4E6F-1226-9C60-0050E4C00067")}),
            (std::vector<std::string>{"68753A44-4D", "68753A44-4E"}));
  EXPECT_EQ(Reference::shortIdentifiers({}), std::vector<std::string>{});
}

TEST(Reference, JournalsByIdentifierAndBeginning) {
  const std::vector<Journal> journals = {makeJournal(firstId, three[0], "2026-11-15T10:09:15Z"),
                                         makeJournal(thirdId, three[1], "2026-11-16T10:09:15Z")};
  EXPECT_EQ(Reference::find(journals, "f00d").id, uuid(thirdId));
  EXPECT_EQ(Reference::find(journals, firstId).id, uuid(firstId));
  EXPECT_THROW(Reference::find(journals, "Mail"), UsageError);
  EXPECT_THROW(Reference::find(journals, "f00"), UsageError);
}

}  // namespace
}  // namespace fernwahrung
