#include "support/Files.h"
#include "support/TempFolder.h"
#include "support/ToolDouble.h"

#include "Engine/Preflight.h"
#include "Foundation/ByteFormat.h"
#include "Foundation/Errors.h"
#include "Foundation/FileDescriptor.h"
#include "Foundation/Host.h"
#include "Platform/FileInfo.h"
#include "Platform/NameFolding.h"
#include "Records/RegistryStore.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fernwahrung {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr std::int64_t gigabyte = 1'000'000'000;
const char* const alreadyOffloaded = "Dieser Ordner ist bereits ferngewahrt.";

class PreflightTest : public testing::Test {
 protected:
  PreflightTest() {
    makeFolder(source);
    makeFolder(storage);
    writeFile(source + "/daten", std::string(5000, 'x'));
  }

  RelocationPlan plan(RelocationKind kind = RelocationKind::symlink) const {
    RelocationPlan result;
    result.name = "Fotos";
    result.kind = kind;
    result.sourcePath = source;
    result.storageDirectory = storage;
    result.imageSizeBytes = 30 * gigabyte;
    return result;
  }

  static std::vector<std::string> blockers(const RelocationPlan& plan) {
    return Relocator::preflight(plan, /*measureSize=*/false).blockers;
  }

  void registerSource(RelocationState state) {
    Relocation relocation;
    relocation.id = Uuid::random();
    relocation.sourcePath = source;
    relocation.storagePath = storage + "/anderswo";
    relocation.state = state;
    RegistryStore::save({.relocations = {relocation}});
  }

  TempHome home;
  TempFolder folder;
  std::string source = folder / "Quelle";
  std::string storage = folder / "Laufwerk";
  // nothing on this machine uses the folder unless a test says so
  ToolDouble lsof{"/usr/sbin/lsof"};
};

TEST_F(PreflightTest, GoodPlanHasNoFindingsAndASize) {
  PreflightResult result = Relocator::preflight(plan(), true);
  EXPECT_THAT(result.blockers, IsEmpty());
  EXPECT_THAT(result.warnings, IsEmpty());
  EXPECT_EQ(result.size.bytes, 5000);
  EXPECT_EQ(result.size.files, 1);
}

TEST_F(PreflightTest, MissingSourceIsTheOnlyBlocker) {
  RelocationPlan missing = plan();
  missing.sourcePath = folder / "fehlt";
  missing.storageDirectory = folder / "fehlt auch";
  PreflightResult result = Relocator::preflight(missing, true);
  EXPECT_THAT(result.blockers, ElementsAre("Der Ordner existiert nicht: " + missing.sourcePath));
  EXPECT_THAT(result.warnings, IsEmpty());
  EXPECT_EQ(result.size, TreeSize{});
}

TEST_F(PreflightTest, LinkAsSource) {
  RelocationPlan link = plan();
  link.sourcePath = folder / "Verweis";
  ASSERT_EQ(::symlink(source.c_str(), link.sourcePath.c_str()), 0);
  EXPECT_THAT(blockers(link), ElementsAre("Der Ordner ist bereits ein Symlink (schon ferngewahrt?).",
                                          "Das ist kein Ordner."));
}

TEST_F(PreflightTest, FileAsSource) {
  RelocationPlan file = plan();
  file.sourcePath = source + "/daten";
  EXPECT_THAT(blockers(file), ElementsAre("Das ist kein Ordner."));
}

TEST_F(PreflightTest, MountPointAsSource) {
  RelocationPlan mounted = plan();
  mounted.sourcePath = "/proc";
  EXPECT_THAT(blockers(mounted),
              Contains("An diesem Ordner ist bereits ein Laufwerk eingehängt (schon ferngewahrt?)."));
}

