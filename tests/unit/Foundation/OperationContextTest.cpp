#include "support/Files.h"
#include "support/TempFolder.h"

#include "Foundation/Errors.h"
#include "Foundation/OperationContext.h"

#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace fernwahrung {
namespace {

using Shown = std::vector<std::pair<std::string, std::optional<double>>>;

class OperationContextTest : public testing::Test {
 protected:
  TempHome home;
  Shown shown;
  OperationContext context{[this](const std::string& text, std::optional<double> fraction) {
    shown.emplace_back(text, fraction);
  }};
};

TEST_F(OperationContextTest, reportLogsAndShows) {
  context.report("Kopiere „Bilder“ …", 0.25);
  EXPECT_EQ(shown, (Shown{{"Kopiere „Bilder“ …", 0.25}}));
  EXPECT_TRUE(readFile(home / "fernwahrung.log").ends_with("] · Kopiere „Bilder“ …\n"));
}

TEST_F(OperationContextTest, reportWithoutFractionIsIndeterminate) {
  context.report("Prüfe");
  EXPECT_EQ(shown, (Shown{{"Prüfe", std::nullopt}}));
}

TEST_F(OperationContextTest, theLineIsInTheLogBeforeItIsShown) {
  std::string logged;
  const OperationContext careful(
      [&](const std::string&, std::optional<double>) { logged = readFile(home / "fernwahrung.log"); });
  careful.report("Prüfe");
  EXPECT_TRUE(logged.ends_with("] · Prüfe\n"));
}

TEST_F(OperationContextTest, progressIsNotLogged) {
  context.progress("12 %", 0.12);
  EXPECT_EQ(shown, (Shown{{"12 %", 0.12}}));
  EXPECT_FALSE(exists(home / "fernwahrung.log"));
}

TEST_F(OperationContextTest, aContextWithoutClosureStillLogs) {
  const OperationContext silent;
  silent.report("Prüfe", 1.0);
  silent.progress("still", std::nullopt);
  EXPECT_TRUE(readFile(home / "fernwahrung.log").ends_with("] · Prüfe\n"));
}

TEST_F(OperationContextTest, cancelIsSeen) {
  EXPECT_FALSE(context.isCancelled());
  EXPECT_NO_THROW(context.checkCancelled());
  context.cancel();
  EXPECT_TRUE(context.isCancelled());
  try {
    context.checkCancelled();
    FAIL() << "the cancellation went unseen";
  } catch (const FernwahrungError& error) {
    EXPECT_EQ(error.kind(), FernwahrungError::Case::cancelled);
  }
}

TEST_F(OperationContextTest, cancelTwiceIsHarmless) {
  context.cancel();
  context.cancel();
  EXPECT_TRUE(context.isCancelled());
}

TEST_F(OperationContextTest, cancelReachesAnotherThread) {
  std::thread operation([this] {
    while (!context.isCancelled()) std::this_thread::yield();
  });
  std::thread first([this] { context.cancel(); });
  std::thread second([this] { context.cancel(); });
  first.join();
  second.join();
  operation.join();
  EXPECT_THROW(context.checkCancelled(), FernwahrungError);
}

}  // namespace
}  // namespace fernwahrung
