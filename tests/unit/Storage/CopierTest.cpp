#include "support/Files.h"
#include "support/OrdinaryUser.h"
#include "support/Program.h"
#include "support/TempFolder.h"
#include "support/ToolDouble.h"

#include "Foundation/ByteFormat.h"
#include "Foundation/Clock.h"
#include "Foundation/Errors.h"
#include "Foundation/HostTools.h"
#include "Foundation/Paths.h"
#include "Foundation/Text.h"
#include "Storage/Copier.h"
#include "Storage/FileOps.h"

#include <chrono>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace fernwahrung {
namespace {

using Calls = std::vector<std::vector<std::string>>;

class CopierTest : public testing::Test {
 protected:
  CopierTest() {
    makeFolder(source_);
    makeFolder(destination_);
  }

  std::string dittoFailure(std::int64_t totalBytes = 100) {
    try {
      Copier::ditto(source_, destination_, totalBytes, 0, context_);
    } catch (const FernwahrungError& error) {
      return error.what();
    }
    return "nothing was thrown";
  }

  std::vector<std::string> logLines() {
    std::vector<std::string> texts;
    for (const std::string& line : Text::split(readFile(Paths::logFile()), '\n')) {
      texts.push_back(line.substr(line.find("] ") + 2));
    }
    return texts;
  }

