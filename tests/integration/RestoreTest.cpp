#include "Scene.h"
#include "support/Files.h"
#include "support/InjectFault.h"
#include "support/Program.h"
#include "support/ToolDouble.h"

#include "Engine/Relocate.h"
#include "Engine/Restore.h"
#include "Engine/Rollback.h"
#include "Engine/Status.h"
#include "Foundation/ByteFormat.h"
#include "Foundation/FileDescriptor.h"
#include "Foundation/OperationLock.h"
#include "Foundation/PathString.h"
#include "Platform/FileChanges.h"
#include "Storage/DiskImage.h"
#include "Storage/FileOps.h"

#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <unistd.h>

namespace fernwahrung {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

class RestoreTest : public Scene {
 protected:
  Relocation offload(RelocationKind kind, const NastyTreeOptions& options = {}) {
    makeSource(options);
    relocate(kind);
    return RegistryStore::load().relocations.at(0);
  }
  std::string restoreError(const Relocation& relocation) {
    return errorOf([&] { Relocator::restore(relocation, context); });
  }
  /// The same with something that happens at the first progress text that begins so.
  std::string restoreErrorWhen(const Relocation& relocation, const std::string& begin,
                               const std::function<void()>& happens) {
    bool happened = false;
    OperationContext meddling(onProgress([&](const std::string& text) {
      if (happened || !text.starts_with(begin)) return;
      happened = true;
      happens();
    }));
    std::string error = errorOf([&] { Relocator::restore(relocation, meddling); });
    EXPECT_TRUE(happened) << begin;
    return error;
  }
  /// The data where the relocation keeps it, with all that a run which was rolled back must leave behind.
  void expectStillOffloaded(const Relocation& relocation) const {
    EXPECT_THAT(RegistryStore::load().relocations, ElementsAre(relocation));
    EXPECT_EQ(Relocator::status(relocation).health, RelocationStatus::Health::ok);
    EXPECT_EQ(FileOps::isSymlink(source), relocation.kind == RelocationKind::symlink);
    const bool isImage = relocation.kind == RelocationKind::image;
    EXPECT_EQ(diff(before, TreeManifest::of(isImage ? source : relocation.storagePath)), "");
    EXPECT_EQ(besideSource(),
              std::vector<std::string>{PathString::lastComponent(*relocation.originalBackupPath)})
        << "no staging folder";
    EXPECT_THAT(Journal::unfinished(), IsEmpty());
    EXPECT_THAT(mountsBelow(home->path()), IsEmpty());
  }
  /// Back to nothing, for the next kind.
  void forgetEverything() {
    for (const std::string& path : {home->path(), mac->path(), drive->path()}) {
      for (const std::string& name : namesIn(path)) removeEverything(path + "/" + name);
    }
  }
};

const NastyTreeOptions small{.depth = 3, .manyFiles = 2, .bigFile = false};

TEST_F(RestoreTest, MountedImageComesBackWhole) {
  Relocation relocation = offload(RelocationKind::image);
  EXPECT_EQ(restoreError(relocation), "");

  EXPECT_EQ(diff(before, TreeManifest::of(source), {.holes = true}), "");
  EXPECT_THAT(mountsBelow(source), IsEmpty());
  EXPECT_TRUE(exists(relocation.storagePath)) << "the external copy stays";
  EXPECT_TRUE(exists(*relocation.originalBackupPath)) << "the kept original stays";
  Relocation restored = relocation;
  restored.state = RelocationState::restored;
  EXPECT_THAT(RegistryStore::load().relocations, ElementsAre(restored));
  EXPECT_EQ(Relocator::status(restored).summary, "Zurückgeholt – Daten liegen wieder auf dem Mac");
  EXPECT_EQ(DiskImage::attachment(relocation.storagePath), std::nullopt);
  EXPECT_THAT(closedJournal(OperationKind::restore).completedSteps,
              ElementsAre("stagingCreated", "copied", "verified", "unmounted", "mountPointRemoved",
                          "stagingRenamed", "postChecked", "registered"));
  EXPECT_EQ(closedJournal(OperationKind::restore).path("wasMountedAtSource"), "ja");
  EXPECT_THAT(log(), HasSubstr("=== Zurückholen gestartet: " + relocation.storagePath + " → " + source));
  EXPECT_THAT(log(), HasSubstr("=== Zurückholen erfolgreich"));
}

TEST_F(RestoreTest, UnmountedImageIsMountedTemporarilyAndStaysUnmounted) {
  Relocation relocation = offload(RelocationKind::image);
  DiskImage::detach(source);
  EXPECT_EQ(restoreError(relocation), "");
  EXPECT_EQ(sourceDifference(), "");
  EXPECT_EQ(DiskImage::attachment(relocation.storagePath), std::nullopt);
  EXPECT_THAT(namesIn(*home / "mnt"), IsEmpty());
  EXPECT_THAT(closedJournal(OperationKind::restore).completedSteps,
              ElementsAre("tempMounted", "stagingCreated", "copied", "verified", "tempUnmounted",
                          "mountPointRemoved", "stagingRenamed", "postChecked", "registered"));
}

TEST_F(RestoreTest, SymlinkComesBackWhole) {
  Relocation relocation = offload(RelocationKind::symlink);
  EXPECT_EQ(restoreError(relocation), "");
  EXPECT_EQ(diff(before, TreeManifest::of(source), {.holes = true}), "");
  EXPECT_EQ(diff(before, TreeManifest::of(relocation.storagePath)), "") << "the external copy stays";
  EXPECT_EQ(RegistryStore::load().relocations.at(0).state, RelocationState::restored);
  EXPECT_THAT(
      closedJournal(OperationKind::restore).completedSteps,
      ElementsAre("stagingCreated", "copied", "verified", "symlinkRemoved", "stagingRenamed", "registered"));
  EXPECT_THAT(log(), HasSubstr("Symlink entfernt: " + source));
}

TEST_F(RestoreTest, SecondRestoreIsRefused) {
  Relocation relocation = offload(RelocationKind::symlink, small);
  ASSERT_EQ(restoreError(relocation), "");
  EXPECT_EQ(restoreError(RegistryStore::load().relocations.at(0)), "Diese Fernwahrung ist nicht aktiv.");
  EXPECT_EQ(sourceDifference(), "");
  EXPECT_THAT(Journal::finishedJournals(10), SizeIs(2));
}

TEST_F(RestoreTest, RestoredFolderCanBeOffloadedAgain) {
  Relocation relocation = offload(RelocationKind::image, small);
  ASSERT_EQ(restoreError(relocation), "");
  removeEverything(
      *relocation.originalBackupPath);  // its name tells seconds, and this one may still be running
  RelocationPlan again = plan(RelocationKind::image);
  again.name = "Noch einmal";
  Relocator::relocate(again, context);
  EXPECT_EQ(sourceDifference(), "");
  EXPECT_THAT(RegistryStore::load().relocations, SizeIs(2));
}

TEST_F(RestoreTest, MissingDrive) {
  Relocation image = offload(RelocationKind::image, small);
  DiskImage::detach(source);
  drive->pull();
  EXPECT_EQ(restoreError(image), "Die virtuelle Festplatte ist nicht erreichbar: " + image.storagePath);
  EXPECT_TRUE(FileOps::isLocked(source));
  EXPECT_THAT(besideSource(), SizeIs(1)) << "no staging folder";
  drive->remount();
  EXPECT_EQ(restoreError(image), "");
  EXPECT_EQ(sourceDifference(), "");
}

TEST_F(RestoreTest, MissingTargetOfASymlink) {
  Relocation link = offload(RelocationKind::symlink, small);
  drive->pull();
  EXPECT_EQ(restoreError(link), "Das Ziel ist nicht erreichbar: " + link.storagePath);
  drive->remount();
  EXPECT_EQ(restoreError(link), "");
}

TEST_F(RestoreTest, SymlinkChangedByHandRefusesAtOnce) {
  Relocation link = offload(RelocationKind::symlink, small);
  ASSERT_EQ(::unlink(source.c_str()), 0);
  ASSERT_EQ(::symlink("/anderswo", source.c_str()), 0);
  EXPECT_EQ(restoreError(link), "Der Symlink zeigt nicht (mehr) auf " + link.storagePath);
  EXPECT_EQ(FileOps::symlinkDestination(source), "/anderswo") << "a link of the user's is left alone";
  EXPECT_THAT(besideSource(), SizeIs(1)) << "no staging folder";
}

TEST_F(RestoreTest, FileWrittenUnderTheImageStopsBeforeAnythingIsRemoved) {
  Relocation image = offload(RelocationKind::image, small);
  bool written = false;
  OperationContext writing(onProgress([&](const std::string& text) {
    if (text != "Hänge virtuelle Festplatte aus …") return;
    // an application finds the folder unprotected and writes the moment the image is gone: done here by a
    // second view of the folder under the mount
    std::string parent = *mac / "unter dem Image";
    makeFolder(parent);
    mustRun({"mount", "--bind", mac->path(), parent});
    std::string covered = parent + "/" + PathString::lastComponent(source);
    FileOps::setLocked(covered, false);
    writeFile(covered + "/verirrt", "wichtig");
    mustRun({"umount", parent});
    ::rmdir(parent.c_str());
    written = true;
  }));
  std::string error = errorOf([&] { Relocator::restore(image, writing); });
  EXPECT_THAT(
      error,
      StartsWith("Der leere Einhängepunkt ist nicht leer – Abbruch, um nichts zu überschreiben: " + source +
                 "\n\nZusätzlich konnte der Ausgangszustand nicht automatisch wiederhergestellt werden:\n"
                 "Der Einhängepunkt ist nicht leer – Einhängen würde Daten verdecken: " +
                 source + "\n\nEs ist nichts gelöscht worden."));
  ASSERT_TRUE(written);
  EXPECT_EQ(readFile(source + "/verirrt"), "wichtig");
  EXPECT_FALSE(FileOps::isMountPoint(source));
  std::string staging = Journal::unfinished().at(0).path("staging").value();
  EXPECT_EQ(diff(before, TreeManifest::of(staging)), "") << "the proved copy stays until the way is free";
  EXPECT_EQ(RegistryStore::load().relocations.at(0), image);
  EXPECT_TRUE(exists(image.storagePath));
  EXPECT_TRUE(exists(*image.originalBackupPath));

  // the rollback could not mount over the file; once it is out of the way, it can
  ASSERT_THAT(Journal::unfinished(), SizeIs(1));
  ASSERT_EQ(::unlink((source + "/verirrt").c_str()), 0);
  Journal journal = Journal::unfinished()[0];
  EXPECT_EQ(errorOf([&] { Relocator::rollback(journal); }), "");
  EXPECT_TRUE(FileOps::isMountPoint(source));
  EXPECT_EQ(sourceDifference(), "");
  EXPECT_THAT(besideSource(), SizeIs(1));
}

TEST_F(RestoreTest, DataChangedDuringTheCopyRollsBack) {
  Relocation image = offload(RelocationKind::image);
  bool written = false;
  OperationContext writing(onProgress([&](const std::string& text) {
    if (!written && text.starts_with("Prüfung abgeschlossen")) {
      writeFile(source + "/neu", "von der App");
      written = true;
    }
  }));
  EXPECT_EQ(errorOf([&] { Relocator::restore(image, writing); }),
            "Die Daten wurden während des Kopierens verändert. Vorgang wird sicher zurückgerollt.");
  EXPECT_TRUE(FileOps::isMountPoint(source));
  EXPECT_EQ(readFile(source + "/neu"), "von der App");
  EXPECT_THAT(besideSource(), SizeIs(1));
}

TEST_F(RestoreTest, StorageBehindASymlinkChangedDuringTheCopyRollsBack) {
  Relocation link = offload(RelocationKind::symlink, small);
  EXPECT_EQ(restoreErrorWhen(link, "Prüfung abgeschlossen",
                             [&] { writeFile(link.storagePath + "/neu", "von der App"); }),
            "Die Daten wurden während des Kopierens verändert. Vorgang wird sicher zurückgerollt.");
  EXPECT_EQ(readFile(link.storagePath + "/neu"), "von der App");
  ::unlink((link.storagePath + "/neu").c_str());
  EXPECT_EQ(FileOps::symlinkDestination(source), link.storagePath);
  EXPECT_THAT(besideSource(), SizeIs(1));
}

TEST_F(RestoreTest, AnotherImageAtTheSourceIsNeverTakenForTheData) {
  Relocation relocation = offload(RelocationKind::image, small);
  DiskImage::detach(source);
  std::string other = *drive / "Andere.sparsebundle";
  DiskImage::create(other, 200'000'000, "Andere");
  DiskImage::attach(other, source, {.browsable = false, .readOnly = false});
  writeFile(source + "/fremd", "x");
  EXPECT_EQ(
      restoreError(relocation),
      "An diesem Ort ist ein anderes Laufwerk eingehängt, nicht die virtuelle Festplatte „Große Bibliothek“: " +
          source);
  EXPECT_EQ(readFile(source + "/fremd"), "x");
  EXPECT_THAT(besideSource(), SizeIs(1)) << "no staging folder";
  EXPECT_FALSE(closedJournal(OperationKind::restore).path("staging"));
  EXPECT_THAT(RegistryStore::load().relocations, ElementsAre(relocation));

  DiskImage::detach(source);
  EXPECT_EQ(restoreError(relocation), "");
  EXPECT_EQ(sourceDifference(), "");
}

TEST_F(RestoreTest, ImageLeftBehindByAKilledCheckComesBack) {
  Relocation relocation = offload(RelocationKind::image, small);
  DiskImage::detach(source);
  DiskImage::attach(relocation.storagePath, DiskImage::temporaryMountPoint(),
                    {.browsable = false, .readOnly = true});
  EXPECT_EQ(restoreError(relocation), "");
  EXPECT_EQ(sourceDifference(), "");
  EXPECT_THAT(namesIn(*home / "mnt"), IsEmpty());
}

TEST_F(RestoreTest, CopyToolThatLeavesAFileOutIsFoundOut) {
  for (RelocationKind kind : allRelocationKinds) {
    SCOPED_TRACE(rawValue(kind));
    Relocation relocation = offload(kind, small);
    std::string error;
    {
      // an image's entries are copied one by one, a folder as a whole
      ToolDouble ditto(
          "/usr/bin/ditto",
          {.thenReal = true,
           .script = "case \"$1\" in */einfach.txt) exit 0;; " + shellQuoted(relocation.storagePath) +
                     ") cp -a \"$1/.\" \"$2\"; rm \"$2/einfach.txt\"; exit 0;; esac"});
      error = restoreError(relocation);
    }
    EXPECT_THAT(error, HasSubstr("Fehlt in der Kopie: " + source + ".ZURUECK-"));
    EXPECT_THAT(error, HasSubstr("/einfach.txt"));
    expectStillOffloaded(relocation);
    EXPECT_EQ(closedJournal(OperationKind::restore).completedSteps.back(), "copied");
    forgetEverything();
  }
}

TEST_F(RestoreTest, ProgramThatUsesTheFolderStopsItBeforeTheCopyAndBeforeTheSwap) {
  for (RelocationKind kind : allRelocationKinds) {
    SCOPED_TRACE(rawValue(kind));
    Relocation relocation = offload(kind, small);
    auto open = [&] {
      return FileDescriptor(::open((source + "/einfach.txt").c_str(), O_RDONLY | O_CLOEXEC));
    };
    const std::string holders = "Bitte zuerst beenden – diese Programme haben noch Dateien offen:\n• ";
    {
      FileDescriptor file = open();
      EXPECT_THAT(restoreError(relocation), StartsWith(holders));
    }
    expectStillOffloaded(relocation);
    EXPECT_FALSE(closedJournal(OperationKind::restore).path("staging"));

    removeEverything(*home / "journal");
    FileDescriptor file;
    EXPECT_THAT(restoreErrorWhen(relocation, "Prüfung abgeschlossen", [&] { file = open(); }),
                StartsWith(holders));
    expectStillOffloaded(relocation);
    EXPECT_EQ(closedJournal(OperationKind::restore).completedSteps.back(), "verified");
    file = {};
    forgetEverything();
  }
}

TEST_F(RestoreTest, CancellingRollsBack) {
  for (RelocationKind kind : allRelocationKinds) {
    Relocation relocation = offload(kind);
    for (const char* moment : {"Kopiere ", "Kopieren abgeschlossen", "Prüfe "}) {
      SCOPED_TRACE(rawValue(kind) + " at " + moment);
      OperationContext* running = nullptr;
      OperationContext cancelling(onProgress([&](const std::string& text) {
        if (text.starts_with(moment)) running->cancel();
      }));
      running = &cancelling;
      EXPECT_EQ(errorOf([&] { Relocator::restore(relocation, cancelling); }), "Vorgang abgebrochen.");
      expectStillOffloaded(relocation);
    }
    EXPECT_EQ(restoreError(relocation), "");
    EXPECT_EQ(sourceDifference(), "");
    forgetEverything();
  }
}

TEST_F(RestoreTest, SignalDuringTheCopyCancelsTheCommand) {
  for (RelocationKind kind : allRelocationKinds) {
    SCOPED_TRACE(rawValue(kind));
    Relocation relocation = offload(kind, small);
    // this copy tool makes its caller get the signal
    TempFolder bin;
    const std::string program = copyProgramWithTools(FERNWAHRUNG_HELPER, bin.path());
    std::filesystem::remove(bin / "host-tools/ditto");
    writeFile(bin / "host-tools/ditto", "#!/bin/sh\nkill -INT $PPID\nexec sleep 600\n", 0755);
    const ProgramResult result = runProgram({program, "restore", relocation.id.text()});
    EXPECT_EQ(result.status, 130);
    EXPECT_EQ(result.err, "Vorgang abgebrochen.\n");
    EXPECT_EQ(result.out, "");
    expectStillOffloaded(relocation);
    forgetEverything();
  }
}

TEST_F(RestoreTest, HeldLockRefusesAtOnce) {
  Relocation relocation = offload(RelocationKind::symlink, small);
  removeEverything(*home / "journal");
  OperationLock held;
  EXPECT_EQ(restoreError(relocation),
            "Es läuft bereits ein anderer Vorgang (App oder Kommandozeile). Bitte warten.");
  EXPECT_FALSE(exists(*home / "journal"));
  EXPECT_EQ(FileOps::symlinkDestination(source), relocation.storagePath);
}

TEST_F(RestoreTest, WithoutAJournalNothingBegins) {
  Relocation relocation = offload(RelocationKind::image, small);
  removeEverything(*home / "journal");
  writeFile(*home / "journal", "im Weg");
  EXPECT_NE(restoreError(relocation), "");
  EXPECT_THAT(log(), testing::Not(HasSubstr("=== Zurückholen gestartet")));
  removeEverything(*home / "journal");
  expectStillOffloaded(relocation);
}

TEST_F(RestoreTest, EntryThatIsGoneFromTheListIsNoError) {
  Relocation relocation = offload(RelocationKind::symlink, small);
  RegistryStore::save({});
  removeEverything(*home / "registry.json.bak");
  removeEverything(*home / "registry.json");
  EXPECT_EQ(restoreError(relocation), "");
  EXPECT_EQ(sourceDifference(), "");
  EXPECT_TRUE(exists(*home / "registry.json")) << "saved all the same";
  EXPECT_EQ(RegistryStore::load(), Registry{});
}

/// Does something right after the core has changed what a test waits for.
class Meddler : public Platform::ChangeObserver {
 public:
  Meddler() { Platform::observeChanges(this); }
  ~Meddler() override { Platform::observeChanges(nullptr); }
  Meddler(const Meddler&) = delete;
  Meddler& operator=(const Meddler&) = delete;

