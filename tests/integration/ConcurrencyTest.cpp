// Many starts of the executable at the same time, in random order, over the same relocations.
#include "Scene.h"
#include "support/Files.h"
#include "support/Mounts.h"
#include "support/Program.h"
#include "support/ToolDouble.h"

#include "Engine/Mount.h"
#include "Engine/Relocate.h"
#include "Engine/Status.h"
#include "Foundation/PathString.h"
#include "Foundation/Text.h"
#include "Records/AppSettings.h"
#include "Storage/FileOps.h"

#include <array>
#include <chrono>
#include <cstdlib>
#include <gmock/gmock.h>
#include <map>
#include <mutex>
#include <optional>
#include <random>
#include <set>
#include <thread>

namespace fernwahrung {
namespace {

using testing::IsEmpty;

constexpr int starters = 50;
const std::string lockIsBusy =
    "Es läuft bereits ein anderer Vorgang (App oder Kommandozeile). Bitte warten.\n";
const std::string holdersAhead = "Bitte zuerst beenden – diese Programme haben noch Dateien offen:\n";

/// How often each answer was given.
class Answers {
 public:
  void add(const std::string& answer) {
    const std::lock_guard guard(mutex_);
    ++counts_[answer];
  }
  const std::map<std::string, int>& counts() const { return counts_; }

 private:
  std::mutex mutex_;
  std::map<std::string, int> counts_;  // guarded by mutex_ while starters run
};

/// A look at a folder in the moment of its mounting holds it open; then it is one of the program's own that
/// is named as the hindrance, and nothing else.
bool namesOnlyTheProgramItself(const std::string& message) {
  if (!message.starts_with(holdersAhead)) return false;
  for (const std::string& line : Text::split(message.substr(holdersAhead.size()), '\n')) {
    if (!line.empty() && !line.starts_with("• fernwahrung – ")) return false;
  }
  return true;
}

/// The value behind a title of a status.
std::optional<std::string> factOf(const std::string& line, const std::string& title) {
  if (!line.starts_with(title + ":")) return std::nullopt;
  return Text::trimmed(line.substr(title.size() + 1));
}

/// One of the states that come and go here. The check before a mount attaches the image elsewhere for a
/// moment; there is nothing else to be found.
bool isStatus(const std::string& out) {
  const std::set<std::string> states = {"✓ Eingehängt", "✗ Nicht eingehängt", "✓ Verlinkt"};
  bool isKnown = false;
  for (const std::string& line : Text::split(out, '\n')) {
    if (const auto state = factOf(line, "Zustand")) isKnown = states.contains(*state);
    if (const auto finding = factOf(line, "Befund"); finding && *finding != "An anderer Stelle eingehängt.")
      return false;
  }
  return isKnown;
}

bool isAllowed(const std::string& verb, const ProgramResult& result) {
  if (verb == "status") return result.status == 0 && result.err.empty() && isStatus(result.out);
  if (verb == "mount-all") {
    return result.status == 0 &&
           (result.err.empty() ? result.out == "Alles ist eingehängt, was nicht pausiert ist.\n"
                               : result.err == "Übersprungen: " + lockIsBusy && result.out.empty());
  }
  switch (result.status) {
    case 0:
      return result.err.empty() && !result.out.empty();
    case 1:
      return namesOnlyTheProgramItself(result.err) && result.out.empty();
    case 3:
      return result.err == lockIsBusy && result.out.empty();
    default:
      return false;
  }
}

class ConcurrencyTest : public Scene {
 protected:
  void SetUp() override {
    Scene::SetUp();
    if (IsSkipped()) return;
    offload("Eins", RelocationKind::image);
    offload("Zwei", RelocationKind::image);
    offload("Drei", RelocationKind::symlink);
  }

  void offload(const std::string& name, RelocationKind kind) {
    const std::string folder = *mac / name;
    makeNastyTree(folder, {.depth = 5, .manyFiles = 5, .bigFile = false});
    RelocationPlan offloading = plan(kind);
    offloading.name = name;
    offloading.sourcePath = folder;
    relocations_.push_back(Relocator::relocate(offloading, context));
    contents_.push_back(TreeManifest::of(shownFolder(relocations_.back())));
  }

  static std::string shownFolder(const Relocation& relocation) {
    return relocation.kind == RelocationKind::image ? relocation.sourcePath : relocation.storagePath;
  }