TEST_F(PreflightTest, WithoutOverrideOnlyFoldersBelowTheHomeAreAllowed) {
  ScopedEnvironment noOverride("FERNWAHRUNG_HOME", std::nullopt);
  const std::string rule = "Aus Sicherheitsgründen sind nur Ordner innerhalb deines Benutzerordners erlaubt.";
  Host::setHomeDirectoryForTesting(folder / "Benutzer");
  makeFolder(folder / "Benutzer/Ordner");
  EXPECT_THAT(blockers(plan()), ElementsAre(rule));

  RelocationPlan inside = plan();
  inside.sourcePath = folder / "Benutzer/Ordner";
  EXPECT_THAT(blockers(inside), IsEmpty());

  RelocationPlan theHomeItself = plan();
  theHomeItself.sourcePath = folder / "Benutzer";
  EXPECT_THAT(blockers(theHomeItself), ElementsAre(rule));
  Host::setHomeDirectoryForTesting("");
}

TEST_F(PreflightTest, WithoutOverrideATargetInTheHomeWarns) {
  ScopedEnvironment noOverride("FERNWAHRUNG_HOME", std::nullopt);
  Host::setHomeDirectoryForTesting(folder.path());
  PreflightResult result = Relocator::preflight(plan(), false);
  EXPECT_THAT(result.blockers, IsEmpty());
  EXPECT_THAT(result.warnings,
              ElementsAre("Das Ziel liegt auf derselben Festplatte – dadurch wird kein Platz frei."));
  Host::setHomeDirectoryForTesting("");
}

TEST_F(PreflightTest, WithOverrideAFolderOutsideTheHomePassesWithoutWarning) {
  Host::setHomeDirectoryForTesting(folder / "Benutzer");
  PreflightResult result = Relocator::preflight(plan(), false);
  EXPECT_THAT(result.blockers, IsEmpty());
  EXPECT_THAT(result.warnings, IsEmpty());
  Host::setHomeDirectoryForTesting("");
}

TEST_F(PreflightTest, TargetInsideTheSource) {
  const std::string inside = "Das Ziel liegt innerhalb des fernzuwahrenden Ordners.";
  RelocationPlan nested = plan();
  nested.storageDirectory = source;
  EXPECT_THAT(blockers(nested), ElementsAre(inside));
  makeFolder(source + "/tief");
  nested.storageDirectory = source + "/tief";
  EXPECT_THAT(blockers(nested), ElementsAre(inside));
  // by way of a link as well
  ASSERT_EQ(::symlink(source.c_str(), (folder / "Verweis").c_str()), 0);
  nested.storageDirectory = folder / "Verweis/tief";
  EXPECT_THAT(blockers(nested), ElementsAre(inside));
}

TEST_F(PreflightTest, NeighbourWithTheSameBeginningIsNotInside) {
  RelocationPlan neighbour = plan();
  neighbour.storageDirectory = source + "-Laufwerk";
  makeFolder(neighbour.storageDirectory);
  EXPECT_THAT(blockers(neighbour), IsEmpty());
}

TEST_F(PreflightTest, ActiveEntryCannotBeOffloadedAgainARestoredOneCan) {
  registerSource(RelocationState::active);
  EXPECT_THAT(blockers(plan()), ElementsAre(alreadyOffloaded));
  registerSource(RelocationState::restored);
  EXPECT_THAT(blockers(plan()), IsEmpty());
}

TEST_F(PreflightTest, ActiveEntryIsRecognisedByWayOfALinkInThePath) {
  registerSource(RelocationState::active);
  ASSERT_EQ(::symlink(folder.path().c_str(), (folder / "Umweg").c_str()), 0);
  RelocationPlan detour = plan();
  detour.sourcePath = folder / "Umweg/Quelle";
  EXPECT_THAT(blockers(detour), ElementsAre(alreadyOffloaded));
}

TEST_F(PreflightTest, DamagedRegistryDoesNotBlock) {
  writeFile(home / "registry.json", "{");
  EXPECT_THAT(blockers(plan()), IsEmpty());
}