  std::function<void(const std::string& path)> onUnlocked = [](const std::string&) {};
  std::function<void(const std::string& path)> onRenamed = [](const std::string&) {};

  void madeDirectory(const std::string&) override {}
  void removedDirectory(const std::string&) override {}
  void unlinked(const std::string&) override {}
  void madeLink(const std::string&, const std::string&) override {}
  void madeSymlink(const std::string&, const std::string&) override {}
  void renamed(const std::string&, const std::string& to) override { onRenamed(to); }
  void created(const std::string&) override {}
  void wrote(const std::string&, std::string_view) override {}
  void flushed(const std::string&) override {}
  void flushedDirectory(const std::string&) override {}
  void changedImmutable(const std::string& path, bool immutable) override {
    if (!immutable) onUnlocked(path);
  }
};

TEST_F(RestoreTest, ContentThatIsNotWhatItWasAfterTheSwapIsGivenBack) {
  Relocation relocation = offload(RelocationKind::image, small);
  std::string error;
  {
    Meddler meddler;
    meddler.onRenamed = [&](const std::string& path) {
      if (path == source) writeFile(source + "/zu viel", "x");
    };
    error = restoreError(relocation);
  }
  EXPECT_EQ(error, "Nach dem Zurückholen stimmt der Inhalt nicht.");
  expectStillOffloaded(relocation);
}

TEST_F(RestoreTest, FileWrittenTheMomentTheFolderIsUnlockedStopsItsRemoval) {
  Relocation relocation = offload(RelocationKind::image, small);
  DiskImage::detach(source);
  std::string error;
  {
    Meddler meddler;
    meddler.onUnlocked = [&](const std::string& path) {
      if (path == source) writeFile(source + "/verirrt", "wichtig");
    };
    error = restoreError(relocation);
  }
  EXPECT_EQ(error, "Leerer Einhängepunkt konnte nicht entfernt werden: " + source);
  EXPECT_EQ(readFile(source + "/verirrt"), "wichtig");
  EXPECT_THAT(RegistryStore::load().relocations, ElementsAre(relocation));
  EXPECT_THAT(Journal::unfinished(), IsEmpty());
  EXPECT_THAT(besideSource(), SizeIs(1));
}

TEST_F(RestoreTest, FolderThatTakesNoAttributesStopsIt) {
  Relocation relocation = offload(RelocationKind::image, small);
  std::string staging;
  std::string error = restoreErrorWhen(relocation, "Kopieren abgeschlossen", [&] {
    staging = Journal::unfinished().at(0).path("staging").value();
    ASSERT_TRUE(setImmutableFlag(staging, true));
  });
  EXPECT_THAT(error, StartsWith("Rechte und Eigenschaften des Ordners konnten nicht übertragen werden: " +
                                source + " → " + staging + " (Operation not permitted)"));
  ASSERT_TRUE(setImmutableFlag(staging, false));
  for (Journal& journal : Journal::unfinished()) Relocator::rollback(journal);
  expectStillOffloaded(relocation);
}

TEST_F(RestoreTest, FaultsOfTheSystemAreNamed) {
  if (auto reason = InjectFault::unavailable()) GTEST_SKIP() << *reason;
  Relocation relocation = offload(RelocationKind::symlink, small);
  const std::vector<std::string> command{FERNWAHRUNG_HELPER, "restore", relocation.id.text()};
  ProgramResult removing =
      InjectFault::run(command, {.calls = "unlink,unlinkat", .error = "EPERM", .paths = {source}});
  EXPECT_EQ(removing.status, 1);
  EXPECT_THAT(removing.err, EndsWith("Symlink konnte nicht entfernt werden: " + source + "\n"));
  expectStillOffloaded(relocation);

  ProgramResult flushing = InjectFault::run(command, {.calls = "syncfs", .error = "EIO"});
  EXPECT_EQ(flushing.status, 1);
  EXPECT_THAT(
      flushing.err,
      StartsWith("Die Kopie konnte nicht auf das Laufwerk geschrieben werden: " + source + ".ZURUECK-"));
  EXPECT_THAT(flushing.err, HasSubstr(" (Input/output error)"));
  expectStillOffloaded(relocation);
}

/// An internal disk that is too small for any way back.
class RestoreOnSmallDiskTest : public RestoreTest {
 protected:
  /// A registered link on the small disk.
  Relocation offloadFromSmallDisk() {
    smallDisk.emplace(
        ScratchDrive::Options{.bytes = 1LL << 30, .fileSystem = ScratchDrive::FileSystem::ext4});
    Relocation link = offload(RelocationKind::symlink, small);
    link.sourcePath = *smallDisk / "Bibliothek";
    EXPECT_EQ(::symlink(link.storagePath.c_str(), link.sourcePath.c_str()), 0);
    RegistryStore::update([&](Registry& registry) { *registry.find(link.id) = link; });
    return link;
  }