  TempHome home_;
  TempFolder folder_;
  const std::string source_ = folder_ / "source folder";
  const std::string destination_ = folder_ / "destination";
  std::vector<std::pair<std::string, std::optional<double>>> progress_;
  OperationContext context_{[this](const std::string& text, std::optional<double> fraction) {
    progress_.emplace_back(text, fraction);
  }};
};

TEST_F(CopierTest, PassesTwoArgumentsAndNothingElse) {
  const ToolDouble ditto("/usr/bin/ditto");
  Copier::ditto(source_, destination_, 100, 0, context_);
  EXPECT_EQ(ditto.calls(), (Calls{{source_, destination_}}));
  EXPECT_EQ(logLines().at(0), "$ ditto \"" + source_ + "\" \"" + destination_ + "\"");
}

TEST_F(CopierTest, AStatusOtherThanZeroIsAnError) {
  const ToolDouble ditto("/usr/bin/ditto", {.err = "ditto: a: No space left on device\n", .status = 3});
  EXPECT_EQ(dittoFailure(), "Kopieren fehlgeschlagen (Code 3):\nditto: a: No space left on device\n");
}

TEST_F(CopierTest, WordsOnStandardErrorAreAnErrorEvenWithStatusZero) {
  const ToolDouble ditto("/usr/bin/ditto", {.err = "ditto: b: Operation not permitted\n"});
  EXPECT_EQ(dittoFailure(), "Kopieren meldete Fehler:\nditto: b: Operation not permitted\n");
}

TEST_F(CopierTest, StandardOutputIsOfNoInterest) {
  const ToolDouble ditto("/usr/bin/ditto", {.out = "copying file a …\n"});
  EXPECT_NO_THROW(Copier::ditto(source_, destination_, 100, 0, context_));
}

TEST_F(CopierTest, BadUtf8OnStandardErrorIsRepaired) {
  const ToolDouble ditto("/usr/bin/ditto", {.err = "a\xff"
                                                   "b",
                                            .status = 1});
  EXPECT_EQ(dittoFailure(), "Kopieren fehlgeschlagen (Code 1):\na\uFFFDb");
}

TEST_F(CopierTest, FloodsOfErrorsBlockNothing) {
  const std::string flood(3'000'000, 'e');
  const ToolDouble ditto("/usr/bin/ditto", {.out = flood, .err = flood, .status = 1});
  EXPECT_EQ(dittoFailure(), "Kopieren fehlgeschlagen (Code 1):\n" + flood);
}

TEST_F(CopierTest, ADeathBySignalIsAnError) {
  const ToolDouble ditto("/usr/bin/ditto", {.signal = 9});
  EXPECT_EQ(dittoFailure(), "Kopieren fehlgeschlagen (Code 9):\n");
}

TEST_F(CopierTest, AMissingToolPassesOnTheSystemsError) {
  const HostTools::Replacement ditto("/usr/bin/ditto", folder_ / "missing");
  EXPECT_THROW(Copier::ditto(source_, destination_, 100, 0, context_), SystemError);
}

TEST_F(CopierTest, ACancelledCopyDoesNotBegin) {
  const ToolDouble ditto("/usr/bin/ditto");
  context_.cancel();
  EXPECT_EQ(dittoFailure(), "Vorgang abgebrochen.");
  EXPECT_TRUE(ditto.calls().empty());
}

TEST_F(CopierTest, CancellingEndsTheProcessSoon) {
  const ToolDouble ditto("/usr/bin/ditto", {.neverEnds = true});
  std::chrono::steady_clock::time_point cancelled;
  std::thread user([&] {
    EXPECT_TRUE(ditto.waitForCalls(1));
    cancelled = std::chrono::steady_clock::now();
    context_.cancel();
  });
  EXPECT_EQ(dittoFailure(), "Vorgang abgebrochen.");
  const auto ended = std::chrono::steady_clock::now();
  user.join();
  // 0.1 s is promised; a busy machine gets some more.
  EXPECT_LT(ended - cancelled, std::chrono::milliseconds(500));
}

TEST_F(CopierTest, TheFirstRoundAlwaysReports) {
  const ToolDouble ditto("/usr/bin/ditto");
  const std::int64_t used = FileOps::usedBytesOnVolume(destination_).value_or(0);
  Copier::ditto(source_, destination_, 5'000'000, used + 1'000'000'000'000, context_);
  ASSERT_EQ(progress_.size(), 1u);
  EXPECT_EQ(progress_[0].first,
            "Kopiere … ca. " + ByteFormat::string(0) + " von " + ByteFormat::string(5'000'000));
  EXPECT_EQ(progress_[0].second, 0.0);
  EXPECT_EQ(logLines().at(1), "· " + progress_[0].first);
}

TEST_F(CopierTest, TheFractionStaysBelowOneAndIsMissingWithoutATotal) {
  const ToolDouble ditto("/usr/bin/ditto");
  Copier::ditto(source_, destination_, 1, -1'000'000, context_);
  EXPECT_EQ(progress_.at(0).second, 0.99);
  Copier::ditto(source_, destination_, 0, 0, context_);
  EXPECT_EQ(progress_.at(1).second, std::nullopt);
}

TEST_F(CopierTest, ADestinationWithoutAVolumeShowsNothingWritten) {
  const ToolDouble ditto("/usr/bin/ditto");
  Copier::ditto(source_, folder_ / "missing", 100, 77, context_);
  EXPECT_EQ(progress_.at(0).first,
            "Kopiere … ca. " + ByteFormat::string(0) + " von " + ByteFormat::string(100));
}

TEST_F(CopierTest, ReportsOnceASecond) {
  const ToolDouble ditto("/usr/bin/ditto", {.neverEnds = true});
  // The clock moves on by 0.25 s each time it is looked at, and the twelfth look cancels.
  int looks = 0;
  Date now = Dates::fromUnixSeconds(1'700'000'000);
  std::vector<Date> reports;
  OperationContext* running = nullptr;
  OperationContext context([&](const std::string&, std::optional<double>) { reports.push_back(now); });
  running = &context;
  const Clock::Override clock(
      [&] {
        if (++looks == 12) running->cancel();
        return now += std::chrono::milliseconds(250);
      },
      [](double) {});
  EXPECT_THROW(Copier::ditto(source_, destination_, 100, 0, context), FernwahrungError);
  ASSERT_GE(reports.size(), 2u);
  for (std::size_t index = 1; index < reports.size(); ++index) {
    EXPECT_GE(reports[index] - reports[index - 1], std::chrono::seconds(1));
    EXPECT_LE(reports[index] - reports[index - 1], std::chrono::milliseconds(1500));
  }
}

TEST_F(CopierTest, TheContentsOfAPlainFolderAreCopiedInOneGo) {
  const ToolDouble ditto("/usr/bin/ditto");
  Copier::copyContents(source_, destination_, 100, false, context_);
  EXPECT_EQ(ditto.calls(), (Calls{{source_, destination_}}));
  EXPECT_EQ(progress_.back().first, "Kopieren abgeschlossen");
  EXPECT_EQ(progress_.back().second, 1.0);
  EXPECT_EQ(logLines().back(), "· Kopieren abgeschlossen");
}

TEST_F(CopierTest, TheContentsOfAVolumeAreCopiedEntryByEntryInOrderWithoutTheSystems) {
  for (const std::string name : {"b", "a/x", ".Spotlight-V100/x", ".fseventsd-bad-1", ".DS_Store"}) {
    writeFile(source_ + "/" + name, "1");
  }
  ASSERT_EQ(::symlink("../else where", (source_ + "/link").c_str()), 0);
  const ToolDouble ditto("/usr/bin/ditto");
  Copier::copyContents(source_, destination_, 100, true, context_);
  EXPECT_EQ(ditto.calls(), (Calls{{source_ + "/.DS_Store", destination_ + "/.DS_Store"},
                                  {source_ + "/a", destination_ + "/a"},
                                  {source_ + "/b", destination_ + "/b"}}));
  EXPECT_EQ(FileOps::symlinkDestination(destination_ + "/link"), "../else where");
  EXPECT_EQ(progress_.back().first, "Kopieren abgeschlossen");
}

// The system keeps folders at the root of a volume that nobody else may list.
TEST_F(CopierTest, AFolderThatIsLeftOutNeedNotBeReadable) {
  writeFile(source_ + "/file", "bytes");
  makeFolder(source_ + "/.Trashes");
  ASSERT_EQ(::chmod((source_ + "/.Trashes").c_str(), 0333), 0);
  giveToOrdinaryUser(source_ + "/.Trashes");
  giveToOrdinaryUser(destination_);
  const HostTools::Replacement ditto("/usr/bin/ditto", "/bin/cp");
  EXPECT_TRUE(holdsForOrdinaryUser([&] {
    Copier::copyContents(source_, destination_, 5, true, context_);
    return true;
  }));
  EXPECT_EQ(namesIn(destination_), std::vector<std::string>{"file"});
}

TEST_F(CopierTest, AVolumeHasOneProgressHoweverManyEntriesItHas) {
  for (const std::string name : {"a", "b", "c"}) writeFile(source_ + "/" + name, "1");
  const ToolDouble ditto("/usr/bin/ditto");
  const Clock::Override clock([] { return Dates::fromUnixSeconds(1'700'000'000); }, [](double) {});
  Copier::copyContents(source_, destination_, 100, true, context_);
  ASSERT_EQ(progress_.size(), 2u);
  EXPECT_EQ(progress_[1].first, "Kopieren abgeschlossen");
}

TEST_F(CopierTest, TheProgressOfAVolumeNeverFallsBack) {
  if (runProgram({"mount", "-t", "tmpfs", "none", destination_}).status != 0)
    GTEST_SKIP() << "this user may not mount";
  for (const std::string name : {"a", "b", "c"}) writeFile(source_ + "/" + name, std::string(1 << 20, 'x'));
  const ToolDouble ditto("/usr/bin/ditto", {.script = "cp -a \"$1\" \"$2\""});
  // every look at the clock is due for a report
  Date now = Dates::fromUnixSeconds(1'700'000'000);
  const Clock::Override clock([&] { return now += std::chrono::seconds(2); }, [](double) {});
  Copier::copyContents(source_, destination_, 4 << 20, true, context_);
  ASSERT_GE(progress_.size(), 4u);
  for (std::size_t index = 1; index < progress_.size(); ++index)
    EXPECT_GE(progress_[index].second, progress_[index - 1].second) << progress_[index].first;
  EXPECT_GE(progress_[progress_.size() - 2].second, 0.5) << "the first two files were there by then";
}

TEST_F(CopierTest, AnEmptyVolumeIsCopiedWithoutDitto) {
  const ToolDouble ditto("/usr/bin/ditto");
  Copier::copyContents(source_, destination_, 0, true, context_);
  EXPECT_TRUE(ditto.calls().empty());
}

TEST_F(CopierTest, ALinkOverAnExistingNameIsAnError) {
  ASSERT_EQ(::symlink("a", (source_ + "/link").c_str()), 0);
  writeFile(destination_ + "/link", "there");
  EXPECT_THROW(Copier::copyContents(source_, destination_, 1, true, context_), SystemError);
  EXPECT_EQ(readFile(destination_ + "/link"), "there");
}

TEST_F(CopierTest, AMissingVolumeIsAnError) {
  EXPECT_THROW(Copier::copyContents(folder_ / "missing", destination_, 1, true, context_), SystemError);
}

TEST_F(CopierTest, TheFirstFailureEndsTheCopyOfAVolume) {
  writeFile(source_ + "/a", "1");
  writeFile(source_ + "/b", "1");
  const ToolDouble ditto("/usr/bin/ditto", {.status = 1});
  EXPECT_THROW(Copier::copyContents(source_, destination_, 1, true, context_), FernwahrungError);
  EXPECT_EQ(ditto.calls().size(), 1u);
}

TEST_F(CopierTest, AnItemIsCopiedQuietly) {
  const ToolDouble ditto("/usr/bin/ditto");
  Copier::copyItem(source_, destination_ + "/x");
  EXPECT_EQ(ditto.calls(), (Calls{{source_, destination_ + "/x"}}));
  EXPECT_FALSE(exists(Paths::logFile()));
}

}  // namespace
}  // namespace fernwahrung