TEST_F(PreflightTest, MissingStorageFolderSkipsTheChecksOfTheDrive) {
  RelocationPlan missing = plan();
  missing.storageDirectory = folder / "fehlt";
  EXPECT_THAT(blockers(missing), ElementsAre("Zielordner existiert nicht: " + missing.storageDirectory));
  missing.storageDirectory = source + "/daten";
  EXPECT_THAT(blockers(missing), Contains("Zielordner existiert nicht: " + missing.storageDirectory));
}

TEST_F(PreflightTest, OtherFormatsBlockImagesAndSymlinksAlike) {
  TempFolder memory("/dev/shm");
  for (RelocationKind kind : allRelocationKinds) {
    RelocationPlan other = plan(kind);
    other.storageDirectory = memory.path();
    EXPECT_THAT(
        blockers(other),
        ElementsAre("Das Ziellaufwerk hat das Format „tmpfs“. Nötig ist APFS (oder Mac OS Extended)."));
  }
}

TEST_F(PreflightTest, TakenNameAtTheTarget) {
  writeFile(storage + "/Fotos", "");
  EXPECT_THAT(blockers(plan()), ElementsAre("Am Ziel gibt es bereits „Fotos“. Bitte anderen Namen wählen."));
  EXPECT_THAT(blockers(plan(RelocationKind::image)), IsEmpty());
  ASSERT_EQ(::symlink("/nirgends", (storage + "/Fotos.sparsebundle").c_str()), 0);
  EXPECT_THAT(blockers(plan(RelocationKind::image)),
              ElementsAre("Am Ziel gibt es bereits „Fotos.sparsebundle“. Bitte anderen Namen wählen."));
}

TEST_F(PreflightTest, RunningGuardedAppsAreNamed) {
  ToolDouble pgrep("/usr/bin/pgrep", {.status = 1});
  pgrep.answerCall(2, {.out = "17\n", .status = 0});
  RelocationPlan guarded = plan();
  guarded.guardedAppPaths = {"/Applications/Ruhig.app", "/Applications/Läuft.app"};
  EXPECT_THAT(blockers(guarded), ElementsAre("Läuft.app läuft noch – bitte beenden."));
  EXPECT_EQ(pgrep.calls()[0][0], "-f");
}

TEST_F(PreflightTest, ProcessesWithOpenFilesBlockWithTheirMessage) {
  lsof.answer({.out = "p" + std::to_string(::getpid()) + "\ncunit\nar\nn" + source + "/daten\n"});
  PreflightResult result = Relocator::preflight(plan(), true);
  ASSERT_EQ(result.processes.size(), 1u);
  EXPECT_EQ(result.processes[0].pid, ::getpid());
  EXPECT_THAT(result.blockers, ElementsAre(ProcessDescriber::message(result.processes[0])));
  EXPECT_EQ(result.size, TreeSize{}) << "a blocker prevents the measurement";
}

TEST_F(PreflightTest, SandboxFolderAsSymlinkWarnsAndAsImageDoesNot) {
  for (const char* part : {"Containers", "Group Containers"}) {
    RelocationPlan sandbox = plan();
    sandbox.sourcePath = folder / (std::string("Library/") + part + "/com.beispiel");
    makeFolder(sandbox.sourcePath);
    EXPECT_THAT(
        Relocator::preflight(sandbox, false).warnings,
        Contains("Das ist der Ordner einer Sandbox-App. "
                 "Ein Symlink funktioniert dort meist NICHT – besser „Virtuelle Festplatte“ wählen."));
    sandbox.kind = RelocationKind::image;
    EXPECT_THAT(Relocator::preflight(sandbox, false).warnings, Not(Contains(HasSubstr("Sandbox"))));
  }
}

TEST_F(PreflightTest, BlockersPreventTheMeasurement) {
  writeFile(storage + "/Fotos", "");
  EXPECT_EQ(Relocator::preflight(plan(), true).size, TreeSize{});
}

