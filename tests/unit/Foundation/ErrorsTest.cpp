#include "Foundation/Errors.h"

#include <cerrno>
#include <cstring>
#include <gtest/gtest.h>
#include <thread>

namespace fernwahrung {
namespace {

std::vector<std::string> numbered(int count) {
  std::vector<std::string> problems;
  for (int number = 1; number <= count; ++number) problems.push_back("Fehlt: " + std::to_string(number));
  return problems;
}

TEST(FernwahrungError, messageIsTheTextItself) {
  const auto error = FernwahrungError::message("Der Ordner ist weg: {} %s “„");
  EXPECT_EQ(error.kind(), FernwahrungError::Case::message);
  EXPECT_STREQ(error.what(), "Der Ordner ist weg: {} %s “„");
  EXPECT_TRUE(error.problems().empty());
}

TEST(FernwahrungError, tenProblemsAreListedWholly) {
  const auto error = FernwahrungError::verificationFailed(numbered(10));
  EXPECT_EQ(error.kind(), FernwahrungError::Case::verificationFailed);
  EXPECT_STREQ(error.what(),
               "Prüfung fehlgeschlagen – die Kopie ist NICHT identisch:\n"
               "Fehlt: 1\nFehlt: 2\nFehlt: 3\nFehlt: 4\nFehlt: 5\nFehlt: 6\nFehlt: 7\nFehlt: 8\nFehlt: 9\n"
               "Fehlt: 10");
}

TEST(FernwahrungError, elevenProblemsHaveOneMore) {
  const auto error = FernwahrungError::verificationFailed(numbered(11));
  const std::string text = error.what();
  EXPECT_TRUE(text.ends_with("\nFehlt: 10\n… und 1 weitere")) << text;
  EXPECT_EQ(error.problems().size(), 11u);
}

TEST(FernwahrungError, manyProblemsAreCounted) {
  const std::string text = FernwahrungError::verificationFailed(numbered(1234)).what();
  EXPECT_TRUE(text.ends_with("\n… und 1224 weitere")) << text;
}

TEST(FernwahrungError, noProblemsLeaveTheHeading) {
  EXPECT_STREQ(FernwahrungError::verificationFailed({}).what(),
               "Prüfung fehlgeschlagen – die Kopie ist NICHT identisch:\n");
}

TEST(FernwahrungError, cancelled) {
  const auto error = FernwahrungError::cancelled();
  EXPECT_EQ(error.kind(), FernwahrungError::Case::cancelled);
  EXPECT_STREQ(error.what(), "Vorgang abgebrochen.");
}

TEST(SystemError, namesThePathAndTheReason) {
  const SystemError error("Der Ordner kann nicht gelesen werden", "/a/b", EACCES);
  EXPECT_EQ(error.code(), EACCES);
  EXPECT_EQ(error.reason(), "Permission denied");
  EXPECT_STREQ(error.what(), "Der Ordner kann nicht gelesen werden: /a/b (Permission denied)");
}

TEST(SystemError, withoutAPathHasNoColon) {
  EXPECT_STREQ(SystemError("Es geht nicht", "", ENOSPC).what(), "Es geht nicht (No space left on device)");
}

TEST(SystemError, anUnknownCodeStillHasAReason) {
  EXPECT_FALSE(SystemError("Es geht nicht", "/a", 54321).reason().empty());
}

TEST(SystemError, reasonsDoNotMixBetweenThreads) {
  std::vector<std::thread> threads;
  std::vector<int> wrong(4, 0);
  const std::vector<std::pair<int, std::string>> cases = {{54321, errnoText(54321)},
                                                          {65432, errnoText(65432)},
                                                          {ENOENT, errnoText(ENOENT)},
                                                          {76543, errnoText(76543)}};
  for (std::size_t index = 0; index < cases.size(); ++index) {
    threads.emplace_back([&wrong, &cases, index] {
      for (int round = 0; round < 2000; ++round) {
        if (errnoText(cases[index].first) != cases[index].second) ++wrong[index];
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(wrong, std::vector<int>(4, 0));
}

}  // namespace
}  // namespace fernwahrung