  std::optional<ScratchDrive> smallDisk;
};

TEST_F(RestoreOnSmallDiskTest, MarginIsATenthAndTwoGigabytes) {
  Relocation link = offloadFromSmallDisk();
  std::int64_t allocated = FileOps::treeSize(link.storagePath, false, nullptr).allocatedBytes;
  std::int64_t needed = static_cast<std::int64_t>(static_cast<double>(allocated) * 1.1) + 2'000'000'000;
  std::int64_t free = *FileOps::freeBytes(smallDisk->path());
  EXPECT_EQ(restoreError(link), fmt::format("Zu wenig Platz auf dem Mac: nötig ca. {}, frei {}.",
                                            ByteFormat::string(needed), ByteFormat::string(free)));
  EXPECT_EQ(FileOps::symlinkDestination(link.sourcePath), link.storagePath);
}

TEST_F(RestoreOnSmallDiskTest, UnknownFreeSpaceDoesNotStopIt) {
  if (auto reason = InjectFault::unavailable()) GTEST_SKIP() << *reason;
  Relocation link = offloadFromSmallDisk();
  ProgramResult result = InjectFault::run({FERNWAHRUNG_HELPER, "restore", link.id.text()},
                                          {.calls = "fstatfs", .error = "EIO", .paths = {smallDisk->path()}});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(RegistryStore::load().find(link.id)->state, RelocationState::restored);
  EXPECT_EQ(diff(before, TreeManifest::of(link.sourcePath)), "");
}

TEST_F(RestoreTest, ImageMountedElsewhereIsNotTouched) {
  Relocation image = offload(RelocationKind::image, small);
  DiskImage::detach(source);
  std::string elsewhere = *mac / "anderswo";
  makeFolder(elsewhere);
  DiskImage::attach(image.storagePath, elsewhere, {.browsable = false, .readOnly = false});
  EXPECT_THAT(restoreError(image),
              HasSubstr("Virtuelle Festplatte wurde nicht am erwarteten Ort eingehängt: "));
  EXPECT_TRUE(FileOps::isMountPoint(elsewhere));
  EXPECT_TRUE(FileOps::isLocked(source));
  EXPECT_EQ(RegistryStore::load().relocations.at(0), image);
  DiskImage::detach(elsewhere);
}

TEST_F(RestoreTest, RoundTripKeepsWhatItTook) {
  struct Row {
    const char* what;
    TreeComparison only;
  };
  TreeComparison none{.bytes = true,
                      .mode = false,
                      .owner = false,
                      .fileTimes = false,
                      .linkTimes = false,
                      .folderTimes = false,
                      .attributes = false,
                      .hardLinks = false,
                      .topFolder = true};
  auto with = [&](auto change) {
    TreeComparison comparison = none;
    change(comparison);
    return comparison;
  };
  const std::vector<Row> rows = {
      {"Namen, Arten, Bytes, Verweistexte", none},
      {"Rechte", with([](auto& c) { c.mode = true; })},
      {"Eigentümer", with([](auto& c) { c.owner = true; })},
      {"Änderungszeiten der Dateien", with([](auto& c) { c.fileTimes = true; })},
      {"Änderungszeiten der Verweise", with([](auto& c) { c.linkTimes = true; })},
      {"Änderungszeiten der Ordner", with([](auto& c) { c.folderTimes = true; })},
      {"erweiterte Attribute", with([](auto& c) { c.attributes = true; })},
      {"harte Verweise", with([](auto& c) { c.hardLinks = true; })},
      {"Löcher dünn besetzter Dateien", with([](auto& c) { c.holes = true; })},
  };
  std::string table = "Was eine Runde hin und zurück erhält:\n";
  for (RelocationKind kind : allRelocationKinds) {
    Relocation relocation = offload(kind);
    ASSERT_EQ(restoreError(relocation), "");
    TreeManifest after = TreeManifest::of(source);
    for (const Row& row : rows) {
      std::string difference = diff(before, after, row.only);
      EXPECT_EQ(difference, "") << row.what << " (" << title(kind) << ")";
      table += fmt::format("  {:<22} {:<36} {}\n", title(kind), row.what, difference.empty() ? "ja" : "nein");
    }
    removeEverything(source);
    removeEverything(*relocation.originalBackupPath);
    removeEverything(relocation.storagePath);
    for (const char* name : {"registry.json", "registry.json.bak"}) removeEverything(*home / name);
  }
  std::cout << table;
}

}  // namespace
}  // namespace fernwahrung