TEST_F(PreflightTest, ImageOfExactlyTheNeededSizePassesOneByteLessBlocks) {
  RelocationPlan image = plan(RelocationKind::image);
  std::int64_t needed = Relocator::minimumImageSize(FileOps::treeSize(source, false, nullptr));
  image.imageSizeBytes = needed;
  EXPECT_THAT(Relocator::preflight(image, true).blockers, IsEmpty());
  image.imageSizeBytes = needed - 1;
  EXPECT_THAT(
      Relocator::preflight(image, true).blockers,
      ElementsAre("Die virtuelle Festplatte ist zu klein. Mindestens " + ByteFormat::string(needed) + "."));
}

TEST_F(PreflightTest, ASymlinkIgnoresTheImageSize) {
  RelocationPlan link = plan();
  link.imageSizeBytes = 0;
  EXPECT_THAT(Relocator::preflight(link, true).blockers, IsEmpty());
}

TEST_F(PreflightTest, UnreadableSubfolderBlocksAndLeavesTheSizeZero) {
  // a name that is too long to be joined: even root can't list it
  std::string deep = source;
  FileDescriptor at(::open(source.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  const std::string name(200, 'n');
  for (int level = 0; level < 25; ++level) {
    ASSERT_EQ(::mkdirat(at.get(), name.c_str(), 0755), 0);
    at = FileDescriptor(::openat(at.get(), name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    ASSERT_TRUE(at);
  }
  PreflightResult result = Relocator::preflight(plan(), true);
  EXPECT_THAT(result.blockers,
              ElementsAre("Der Ordner kann nicht vollständig gelesen werden (fehlende Berechtigung?)."));
  EXPECT_EQ(result.size, TreeSize{});
}

TEST_F(PreflightTest, FilesThatLieInTheCloudOnlyAreNamed) {
  writeFile(source + "/tief/wolke", "");
  Platform::datalessNameForTesting = "wolke";
  EXPECT_THAT(Relocator::preflight(plan(), true).blockers,
              ElementsAre("Nicht auf diesem Mac, sondern nur in der Cloud: " + source +
                          "/tief/wolke. Bitte zuerst laden."));
  writeFile(source + "/wolke", "");
  EXPECT_THAT(Relocator::preflight(plan(), true).blockers,
              ElementsAre(HasSubstr("/wolke (und 1 weitere). Bitte zuerst laden.")));
  Platform::datalessNameForTesting.clear();
  EXPECT_THAT(Relocator::preflight(plan(), true).blockers, IsEmpty());
}

TEST_F(PreflightTest, NamesThatAreOneAtTheTargetAreNamed) {
  writeFile(source + "/tief/B\u00fccher", "");
  writeFile(source + "/tief/BU\u0308CHER", "");
  makeFolder(source + "/TIEF2");
  makeFolder(source + "/tief/tief2");
  for (RelocationKind kind : allRelocationKinds) {
    EXPECT_THAT(Relocator::preflight(plan(kind), true).blockers, IsEmpty());
    Platform::foldsNamesForTesting = true;
    PreflightResult result = Relocator::preflight(plan(kind), true);
    Platform::foldsNamesForTesting.reset();
    EXPECT_THAT(
        result.blockers,
        ElementsAre(testing::AllOf(
            HasSubstr("Am Ziel zählt Groß- und Kleinschreibung nicht; dort wären das dieselben Namen: "),
            HasSubstr("B\u00fccher"), HasSubstr("BU\u0308CHER"))));
    EXPECT_TRUE(result.isMeasured);
  }
}

TEST_F(PreflightTest, NamesThatLeaveNoRoomForTheirMarks) {
  RelocationPlan longSource = plan();
  longSource.sourcePath = folder / std::string(230, 's');
  makeFolder(longSource.sourcePath);
  EXPECT_THAT(blockers(longSource), IsEmpty());
  longSource.sourcePath = folder / std::string(231, 's');
  makeFolder(longSource.sourcePath);
  EXPECT_THAT(
      blockers(longSource),
      ElementsAre(
          "Der Name des Ordners ist zu lang: Das Original könnte nicht umbenannt daneben liegen bleiben."));

  for (const auto& [kind, longest] :
       {std::pair(RelocationKind::symlink, 196), std::pair(RelocationKind::image, 183)}) {
    RelocationPlan longName = plan(kind);
    longName.name = std::string(longest, 'n');
    EXPECT_THAT(blockers(longName), IsEmpty());
    Relocation relocation;
    relocation.storagePath = longName.storagePath();
    RegistryStore::writeSidecar(relocation);
    EXPECT_TRUE(exists(relocation.sidecarPath())) << "the longest still gets its sidecar";
    longName.name += "n";
    EXPECT_THAT(blockers(longName), ElementsAre("Der Name ist zu lang. Bitte einen kürzeren wählen."));
  }
}

TEST(ImageSize, MarginIsATenthAndOneGigabyte) {
  EXPECT_EQ(Relocator::minimumImageSize({}), gigabyte);
  EXPECT_EQ(Relocator::minimumImageSize({.allocatedBytes = 10 * gigabyte}), 12 * gigabyte);
  EXPECT_EQ(Relocator::minimumImageSize({.allocatedBytes = 15}), gigabyte + 16) << "cut, not rounded";
}

TEST(ImageSize, SuggestionIsTheLargerOfTwoRoundedUpToGigabytes) {
  EXPECT_EQ(Relocator::suggestedImageSize({}), 20 * gigabyte);
  EXPECT_EQ(Relocator::suggestedImageSize({.allocatedBytes = 1}), 21 * gigabyte);
  EXPECT_EQ(Relocator::suggestedImageSize({.allocatedBytes = 50 * gigabyte}), 100 * gigabyte);
  EXPECT_EQ(Relocator::suggestedImageSize({.allocatedBytes = 50 * gigabyte + 1}), 101 * gigabyte);
}

class GateTest : public PreflightTest {
 protected:
  GateTest() {
    relocation.sourcePath = source;
    before = Verifier::fingerprint(source, false);
  }

  std::string gateError() {
    try {
      Relocator::finalGate(relocation, before, context);
    } catch (const FernwahrungError& error) {
      return error.what();
    }
    return "";
  }

  Relocation relocation;
  Verifier::Fingerprint before;
  OperationContext context;
};

TEST_F(GateTest, UnchangedFolderPasses) {
  EXPECT_EQ(gateError(), "");
}

TEST_F(GateTest, ChangedBytesNewFolderAndNewTimeAreNoticed) {
  const std::string changed =
      "Die Daten wurden während des Kopierens verändert (läuft die App doch?). "
      "Vorgang wird sicher zurückgerollt.";
  makeFolder(source + "/neu");
  EXPECT_EQ(gateError(), changed);
  ::rmdir((source + "/neu").c_str());
  EXPECT_EQ(gateError(), "");
  timespec times[2] = {{0, UTIME_OMIT}, {4'000'000'000, 5}};
  ASSERT_EQ(::utimensat(AT_FDCWD, (source + "/daten").c_str(), times, 0), 0);
  EXPECT_EQ(gateError(), changed);
}

TEST_F(GateTest, RunningAppIsNamedBeforeOpenFiles) {
  ToolDouble pgrep("/usr/bin/pgrep", {.out = "3\n"});
  relocation.guardedAppPaths = {"/Applications/A.app", "/Applications/B.app"};
  EXPECT_EQ(gateError(), "Bitte zuerst beenden: A.app, B.app");
}

TEST_F(GateTest, ProcessesWithOpenFilesAreListed) {
  lsof.answer({.out = "p" + std::to_string(::getpid()) + "\ncunit\nar\nn" + source + "\n"});
  auto processes = ProcessDescriber::blockingProcesses(source);
  ASSERT_EQ(processes.size(), 1u);
  EXPECT_EQ(gateError(), "Bitte zuerst beenden – diese Programme haben noch Dateien offen:\n• " +
                             ProcessDescriber::message(processes[0]));
}

}  // namespace
}  // namespace fernwahrung
