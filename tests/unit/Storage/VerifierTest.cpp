#include "support/Files.h"
#include "support/OrdinaryUser.h"
#include "support/TempFolder.h"

#include "Foundation/Clock.h"
#include "Foundation/Errors.h"
#include "Foundation/Paths.h"
#include "Foundation/Text.h"
#include "Storage/Verifier.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fcntl.h>
#include <future>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace fernwahrung {
namespace {

using Verifier::CompareOptions;

struct Progress {
  std::string text;
  std::optional<double> fraction;
};

class VerifierTest : public testing::Test {
 protected:
  VerifierTest() {
    makeFolder(source_);
    makeFolder(copy_);
  }

  /// The same file on both sides.
  void writeBoth(const std::string& name, std::string_view bytes) {
    writeFile(source_ + "/" + name, bytes);
    writeFile(copy_ + "/" + name, bytes);
  }

  VerifyReport compare(const CompareOptions& options = {}) {
    return Verifier::compare(source_, copy_, options, context_);
  }
  std::vector<std::string> problems(const CompareOptions& options = {}) { return compare(options).problems; }

  std::vector<std::string> logLines() {
    std::vector<std::string> texts;
    for (const std::string& line : Text::split(readFile(Paths::logFile()), '\n')) {
      texts.push_back(line.substr(line.find("] ") + 2));
    }
    return texts;
  }

