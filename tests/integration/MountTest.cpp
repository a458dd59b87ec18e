#include "Scene.h"
#include "support/Files.h"
#include "support/Program.h"
#include "support/ReaddirFault.h"
#include "support/ToolDouble.h"

#include "Engine/Mount.h"
#include "Engine/Relocate.h"
#include "Engine/Status.h"
#include "Foundation/Clock.h"
#include "Foundation/FileDescriptor.h"
#include "Foundation/OperationLock.h"
#include "Foundation/PathString.h"
#include "Records/AppSettings.h"
#include "Records/MountPause.h"
#include "Storage/DirectoryState.h"
#include "Storage/DiskImage.h"
#include "Storage/FileOps.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fernwahrung {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;
using Kind = MountProblem::Kind;

class MountTest : public Scene {
 protected:
  Relocation offload(RelocationKind kind = RelocationKind::image) {
    makeSource({.depth = 3, .manyFiles = 2, .bigFile = false});
    relocate(kind);
    return RegistryStore::load().relocations.at(0);
  }
  Relocation offloadAndUnmount() {
    Relocation relocation = offload();
    Relocator::unmount(relocation);
    return relocation;
  }
  /// Another image, unmounted.
  Relocation offloadSecond() {
    RelocationPlan second = plan(RelocationKind::image);
    second.name = "Zweite";
    second.sourcePath = *mac / "Zweite";
    writeFile(second.sourcePath + "/a", "b");
    Relocation relocation = Relocator::relocate(second, context);
    Relocator::unmount(relocation);
    return relocation;
  }
  static std::string mountError(const Relocation& relocation) {
    return errorOf([&] { Relocator::mount(relocation); });
  }
  static void damage(const Relocation& relocation) {
    FileDescriptor band(::open((relocation.storagePath + "/bands/0").c_str(), O_WRONLY | O_CLOEXEC));
    std::string garbage(256 * 1024, '\xA5');
    ASSERT_EQ(::pwrite(band.get(), garbage.data(), garbage.size(), 8 * 1024),
              static_cast<ssize_t>(garbage.size()));
  }
};

TEST_F(MountTest, UnmountAndMountAreARoundTrip) {
  Relocation relocation = offloadAndUnmount();
  EXPECT_FALSE(FileOps::isMountPoint(source));
  EXPECT_EQ(Relocator::status(relocation).summary, "Nicht eingehängt");
  EXPECT_EQ(mountError(relocation), "");
  EXPECT_EQ(sourceDifference(), "");
  EXPECT_EQ(Relocator::status(relocation).summary, "Eingehängt");
  EXPECT_THAT(log(), HasSubstr("eingehängt: Große Bibliothek"));
}

TEST_F(MountTest, MountedRightlyAlreadyReturnsWithoutAttachingOrVerifying) {
  Relocation relocation = offload();
  ToolDouble hdiutil("/usr/bin/hdiutil", {.thenReal = true});
  ToolDouble diskutil("/usr/sbin/diskutil", {.status = 1});
  EXPECT_EQ(mountError(relocation), "");
  EXPECT_THAT(hdiutil.calls(), ElementsAre(ElementsAre("info", "-plist")));
  EXPECT_THAT(diskutil.calls(), IsEmpty());
}

TEST_F(MountTest, SecondUnmountAndThatOfASymlinkDoNothing) {
  Relocation relocation = offloadAndUnmount();
  EXPECT_EQ(errorOf([&] { Relocator::unmount(relocation); }), "");
  relocation.kind = RelocationKind::symlink;
  EXPECT_EQ(errorOf([&] { Relocator::unmount(relocation); }), "");
}