  /// Starts one command after the other until the time has come.
  void keepStarting(unsigned seed, std::chrono::steady_clock::time_point end, Answers& good, Answers& bad) {
    std::mt19937 random(seed);
    while (std::chrono::steady_clock::now() < end) {
      std::vector<std::string> argv = {FERNWAHRUNG_HELPER};
      const std::string verb = std::array{"mount-all", "unmount", "status"}[random() % 3];
      argv.push_back(verb);
      if (verb != "mount-all") argv.push_back(relocations_[random() % relocations_.size()].name);
      const ProgramResult result = runProgram(argv);
      const bool isStatusWithoutNews = verb == "status" && result.status == 0;
      const std::string answer = verb + " ended with " + std::to_string(result.status) + ": " +
                                 (isStatusWithoutNews ? findings(result.out) : result.out) + result.err;
      (isAllowed(verb, result) ? good : bad).add(answer);
    }
  }

  /// The lines of a status that tell the state.
  static std::string findings(const std::string& details) {
    std::string found;
    for (const std::string& line : Text::split(details, '\n')) {
      if (line.starts_with("Zustand:") || line.starts_with("Befund:")) found += line + "\n";
    }
    return found;
  }

  void expectMountedOrEmptyAndLocked(const Relocation& relocation) const {
    const std::string& folder = relocation.sourcePath;
    if (FileOps::isMountPoint(folder)) return;
    EXPECT_THAT(namesIn(folder), IsEmpty());
    EXPECT_TRUE(FileOps::isLocked(folder)) << folder;
  }

  std::size_t loopDevicesOfImages() const {
    std::size_t count = 0;
    for (const Mounts::Loop& loop : Mounts::loops())
      count += PathString::isInside(loop.backingFile, drive->path()) ? 1 : 0;
    return count;
  }
  std::size_t mountedImages() const {
    std::size_t count = 0;
    for (const Relocation& relocation : relocations_) {
      count += relocation.kind == RelocationKind::image && FileOps::isMountPoint(relocation.sourcePath);
    }
    return count;
  }

  /// Fifty at a time, for some seconds.
  void startManyAtOnce() {
    const std::chrono::seconds duration(std::getenv("FERNWAHRUNG_TEST_FULL") ? 120 : 10);
    const auto end = std::chrono::steady_clock::now() + duration;
    Answers good;
    Answers bad;
    std::vector<std::thread> threads;
    for (unsigned seed = 1; seed <= starters; ++seed)
      threads.emplace_back([&, seed] { keepStarting(seed, end, good, bad); });
    for (std::thread& thread : threads) thread.join();

    for (const auto& [answer, count] : good.counts()) std::printf("%6d times: %s", count, answer.c_str());
    EXPECT_THAT(bad.counts(), IsEmpty());
  }

  void expectConsistentState() const {
    EXPECT_EQ(mountsBelow(home->path()).size(), 0U);
    EXPECT_EQ(Journal::unfinished().size(), 0U);
    EXPECT_EQ(loopDevicesOfImages(), mountedImages());
    for (const Relocation& relocation : relocations_) {
      if (relocation.kind == RelocationKind::image) expectMountedOrEmptyAndLocked(relocation);
    }

    const ProgramResult last = runProgram({FERNWAHRUNG_HELPER, "mount-all"});
    EXPECT_EQ(last.status, 0) << last.err;
    EXPECT_EQ(mountedImages(), 2U);
    EXPECT_EQ(loopDevicesOfImages(), 2U);
    EXPECT_EQ(mountsBelow(mac->path()).size(), 2U);
    EXPECT_THAT(namesIn(*home / "mnt"), IsEmpty());
    for (std::size_t i = 0; i < relocations_.size(); ++i)
      EXPECT_EQ(diff(contents_[i], TreeManifest::of(shownFolder(relocations_[i]))), "")
          << relocations_[i].name;
  }

  std::vector<Relocation> relocations_;
  std::vector<TreeManifest> contents_;
};

TEST_F(ConcurrencyTest, FiftyStartsAtATimeEndInAConsistentState) {
  startManyAtOnce();
  expectConsistentState();
}

TEST_F(ConcurrencyTest, SoTheyDoWhenVolumesComeAndGoWithoutACheck) {
  AppSettings settings;
  settings.verifyBeforeMount = false;
  settings.save();
  startManyAtOnce();
  expectConsistentState();
}

TEST_F(ConcurrencyTest, AMountDuringALookIsTakenForNoDataInTheEmptyFolder) {
  const Relocation& relocation = relocations_[0];
  Relocator::unmount(relocation);
  const ToolDouble hdiutil(
      "/usr/bin/hdiutil", {.thenReal = true,
                           .script = "mount -t tmpfs -o mode=755 none " + shellQuoted(relocation.sourcePath) +
                                     "; : >" + shellQuoted(relocation.sourcePath + "/Datei")});
  const RelocationStatus status = Relocator::status(relocation);
  EXPECT_EQ(hdiutil.calls().size(), 1U);
  EXPECT_EQ(status.summary, "Eingehängt");
  EXPECT_THAT(status.details, IsEmpty());
  EXPECT_TRUE(status.mounted);
}

}  // namespace
}  // namespace fernwahrung