  TempHome home_;
  TempFolder folder_;
  const std::string source_ = folder_ / "source";
  const std::string copy_ = folder_ / "copy";
  std::vector<Progress> progress_;
  OperationContext context_{[this](const std::string& text, std::optional<double> fraction) {
    progress_.push_back({text, fraction});
  }};
};

TEST_F(VerifierTest, TwoEmptyFoldersAreIdentical) {
  const VerifyReport report = compare();
  EXPECT_EQ(report.files, 0);
  EXPECT_EQ(report.directories, 0);
  EXPECT_EQ(report.symlinks, 0);
  EXPECT_EQ(report.bytes, 0);
  EXPECT_TRUE(report.isIdentical());
}

TEST_F(VerifierTest, CountsWhatItCompares) {
  writeBoth("a", "12345");
  writeBoth("sub/deeper/b", "678");
  for (const std::string& side : {source_, copy_}) {
    ASSERT_EQ(::symlink("sub", (side + "/link").c_str()), 0);
    ASSERT_EQ(::mkfifo((side + "/pipe").c_str(), 0600), 0);
  }
  const VerifyReport report = compare();
  EXPECT_EQ(report.problems, std::vector<std::string>());
  EXPECT_EQ(report.files, 2);
  EXPECT_EQ(report.directories, 2);
  EXPECT_EQ(report.symlinks, 1);
  EXPECT_EQ(report.bytes, 8);
}

TEST_F(VerifierTest, NoiseOnOneSideIsNoDifferenceAtAnyDepth) {
  writeBoth("sub/a", "1");
  writeFile(source_ + "/.DS_Store", "1");
  writeFile(copy_ + "/sub/.DS_Store", "22");
  const VerifyReport report = compare();
  EXPECT_TRUE(report.isIdentical());
  EXPECT_EQ(report.files, 1);
}

TEST_F(VerifierTest, TheSystemsEntriesAreLeftOutAtTheRootOfAVolumeOnly) {
  writeFile(copy_ + "/.Spotlight-V100/store", "1");
  writeFile(copy_ + "/.fseventsd-bad-12", "1");
  EXPECT_TRUE(problems({.destinationIsVolumeRoot = true}).empty());
  EXPECT_EQ(problems(),
            (std::vector<std::string>{"Nur in der Kopie vorhanden: " + copy_ + "/.Spotlight-V100",
                                      "Nur in der Kopie vorhanden: " + copy_ + "/.fseventsd-bad-12"}));
  makeFolder(source_ + "/sub");
  writeFile(copy_ + "/sub/.Spotlight-V100/store", "1");
  EXPECT_EQ(problems({.destinationIsVolumeRoot = true}),
            (std::vector<std::string>{"Nur in der Kopie vorhanden: " + copy_ + "/sub/.Spotlight-V100"}));
}

TEST_F(VerifierTest, TheSourceMayBeTheVolume) {
  writeFile(source_ + "/.Trashes/x", "1");
  EXPECT_TRUE(problems({.sourceIsVolumeRoot = true}).empty());
  EXPECT_EQ(problems({.destinationIsVolumeRoot = true}),
            (std::vector<std::string>{"Fehlt in der Kopie: " + copy_ + "/.Trashes"}));
}

TEST_F(VerifierTest, AFileReplacedByAFolderIsNotEntered) {
  writeFile(source_ + "/x", "1");
  writeFile(copy_ + "/x/inside", "1");
  const VerifyReport report = compare();
  EXPECT_EQ(report.problems, (std::vector<std::string>{"Unterschiedlicher Typ: " + source_ + "/x"}));
  EXPECT_EQ(report.directories, 0);
  EXPECT_EQ(report.files, 0);
}

TEST_F(VerifierTest, APipeIsNoSocket) {
  ASSERT_EQ(::mkfifo((source_ + "/x").c_str(), 0600), 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::snprintf(address.sun_path, sizeof address.sun_path, "%s/x", copy_.c_str());
  const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
  ASSERT_EQ(::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  ::close(fd);
  EXPECT_EQ(problems(), (std::vector<std::string>{"Unterschiedlicher Typ: " + source_ + "/x"}));
}

// ditto passes over pipes and sockets without a word.
TEST_F(VerifierTest, APipeThatWasNotCopiedIsMissing) {
  ASSERT_EQ(::mkfifo((source_ + "/pipe").c_str(), 0600), 0);
  EXPECT_EQ(problems(), (std::vector<std::string>{"Fehlt in der Kopie: " + copy_ + "/pipe"}));
}

TEST_F(VerifierTest, ALastByteBeyondTheFirstBufferIsCompared) {
  std::string bytes(1048576 + 4711, 'x');
  writeFile(source_ + "/big", bytes);
  bytes.back() = 'y';
  writeFile(copy_ + "/big", bytes);
  EXPECT_EQ(problems(), (std::vector<std::string>{"Anderer Inhalt: " + source_ + "/big"}));
}

TEST_F(VerifierTest, EveryByteOfFilesAroundTheBuffersSizeIsCompared) {
  for (const std::size_t size : {1048575u, 1048576u, 1048577u, 2097152u, 3000000u}) {
    std::string bytes(size, 'x');
    writeBoth("f", bytes);
    EXPECT_TRUE(problems().empty()) << size;
    bytes[size - 1] ^= 1;
    writeFile(copy_ + "/f", bytes);
    EXPECT_EQ(problems().size(), 1u) << size;
    bytes[size - 1] ^= 1;
    bytes[0] ^= 0x80;
    writeFile(copy_ + "/f", bytes);
    EXPECT_EQ(problems().size(), 1u) << size;
  }
}

TEST_F(VerifierTest, DifferentSizesAreNamedAndNothingIsRead) {
  writeFile(source_ + "/f", "12345", 0);
  writeFile(copy_ + "/f", "123", 0);
  const VerifyReport report = compare();
  EXPECT_EQ(report.problems, (std::vector<std::string>{"Andere Größe: " + source_ + "/f (5 ≠ 3 Bytes)"}));
  EXPECT_EQ(report.bytes, 5);
  EXPECT_EQ(report.files, 1);
}

TEST_F(VerifierTest, MissingAndSurplusNamesAreListedPerFolderInOrder) {
  writeFile(source_ + "/b", "1");
  writeFile(source_ + "/d", "1");
  writeFile(copy_ + "/c", "1");
  writeFile(copy_ + "/a/inside", "1");
  EXPECT_EQ(problems(),
            (std::vector<std::string>{
                "Nur in der Kopie vorhanden: " + copy_ + "/a", "Nur in der Kopie vorhanden: " + copy_ + "/c",
                "Fehlt in der Kopie: " + copy_ + "/b", "Fehlt in der Kopie: " + copy_ + "/d"}));
}

TEST_F(VerifierTest, TheFolderFoundLastIsEnteredFirst) {
  for (const std::string name : {"a/x", "a/z/x", "b/x"}) writeFile(source_ + "/" + name, "1");
  for (const std::string name : {"a/z", "b"}) makeFolder(copy_ + "/" + name);
  EXPECT_EQ(problems(), (std::vector<std::string>{"Fehlt in der Kopie: " + copy_ + "/b/x",
                                                  "Fehlt in der Kopie: " + copy_ + "/a/x",
                                                  "Fehlt in der Kopie: " + copy_ + "/a/z/x"}));
}

TEST_F(VerifierTest, OnlyTwoHundredProblemsAreKeptAndAllFilesCounted) {
  for (int number = 0; number < 250; ++number) {
    const std::string name = "f" + std::to_string(number);
    writeFile(source_ + "/" + name, "1");
    writeFile(copy_ + "/" + name, "2");
  }
  const VerifyReport report = compare();
  EXPECT_EQ(report.problems.size(), 200u);
  EXPECT_EQ(report.files, 250);
  EXPECT_EQ(report.bytes, 250);
}

TEST_F(VerifierTest, LinksAreEqualByTheirText) {
  for (const std::string& side : {source_, copy_}) {
    ASSERT_EQ(::symlink("gone/for good", (side + "/dangling").c_str()), 0);
  }
  ASSERT_EQ(::symlink("a", (source_ + "/link").c_str()), 0);
  ASSERT_EQ(::symlink("b", (copy_ + "/link").c_str()), 0);
  const VerifyReport report = compare();
  EXPECT_EQ(report.problems, (std::vector<std::string>{"Symlink zeigt woanders hin: " + source_ + "/link"}));
  EXPECT_EQ(report.symlinks, 2);
}

TEST_F(VerifierTest, NamesAreComparedByTheirBytes) {
  writeFile(source_ + "/\u00fc", "1");
  writeFile(copy_ + "/u\u0308", "1");
  EXPECT_EQ(problems().size(), 2u);
}

TEST_F(VerifierTest, ModesAndTimesAreNotCompared) {
  writeBoth("f", "1");
  ASSERT_EQ(::chmod((copy_ + "/f").c_str(), 0640), 0);
  const timespec times[2] = {{1, 0}, {1, 0}};
  ASSERT_EQ(::utimensat(AT_FDCWD, (copy_ + "/f").c_str(), times, 0), 0);
  EXPECT_TRUE(problems().empty());
}

TEST_F(VerifierTest, ManyFilesInAFolderAreAllCompared) {
  for (int number = 0; number < 100; ++number)
    writeBoth("f" + std::to_string(number), std::to_string(number));
  writeFile(copy_ + "/f57", "75");
  const VerifyReport report = compare();
  EXPECT_EQ(report.problems, (std::vector<std::string>{"Anderer Inhalt: " + source_ + "/f57"}));
  EXPECT_EQ(report.files, 100);
}

TEST_F(VerifierTest, ALongNameIsNoObstacle) {
  writeBoth(std::string(255, 'n'), "1");
  EXPECT_TRUE(problems().empty());
}

TEST_F(VerifierTest, AMissingFolderEndsTheRun) {
  EXPECT_THROW(Verifier::compare(source_, folder_ / "missing", {}, context_), SystemError);
  EXPECT_THROW(Verifier::compare(folder_ / "missing", copy_, {}, context_), SystemError);
}

TEST_F(VerifierTest, AFolderThatCanNotBeListedEndsTheRunByName) {
  makeFolder(source_ + "/closed");
  makeFolder(copy_ + "/closed");
  ASSERT_EQ(::chmod((source_ + "/closed").c_str(), 0), 0);
  EXPECT_TRUE(holdsForOrdinaryUser([&] {
    try {
      compare();
    } catch (const SystemError& error) {
      return error.code() == EACCES &&
             std::string(error.what()).find(source_ + "/closed") != std::string::npos;
    }
    return false;
  }));
}

TEST_F(VerifierTest, AFileThatCanNotBeOpenedIsAnErrorAndNoProblem) {
  for (const std::string bytes : {"", "12345"}) {
    writeBoth("a", "1");
    writeBoth("f", bytes);
    ASSERT_EQ(::chmod((copy_ + "/f").c_str(), 0), 0);
    EXPECT_TRUE(holdsForOrdinaryUser([&] {
      try {
        compare();
      } catch (const FernwahrungError& error) {
        return "Datei kann nicht geöffnet werden: " + copy_ + "/f (Permission denied)" == error.what();
      }
      return false;
    })) << bytes.size();
    ASSERT_EQ(::chmod((copy_ + "/f").c_str(), 0600), 0);
  }
}

TEST_F(VerifierTest, ALaterFileThatCanNotBeOpenedDoesNotHideADifferenceBefore) {
  writeFile(source_ + "/a", "1");
  writeFile(copy_ + "/a", "2");
  writeBoth("b", "1");
  ASSERT_EQ(::chmod((copy_ + "/b").c_str(), 0), 0);
  EXPECT_TRUE(holdsForOrdinaryUser([&] {
    try {
      compare();
    } catch (const FernwahrungError& error) {
      return "Datei kann nicht geöffnet werden: " + copy_ + "/b (Permission denied)" == error.what();
    }
    return false;
  }));
}

TEST_F(VerifierTest, ACancelledComparisonEndsBeforeItBegins) {
  writeBoth("a", "1");
  context_.cancel();
  try {
    compare();
    FAIL() << "not cancelled";
  } catch (const FernwahrungError& error) {
    EXPECT_EQ(error.kind(), FernwahrungError::Case::cancelled);
  }
  EXPECT_TRUE(progress_.empty());
}

TEST_F(VerifierTest, CancellingBetweenTwoFilesEndsTheRun) {
  writeBoth("a", "1");
  writeBoth("b", "1");
  int reports = 0;
  OperationContext* context = nullptr;
  OperationContext cancelling([&](const std::string&, std::optional<double>) {
    ++reports;
    context->cancel();
  });
  context = &cancelling;
  EXPECT_THROW(Verifier::compare(source_, copy_, {}, cancelling), FernwahrungError);
  EXPECT_EQ(reports, 1);
}

TEST_F(VerifierTest, CancellingWithinALargeFileEndsTheRun) {
  writeBoth("a", "1");
  writeBoth("b", "");
  // would take minutes
  for (const std::string& side : {source_, copy_})
    ASSERT_EQ(::truncate((side + "/b").c_str(), std::int64_t{1} << 40), 0);
  std::promise<void> firstFileDone;
  OperationContext cancelling([&, told = false](const std::string&, std::optional<double>) mutable {
    if (!std::exchange(told, true)) firstFileDone.set_value();
  });
  std::chrono::steady_clock::time_point cancelled;
  std::thread user([&] {
    firstFileDone.get_future().wait();
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    cancelled = std::chrono::steady_clock::now();
    cancelling.cancel();
  });
  EXPECT_THROW(Verifier::compare(source_, copy_, {}, cancelling), FernwahrungError);
  const auto ended = std::chrono::steady_clock::now();
  user.join();
  EXPECT_LT(ended - cancelled, std::chrono::seconds(2));
}

TEST_F(VerifierTest, WithoutASecondThreadOneReadsBothSides) {
  writeBoth("same", std::string(3 << 20, 'x'));
  writeFile(source_ + "/other", std::string(3 << 20, 'x') + "1");
  writeFile(copy_ + "/other", std::string(3 << 20, 'x') + "2");
  EXPECT_TRUE(holdsForOrdinaryUser([&] {
    const rlimit none{0, 0};
    return ::setrlimit(RLIMIT_NPROC, &none) == 0 &&
           problems() == std::vector<std::string>{"Anderer Inhalt: " + source_ + "/other"};
  }));
}

TEST_F(VerifierTest, AQuietComparisonReportsNothing) {
  writeBoth("a", "1");
  writeFile(copy_ + "/b", "1");
  EXPECT_EQ(problems({.quiet = true}),
            std::vector<std::string>{"Nur in der Kopie vorhanden: " + copy_ + "/b"});
  EXPECT_TRUE(progress_.empty());
  EXPECT_FALSE(exists(Paths::logFile()));
}

// A folder that may be listed and not searched.
TEST_F(VerifierTest, AnOriginalOfWhichNothingCanBeToldIsAProblem) {
  writeBoth("sub/a", "1");
  ASSERT_EQ(::chmod((source_ + "/sub").c_str(), ::geteuid() == 0 ? 0744 : 0400), 0);
  EXPECT_TRUE(holdsForOrdinaryUser([&] {
    return problems() == std::vector<std::string>{"Original nicht lesbar: " + source_ + "/sub/a"};
  }));
}

TEST_F(VerifierTest, ProgressComesAtMostTwiceASecond) {
  for (const std::string name : {"a", "b", "c", "d"}) writeBoth(name, "12345");
  // Each look at the clock, of which a log line costs one too, takes it 0.2 s further.
  Date now = Dates::fromUnixSeconds(1'700'000'000);
  const Clock::Override clock([&] { return now += std::chrono::milliseconds(200); }, [](double) {});
  compare({.totalBytes = 20});
  ASSERT_EQ(progress_.size(), 3u);
  EXPECT_EQ(progress_[0].text, "Prüfe Datei für Datei … 1 Dateien, 5 Byte");
  EXPECT_EQ(progress_[0].fraction, 0.25);
  EXPECT_EQ(progress_[1].text, "Prüfe Datei für Datei … 3 Dateien, 15 Byte");
  EXPECT_EQ(progress_[1].fraction, 0.75);
  EXPECT_EQ(progress_[2].text, "Prüfung abgeschlossen: 4 Dateien, 20 Byte");
  EXPECT_EQ(progress_[2].fraction, 1.0);
  EXPECT_EQ(logLines(), (std::vector<std::string>{"· " + progress_[0].text, "· " + progress_[1].text,
                                                  "· " + progress_[2].text}));
}

TEST_F(VerifierTest, WithoutATotalTheProgressHasNoFraction) {
  writeBoth("a", "1");
  compare();
  ASSERT_EQ(progress_.size(), 2u);
  EXPECT_EQ(progress_[0].fraction, std::nullopt);
  EXPECT_EQ(progress_[1].fraction, 1.0);
}

TEST_F(VerifierTest, TheFractionNeverExceedsOne) {
  writeBoth("a", "12345");
  compare({.totalBytes = 2});
  EXPECT_EQ(progress_.at(0).fraction, 1.0);
  progress_.clear();
  compare({.totalBytes = 0});
  EXPECT_EQ(progress_.at(0).fraction, 1.0);
}

TEST_F(VerifierTest, TwoFilesAreEqualByTheirBytesAlone) {
  writeFile(source_ + "/a", "12345");
  writeFile(copy_ + "/b", "12345");
  writeFile(copy_ + "/c", "12346");
  writeFile(copy_ + "/d", "123456");
  makeFolder(copy_ + "/e");
  ASSERT_EQ(::symlink("b", (copy_ + "/f").c_str()), 0);
  EXPECT_TRUE(Verifier::filesAreEqual(source_ + "/a", copy_ + "/b", context_));
  for (const std::string name : {"/c", "/d", "/e", "/f", "/missing"}) {
    EXPECT_FALSE(Verifier::filesAreEqual(source_ + "/a", copy_ + name, context_)) << name;
  }
}

TEST(IgnoredVolumeEntriesTest, AreTheSystemsNamesAndTheirDamagedKin) {
  for (const char* name :
       {".fseventsd", ".Spotlight-V100", ".Trashes", ".TemporaryItems", ".DocumentRevisions-V100",
        ".VolumeIcon.icns", ".com.apple.timemachine.donotpresent", ".fseventsd-bad", ".Spotlight-V100-bad-12",
        ".Trashes-bad-0", ".com.apple.timemachine.donotpresent-bad-7"}) {
    EXPECT_TRUE(Verifier::isIgnoredVolumeEntry(name)) << name;
  }
  for (const char* name :
       {"", ".", "fseventsd", ".fseventsd-badx", ".fseventsd-bad-", ".fseventsd-bad-1x", ".fseventsd-bad--1",
        ".fseventsd-bad-1-2", ".fseventsd-bad-٣", ".VolumeIcon.icns-bad", ".VolumeIcon.icns-bad-1",
        ".Trashes2", "x.Trashes", ".DS_Store", ".trashes"}) {
    EXPECT_FALSE(Verifier::isIgnoredVolumeEntry(name)) << name;
  }
}

class FingerprintTest : public testing::Test {
 protected:
  static void setModified(const std::string& path, time_t seconds, long nanoseconds) {
    const timespec times[2] = {{1, 0}, {seconds, nanoseconds}};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW), 0);
  }

  TempHome home_;
  TempFolder folder_;
};

TEST_F(FingerprintTest, CountsAndTakesTheNewestFile) {
  writeFile(folder_ / "a", "123");
  writeFile(folder_ / "sub/b", "4567");
  writeFile(folder_ / ".DS_Store", "noise");
  writeFile(folder_ / "sub/.DS_Store", "noise");
  ASSERT_EQ(::symlink("a", (folder_ / "link").c_str()), 0);
  ASSERT_EQ(::mkfifo((folder_ / "pipe").c_str(), 0600), 0);
  setModified(folder_ / "a", 1'700'000'000, 250'000'000);
  setModified(folder_ / "sub/b", 1'600'000'000, 0);
  setModified(folder_ / "link", 1'800'000'000, 0);
  const auto print = Verifier::fingerprint(folder_.path(), false);
  EXPECT_EQ(print.files, 4);
  EXPECT_EQ(print.directories, 1);
  EXPECT_EQ(print.bytes, 7);
  EXPECT_EQ(print.newestChange, 1'700'000'000.25);
}

TEST_F(FingerprintTest, AnEmptyFolderHasNone) {
  EXPECT_EQ(Verifier::fingerprint(folder_.path(), false), Verifier::Fingerprint());
}

TEST_F(FingerprintTest, SeesEachKindOfChange) {
  writeFile(folder_ / "a", "123");
  setModified(folder_ / "a", 1'700'000'000, 0);
  const auto before = Verifier::fingerprint(folder_.path(), false);
  setModified(folder_ / "a", 1'700'000'000, 1000);
  EXPECT_NE(Verifier::fingerprint(folder_.path(), false), before);
  setModified(folder_ / "a", 1'700'000'000, 0);
  EXPECT_EQ(Verifier::fingerprint(folder_.path(), false), before);
  makeFolder(folder_ / "sub");
  EXPECT_NE(Verifier::fingerprint(folder_.path(), false), before);
}

TEST_F(FingerprintTest, TheSystemsEntriesCountBelowTheRootOfAVolume) {
  writeFile(folder_ / ".fseventsd/x", "1");
  writeFile(folder_ / "sub/.fseventsd/x", "1");
  const auto print = Verifier::fingerprint(folder_.path(), true);
  EXPECT_EQ(print.files, 1);
  EXPECT_EQ(print.directories, 2);
  EXPECT_EQ(Verifier::fingerprint(folder_.path(), false).files, 2);
}

TEST_F(FingerprintTest, AFolderThatCanNotBeListedEndsTheWalk) {
  EXPECT_THROW(Verifier::fingerprint(folder_ / "missing", false), SystemError);
}

}  // namespace
}  // namespace fernwahrung