TEST_F(MountTest, UnmountRefusesWhileAProcessUsesTheFolder) {
  Relocation relocation = offload();
  {
    FileDescriptor open(::open((source + "/offen").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    std::string error = errorOf([&] { Relocator::unmount(relocation); });
    EXPECT_THAT(error, StartsWith("Bitte zuerst beenden – diese Programme haben noch Dateien offen:\n• "));
    EXPECT_THAT(error, HasSubstr("PID " + std::to_string(::getpid())));
    EXPECT_TRUE(FileOps::isMountPoint(source));
  }
  EXPECT_EQ(errorOf([&] { Relocator::unmount(relocation); }), "");
}

TEST_F(MountTest, MissingDriveCostsNoWait) {
  Relocation relocation = offloadAndUnmount();
  drive->pull();
  int sleeps = 0;
  Clock::Override clock([] { return Dates::fromUnixSeconds(1'800'000'000); }, [&](double) { ++sleeps; });
  EXPECT_EQ(mountError(relocation),
            "Externes Laufwerk fehlt (" + relocation.storagePath + "). App NICHT starten!");
  EXPECT_EQ(Relocator::mountAllDetailed(0),
            (std::vector<MountProblem>{
                {relocation.name, Kind::storageMissing,
                 "Externes Laufwerk fehlt (" + relocation.storagePath + "). App NICHT starten!"}}));
  EXPECT_EQ(sleeps, 0);
}

TEST_F(MountTest, WaitingEndsWhenTheDriveComes) {
  offloadAndUnmount();
  drive->pull();
  double now = 1'800'000'000;
  std::vector<double> sleeps;
  std::vector<MountProblem> problems;
  {
    Clock::Override clock([&] { return Dates::fromUnixSeconds(now); },
                          [&](double seconds) {
                            now += seconds;
                            sleeps.push_back(seconds);
                            if (sleeps.size() == 3) drive->remount();
                          });
    problems = Relocator::mountAllDetailed(60);
  }
  EXPECT_THAT(problems, IsEmpty());
  EXPECT_THAT(sleeps, ElementsAre(2.0, 2.0, 2.0));
  EXPECT_TRUE(FileOps::isMountPoint(source));
}

/// A clock that only sleeping moves on.
struct PatientClock {
  double now = 1'800'000'000;
  std::vector<double> sleeps;
  std::function<void()> onSleep = [] {};
  Clock::Override clock{[this] { return Dates::fromUnixSeconds(now); },
                        [this](double seconds) {
                          now += seconds;
                          sleeps.push_back(seconds);
                          onSleep();
                        }};
};

TEST_F(MountTest, WaitingEndsAtItsDeadlineAndKeepsNobodyElseFromWorking) {
  Relocation relocation = offloadAndUnmount();
  drive->pull();
  PatientClock clock;
  clock.onSleep = [] { EXPECT_NO_THROW(OperationLock()) << "the wait comes before the lock"; };
  std::vector<MountProblem> problems = Relocator::mountAllDetailed(60);
  EXPECT_THAT(clock.sleeps, testing::AllOf(SizeIs(30), testing::Each(2.0)));
  ASSERT_THAT(problems, SizeIs(1));
  EXPECT_EQ(problems[0].kind, Kind::storageMissing);
}

TEST_F(MountTest, HolderOfTheLockMayWaitForTheDrive) {
  Relocation relocation = offloadAndUnmount();
  drive->pull();
  PatientClock clock;
  const Date deadline = Clock::now() + std::chrono::seconds(60);
  {
    OperationLock held;
    EXPECT_THROW(Relocator::mountUnlocked(relocation, deadline), StorageMissingError);
    EXPECT_THAT(clock.sleeps, testing::AllOf(SizeIs(30), testing::Each(2.0)));

    clock.sleeps.clear();
    clock.onSleep = [&] {
      if (clock.sleeps.size() == 2) drive->remount();
    };
    EXPECT_EQ(errorOf([&] { Relocator::mountUnlocked(relocation, deadline + std::chrono::seconds(60)); }),
              "");
  }
  EXPECT_THAT(clock.sleeps, SizeIs(2));
  EXPECT_TRUE(FileOps::isMountPoint(source));
}

TEST_F(MountTest, NothingIsWaitedForWithoutAListAndForWhatIsMounted) {
  PatientClock clock;
  EXPECT_THAT(Relocator::mountAllDetailed(60), IsEmpty());
  writeFile(*home / "registry.json", "kaputt");
  EXPECT_THAT(Relocator::mountAll(60), ElementsAre("Liste der Fernwahrungen nicht lesbar."));
  removeEverything(*home / "registry.json");

  Relocation relocation = offload();
  FileOps::renameExclusive(relocation.storagePath, relocation.storagePath + ".weg");
  std::vector<MountProblem> problems = Relocator::mountAllDetailed(60);
  ASSERT_THAT(problems, SizeIs(1));
  EXPECT_EQ(problems[0].kind, Kind::storageMissing);
  EXPECT_THAT(clock.sleeps, IsEmpty());
  EXPECT_EQ(sourceDifference(), "");
}

TEST_F(MountTest, PausedRelocationIsNeitherWaitedForNorMounted) {
  Relocation relocation = offloadAndUnmount();
  MountPause::set(drive->path(), 3600, "Auswerfen");
  EXPECT_THAT(Relocator::mountAll(0), IsEmpty());
  EXPECT_FALSE(FileOps::isMountPoint(source));
  EXPECT_THAT(log(), HasSubstr("nicht eingehängt (pausiert: Auswerfen): " + relocation.name));

  drive->pull();
  bool slept = false;
  Date now = Clock::now();
  Clock::Override clock([&] { return now; }, [&](double) { slept = true; });
  EXPECT_THAT(Relocator::mountAll(60), IsEmpty());
  EXPECT_FALSE(slept) << "a paused relocation whose drive is missing is not waited for";
}

TEST_F(MountTest, RestoredRelocationIsSkipped) {
  Relocation relocation = offloadAndUnmount();
  RegistryStore::update(
      [](Registry& registry) { registry.relocations[0].state = RelocationState::restored; });
  EXPECT_THAT(Relocator::mountAllDetailed(0), IsEmpty());
  EXPECT_FALSE(FileOps::isMountPoint(source));
}

TEST_F(MountTest, BusyLockAndUnreadableListAreOneProblem) {
  offload();
  {
    OperationLock held;
    EXPECT_THAT(
        Relocator::mountAll(0),
        ElementsAre(
            "Übersprungen: Es läuft bereits ein anderer Vorgang (App oder Kommandozeile). Bitte warten."));
    EXPECT_EQ(Relocator::mountAllDetailed(0).at(0).kind, Kind::skipped);
  }
  ::unlink((*home / "registry.json.bak").c_str());
  writeFile(*home / "registry.json", "kaputt");
  EXPECT_EQ(Relocator::mountAllDetailed(0),
            (std::vector<MountProblem>{{"", Kind::other, "Liste der Fernwahrungen nicht lesbar."}}));
}

TEST_F(MountTest, SymlinkIsCheckedAndNeverRepaired) {
  Relocation relocation = offload(RelocationKind::symlink);
  EXPECT_EQ(mountError(relocation), "");
  ASSERT_EQ(::unlink(source.c_str()), 0);
  EXPECT_EQ(mountError(relocation), "Der Symlink fehlt oder zeigt woanders hin.");
  EXPECT_FALSE(exists(source));
}

TEST_F(MountTest, AnotherVolumeAtThePathIsNamedAndNotDetached) {
  Relocation relocation = offloadAndUnmount();
  ScratchDrive other({.bytes = 256LL << 20});
  mustRun({"mount", "--bind", other.path(), source});
  EXPECT_EQ(
      mountError(relocation),
      "An diesem Ort ist ein anderes Laufwerk eingehängt, nicht die virtuelle Festplatte „Große Bibliothek“: " +
          source);
  EXPECT_TRUE(FileOps::isMountPoint(source));
  mustRun({"umount", source});
}

TEST_F(MountTest, ImageAttachedElsewhereIsReported) {
  Relocation relocation = offloadAndUnmount();
  std::string elsewhere = *mac / "anderswo";
  makeFolder(elsewhere);
  DiskImage::attach(relocation.storagePath, elsewhere, {.browsable = false, .readOnly = false});
  EXPECT_EQ(mountError(relocation), "Bereits an anderer Stelle eingehängt: " + elsewhere);
  EXPECT_THAT(Relocator::status(relocation).details, ElementsAre("An anderer Stelle eingehängt."));
  DiskImage::detach(elsewhere);
}

TEST_F(MountTest, ImageOpenedElsewhereDuringTheRunIsNamedSo) {
  Relocation relocation = offloadAndUnmount();
  std::string elsewhere = *mac / "anderswo";
  makeFolder(elsewhere);
  // somebody opens it between the look at the attached images and the check
  ToolDouble hdiutil(
      "/usr/bin/hdiutil",
      {.thenReal = true,
       .script = "case \"$*\" in 'info -plist')\n" + shellQuoted(HostTools::locate("/usr/bin/hdiutil")) +
                 " \"$@\"\n" + shellQuoted(HostTools::locate("/usr/bin/hdiutil")) +
                 " attach -plist -mountpoint " + shellQuoted(elsewhere) + " " +
                 shellQuoted(relocation.storagePath) + " >/dev/null; exit 0;; esac"});
  EXPECT_EQ(mountError(relocation), "Bereits an anderer Stelle eingehängt: " + elsewhere);
  EXPECT_FALSE(FileOps::isMountPoint(source));
  DiskImage::detach(elsewhere);
}

TEST_F(MountTest, ImagesThatCouldNotBeReadOnceAreReadForTheNextRelocation) {
  Relocation first = offloadAndUnmount();
  Relocation second = offloadSecond();
  std::string elsewhere = *mac / "anderswo";
  makeFolder(elsewhere);
  DiskImage::attach(second.storagePath, elsewhere, {.browsable = false, .readOnly = false});
  FileOps::setLocked(second.sourcePath, false);
  ASSERT_EQ(::rmdir(second.sourcePath.c_str()), 0);
  ToolDouble hdiutil("/usr/bin/hdiutil", {.thenReal = true});
  hdiutil.answerCall(1, {.status = 1});
  EXPECT_THAT(Relocator::mountAll(0),
              ElementsAre("Zweite: Bereits an anderer Stelle eingehängt: " + elsewhere));
  EXPECT_EQ(hdiutil.calls().at(0), (std::vector<std::string>{"info", "-plist"}));
  EXPECT_TRUE(FileOps::isMountPoint(source));
  DiskImage::detach(elsewhere);
}

TEST_F(MountTest, OneLookAtTheAttachedImagesServesAllThatAreMounted) {
  offload();
  offloadSecond();
  Relocator::mountAll(0);
  ToolDouble hdiutil("/usr/bin/hdiutil", {.thenReal = true});
  EXPECT_THAT(Relocator::mountAll(0), IsEmpty());
  EXPECT_THAT(hdiutil.calls(), ElementsAre(ElementsAre("info", "-plist")));
}

TEST_F(MountTest, ImageLeftBehindByAKilledCheckIsTakenFromThere) {
  Relocation relocation = offloadAndUnmount();
  std::string left = DiskImage::temporaryMountPoint();
  DiskImage::attach(relocation.storagePath, left, {.browsable = false, .readOnly = true});
  EXPECT_EQ(mountError(relocation), "");
  EXPECT_EQ(sourceDifference(), "");
  EXPECT_THAT(namesIn(*home / "mnt"), IsEmpty());
}

TEST_F(MountTest, ImageThatAnUnfinishedOperationHasMountedStaysWhereItIs) {
  Relocation relocation = offloadAndUnmount();
  std::string used = DiskImage::temporaryMountPoint();
  Journal journal(OperationKind::restore, relocation);
  journal.record("tempMount", used);
  DiskImage::attach(relocation.storagePath, used, {.browsable = false, .readOnly = false});
  EXPECT_EQ(mountError(relocation), "Bereits an anderer Stelle eingehängt: " + used);
  EXPECT_TRUE(FileOps::isMountPoint(used));
  DiskImage::detach(used);
}

TEST_F(MountTest, MissingMountPoint) {
  Relocation relocation = offloadAndUnmount();
  FileOps::setLocked(source, false);
  ASSERT_EQ(::rmdir(source.c_str()), 0);
  EXPECT_EQ(mountError(relocation), "Einhängepunkt fehlt: " + source);
  ASSERT_EQ(::symlink(mac->path().c_str(), source.c_str()), 0);
  EXPECT_EQ(mountError(relocation), "Einhängepunkt fehlt: " + source);
}

TEST_F(MountTest, FolderWithOnlyNoiseIsClearedWhenUnlocked) {
  Relocation relocation = offloadAndUnmount();
  FileOps::setLocked(source, false);
  writeFile(source + "/.DS_Store", "Spur");
  EXPECT_EQ(mountError(relocation), "");
  EXPECT_EQ(sourceDifference(), "");
  EXPECT_THAT(inTrash(".DS_Store"), SizeIs(1));
}

TEST_F(MountTest, FolderWithOnlyNoiseStaysAsItIsWhenLocked) {
  Relocation relocation = offloadAndUnmount();
  FileOps::setLocked(source, false);
  writeFile(source + "/.DS_Store", "Spur");
  FileOps::setLocked(source, true);
  EXPECT_THROW(Relocator::mount(relocation), MountPointNotEmptyError);
  EXPECT_THAT(inTrash(".DS_Store"), IsEmpty());
}

TEST_F(MountTest, StrayDataIsDescribedAndNeverCovered) {
  Relocation relocation = offloadAndUnmount();
  FileOps::setLocked(source, false);
  writeFile(source + "/a/b", "12345");
  writeFile(source + "/.DS_Store", "");
  ToolDouble diskutil("/usr/sbin/diskutil", {.status = 1});
  auto problems = Relocator::mountAllDetailed(0);
  EXPECT_THAT(diskutil.calls(), IsEmpty()) << "no long check of what can't be mounted anyway";
  ASSERT_THAT(problems, SizeIs(1));
  EXPECT_EQ(problems[0].kind, Kind::notEmpty);
  EXPECT_EQ(
      problems[0].message,
      "Der Ordner ist nicht leer – eine App hat ohne virtuelle Festplatte geschrieben (2 Dateien, 5 Byte). "
      "Nicht eingehängt, damit nichts verdeckt wird. "
      "In der App fragt „Einhängen“, wie es weitergehen soll (beiseite legen oder einmischen).\n" +
          source);
  EXPECT_EQ(readFile(source + "/a/b"), "12345");
}

TEST_F(MountTest, UnreadableFolderIsNotAnEmptyOne) {
  Relocation relocation = offloadAndUnmount();
  {
    const ReaddirFault refused(EACCES);
    EXPECT_THROW(Relocator::mount(relocation), AccessDeniedError);
    EXPECT_EQ(Relocator::mountAllDetailed(0).at(0).kind, Kind::accessDenied);
  }
  {
    const ReaddirFault broken(EIO);
    EXPECT_EQ(mountError(relocation),
              "Der Einhängepunkt kann nicht gelesen werden (Input/output error): " + source);
  }
  EXPECT_FALSE(FileOps::isMountPoint(source));
}

TEST_F(MountTest, DamagedImageIsNotMountedWhileVerificationIsOn) {
  Relocation relocation = offloadAndUnmount();
  damage(relocation);
  const auto lastChange = [&] {
    return mustRun({"stat", "--format=%n %y %z %b %s", relocation.storagePath + "/bands/0",
                    relocation.storagePath + "/Info.plist"});
  };
  const std::string unharmed = lastChange();
  std::string error = mountError(relocation);
  EXPECT_THAT(
      error,
      StartsWith(
          "Das Dateisystem der virtuellen Festplatte ist beschädigt – NICHT eingehängt, damit die App nichts verschlimmert. "
          "Reparatur mit dem Festplattendienstprogramm („Erste Hilfe“) nach dem Öffnen von Große Bibliothek.sparsebundle.\n"
          "Dateisystem-Prüfung meldet Fehler:\n"));
  EXPECT_EQ(lastChange(), unharmed) << "a look changes nothing";
  EXPECT_FALSE(FileOps::isMountPoint(source));
  EXPECT_THAT(namesIn(*home / "mnt"), IsEmpty());
  EXPECT_EQ(DiskImage::attachment(relocation.storagePath), std::nullopt);
}

TEST_F(MountTest, DamagedImageIsLeftToTheSystemWhileVerificationIsOff) {
  Relocation relocation = offloadAndUnmount();
  damage(relocation);
  AppSettings settings;
  settings.verifyBeforeMount = false;
  settings.save();
  ToolDouble diskutil("/usr/sbin/diskutil", {.status = 1});
  EXPECT_EQ(mountError(relocation), "");
  EXPECT_TRUE(FileOps::isMountPoint(source));
  EXPECT_THAT(diskutil.calls(), IsEmpty());
}

TEST_F(MountTest, VerificationRunsByDefaultAndCanBeSwitchedOff) {
  Relocation relocation = offloadAndUnmount();
  ToolDouble diskutil("/usr/sbin/diskutil", {.thenReal = true});
  EXPECT_EQ(mountError(relocation), "");
  EXPECT_THAT(diskutil.calls(), ElementsAre(ElementsAre("verifyVolume", StartsWith(*home / "mnt/"))));

  Relocator::unmount(relocation);
  AppSettings settings;
  settings.verifyBeforeMount = false;
  settings.save();
  EXPECT_EQ(mountError(relocation), "");
  EXPECT_THAT(diskutil.calls(), SizeIs(1));
}

TEST_F(MountTest, DamagedSettingsMeanTheDefaults) {
  Relocation relocation = offloadAndUnmount();
  for (const char* content : {"", "{", "[]", "{\"verifyBeforeMount\": \"nein\"}"}) {
    writeFile(*home / "settings.json", content);
    ToolDouble diskutil("/usr/sbin/diskutil", {.thenReal = true});
    EXPECT_EQ(mountError(relocation), "");
    EXPECT_THAT(diskutil.calls(), SizeIs(1)) << content;
    Relocator::unmount(relocation);
  }
}

TEST_F(MountTest, SpotlightImageIsBrowsableAndIndexed) {
  Relocation relocation = offloadAndUnmount();
  relocation.spotlight = true;
  ToolDouble mdutil("/usr/bin/mdutil", {.status = 1});
  ToolDouble hdiutil("/usr/bin/hdiutil", {.thenReal = true});
  EXPECT_EQ(mountError(relocation), "");
  EXPECT_THAT(mdutil.calls(), ElementsAre(ElementsAre("-i", "on", source)));
  EXPECT_THAT(hdiutil.calls(), testing::Contains(ElementsAre("attach", "-plist", "-mountpoint", source,
                                                             "-noautoopen", relocation.storagePath)));
}

TEST_F(MountTest, ImageWithoutSpotlightIsHiddenAndNotIndexed) {
  Relocation relocation = offloadAndUnmount();
  relocation.spotlight = false;
  ToolDouble mdutil("/usr/bin/mdutil");
  ToolDouble hdiutil("/usr/bin/hdiutil", {.thenReal = true});
  EXPECT_EQ(mountError(relocation), "");
  EXPECT_THAT(mdutil.calls(), IsEmpty());
  EXPECT_THAT(hdiutil.calls(),
              testing::Contains(ElementsAre("attach", "-plist", "-mountpoint", source, "-noautoopen",
                                            "-nobrowse", relocation.storagePath)));
}

TEST_F(MountTest, OneProblemDoesNotStopTheOthers) {
  Relocation first = offloadAndUnmount();
  Relocation second = offloadSecond();
  FileOps::setLocked(source, false);
  ASSERT_EQ(::rmdir(source.c_str()), 0);

  EXPECT_THAT(Relocator::mountAll(0), ElementsAre("Große Bibliothek: Einhängepunkt fehlt: " + source));
  EXPECT_TRUE(FileOps::isMountPoint(second.sourcePath));
  EXPECT_THAT(log(), HasSubstr("Einhängen fehlgeschlagen: Große Bibliothek: Einhängepunkt fehlt: " + source));
}

}  // namespace
}  // namespace fernwahrung
