// Undoing at a later time: what the user and other operations did in between is respected, and the data never
// loses its last place.
#include "Scene.h"
#include "support/Files.h"
#include "support/ToolDouble.h"

#include "Engine/FaultHook.h"
#include "Engine/Relocate.h"
#include "Engine/Restore.h"
#include "Engine/Rollback.h"
#include "Foundation/Clock.h"
#include "Foundation/PathString.h"
#include "Storage/DirectoryState.h"
#include "Storage/DiskImage.h"
#include "Storage/FileOps.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fernwahrung {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr DiskImage::AttachOptions hidden{.browsable = false, .readOnly = false};

class RollbackTest : public Scene {
 protected:
  /// The journal of a finished offloading as it is when the program dies before closing it.
  Journal unclosed(OperationKind kind = OperationKind::relocate) const {
    Journal journal = closedJournal(kind);
    journal.finished = false;
    journal.finishedAt.reset();
    journal.save();
    removeEverything(*home / "journal/erledigt");
    return journal;
  }
  static std::string rollBack(const Journal& journal) {
    return errorOf([&] { Relocator::rollbackUnfinished(journal.id); });
  }
  /// The offloaded data, read where the arrangement keeps it.
  std::string offloadedDifference(const Relocation& relocation) const {
    return diff(before,
                TreeManifest::of(relocation.kind == RelocationKind::image ? source : relocation.storagePath));
  }
  /// A journal of an operation on an image that is mounted at the source, as a change of the image writes it.
  Journal imageJournal(OperationKind kind, const Relocation& relocation,
                       std::vector<std::string> steps) const {
    Journal journal(kind, relocation);
    journal.completedSteps = std::move(steps);
    journal.save();
    removeEverything(*home / "journal/erledigt");
    return journal;
  }
};

TEST_F(RollbackTest, UndoesAnOffloadingThatDiedBeforeItsEndWasWrittenDown) {
  for (RelocationKind kind : allRelocationKinds) {
    SCOPED_TRACE(rawValue(kind));
    removeEverything(source);
    makeSource({.depth = 3, .manyFiles = 2});
    Relocation relocation = relocate(kind);
    EXPECT_EQ(rollBack(unclosed()), "");
    expectAsBefore();
    EXPECT_THAT(namesIn(drive->path()), IsEmpty()) << "neither the copy nor its sidecar";
    EXPECT_THAT(inTrash(PathString::lastComponent(relocation.storagePath)), SizeIs(1));
    EXPECT_THAT(inTrash(PathString::lastComponent(relocation.sidecarPath())), SizeIs(1));
    removeEverything(*home / "journal");
    removeEverything(*home / "Papierkorb");
  }
}

TEST_F(RollbackTest, WithoutTheOriginalTheOnlyCopyStaysInUse) {
  for (RelocationKind kind : allRelocationKinds) {
    SCOPED_TRACE(rawValue(kind));
    makeSource({.depth = 3, .manyFiles = 2});
    Relocation relocation = relocate(kind);
    Journal journal = unclosed();
    Registry registry = RegistryStore::load();
    ASSERT_TRUE(FileOps::moveToTrash(*relocation.originalBackupPath));

    EXPECT_THAT(rollBack(journal),
                HasSubstr("Das Original ist nicht mehr da: " + *relocation.originalBackupPath));
    EXPECT_EQ(offloadedDifference(relocation), "");
    EXPECT_EQ(FileOps::isMountPoint(source), kind == RelocationKind::image);
    EXPECT_EQ(RegistryStore::load(), registry);
    EXPECT_THAT(inTrash(PathString::lastComponent(relocation.storagePath)), IsEmpty());
    EXPECT_THAT(Journal::unfinished(), SizeIs(1));

    if (kind == RelocationKind::image) {
      // not mounted, the locked mount point alone must not be taken for the original
      DiskImage::detach(source);
      EXPECT_THAT(rollBack(journal), HasSubstr("Das Original ist nicht mehr da: "));
      EXPECT_TRUE(FileOps::isLocked(source));
      EXPECT_TRUE(exists(relocation.storagePath));
      EXPECT_EQ(RegistryStore::load(), registry);
      FileOps::setLocked(source, false);
    }
    removeEverything(source);
    for (const char* name : {"journal", "Papierkorb", "registry.json", "registry.json.bak"}) {
      removeEverything(*home / name);
    }
  }
}

TEST_F(RollbackTest, OriginalThatIsBackAlreadyLetsTheCopyGo) {
  makeSource({.depth = 3, .manyFiles = 2});
  Relocation relocation = relocate(RelocationKind::image);
  Journal journal = unclosed();
  // an earlier try got as far as the original
  DiskImage::detach(source);
  FileOps::setLocked(source, false);
  ASSERT_TRUE(FileOps::removeEmptyDirectory(source));
  FileOps::renameExclusive(*relocation.originalBackupPath, source);
  EXPECT_EQ(rollBack(journal), "");
  expectAsBefore();
  EXPECT_FALSE(exists(relocation.storagePath));
}

TEST_F(RollbackTest, FolderThatTheUserHadLockedIsTheOriginal) {
  makeSource({.depth = 3, .manyFiles = 2, .attributes = false});
  FileOps::setLocked(source, true);
  std::string error = errorOf([&] { relocate(RelocationKind::image); });
  EXPECT_THAT(error, HasSubstr("Umbenennen fehlgeschlagen: "));
  EXPECT_THAT(error, testing::Not(HasSubstr("Zusätzlich")));
  EXPECT_TRUE(FileOps::isLocked(source));
  EXPECT_THAT(inTrash(PathString::lastComponent(plan(RelocationKind::image).storagePath())), SizeIs(1));
  FileOps::setLocked(source, false);
  expectAsBefore();
}

TEST_F(RollbackTest, LaterOffloadingOfTheSameFolderOrToTheSameStorageIsLeftAlone) {
  makeSource({.depth = 3, .manyFiles = 2});
  Relocation relocation = relocate(RelocationKind::image);
  Journal older = closedJournal(OperationKind::relocate);
  older.id = Uuid::random();
  older.relocation.id = Uuid::random();
  older.finished = false;
  Registry registry = RegistryStore::load();

  Journal sameFolder = older;
  sameFolder.relocation.storagePath = drive->path() + "/anderswo.sparsebundle";
  sameFolder.paths["image"] = sameFolder.relocation.storagePath;
  Journal sameStorage = older;
  sameStorage.relocation.sourcePath = *mac / "anderer Ordner";
  makeFolder(sameStorage.relocation.sourcePath);
  sameStorage.paths.erase("backup");
  for (const Journal& journal : {sameFolder, sameStorage}) {
    journal.save();
    EXPECT_THAT(rollBack(journal), HasSubstr("gehört inzwischen zur Fernwahrung „Große Bibliothek“"));
    EXPECT_EQ(offloadedDifference(relocation), "");
    EXPECT_TRUE(FileOps::isMountPoint(source));
    EXPECT_EQ(RegistryStore::load(), registry);
    EXPECT_THAT(Journal::unfinished(), SizeIs(1));
    removeEverything(*home / "journal");
  }
  // an entry older than the operation is no obstacle
  older.relocation.id = relocation.id;
  older.save();
  EXPECT_EQ(rollBack(older), "");
  EXPECT_EQ(sourceDifference(), "");
}

TEST_F(RollbackTest, OperationThatIsClosedByNowIsNotUndone) {
  makeSource({.depth = 3, .manyFiles = 2});
  Relocation relocation = relocate(RelocationKind::symlink);
  Journal journal = closedJournal(OperationKind::relocate);
  EXPECT_EQ(rollBack(journal), "Dieser Vorgang ist inzwischen abgeschlossen; es gibt nichts zurückzurollen.");
  EXPECT_EQ(offloadedDifference(relocation), "");
  EXPECT_EQ(closedJournal(OperationKind::relocate), journal);
}

TEST_F(RollbackTest, LinkThatTheUserReplacedIsLeftAlone) {
  makeSource({.depth = 3, .manyFiles = 2});
  Relocation relocation = relocate(RelocationKind::symlink);
  Journal journal = unclosed();
  ASSERT_EQ(::unlink(source.c_str()), 0);
  ASSERT_EQ(::symlink("/anderswohin", source.c_str()), 0);
  EXPECT_EQ(rollBack(journal), "");
  EXPECT_EQ(FileOps::symlinkDestination(source), "/anderswohin");
  EXPECT_EQ(diff(before, TreeManifest::of(*relocation.originalBackupPath)), "");
  EXPECT_EQ(diff(before, TreeManifest::of(relocation.storagePath)), "") << "no original in its place";
}

TEST_F(RollbackTest, RealFolderInThePlaceOfTheLinkStaysAndTheOriginalBesideIt) {
  makeSource({.depth = 3, .manyFiles = 2});
  Relocation relocation = relocate(RelocationKind::symlink);
  Journal journal = unclosed();
  ASSERT_EQ(::unlink(source.c_str()), 0);
  writeFile(source + "/neu", "vom Benutzer");
  EXPECT_EQ(rollBack(journal), "");
  EXPECT_EQ(readFile(source + "/neu"), "vom Benutzer");
  EXPECT_EQ(diff(before, TreeManifest::of(*relocation.originalBackupPath)), "");
  auto trashed = inTrash(PathString::lastComponent(relocation.storagePath));
  ASSERT_THAT(trashed, SizeIs(1));
  EXPECT_EQ(diff(before, TreeManifest::of(trashed[0]), {.holes = true}), "");
}

TEST_F(RollbackTest, FileInTheMountPointStopsItAndLosesNothing) {
  makeSource({.depth = 3, .manyFiles = 2});
  Relocation relocation = relocate(RelocationKind::image);
  Journal journal = unclosed();
  DiskImage::detach(source);
  FileOps::setLocked(source, false);
  writeFile(source + "/verirrt", "eine App schrieb ins Leere");
  EXPECT_EQ(rollBack(journal), "Der neue Einhängepunkt ist nicht leer: " + source);
  EXPECT_EQ(readFile(source + "/verirrt"), "eine App schrieb ins Leere");
  EXPECT_EQ(diff(before, TreeManifest::of(*relocation.originalBackupPath)), "");
  EXPECT_TRUE(exists(relocation.storagePath));
  ASSERT_THAT(Journal::unfinished(), SizeIs(1));
  // and goes on once it is gone
  ASSERT_EQ(::unlink((source + "/verirrt").c_str()), 0);
  EXPECT_EQ(rollBack(journal), "");
  expectAsBefore();
}

TEST_F(RollbackTest, CopyThatIsAttachedSomewhereStaysAndTheRestIsUndone) {
  makeSource({.depth = 3, .manyFiles = 2});
  Relocation relocation = relocate(RelocationKind::image);
  Journal journal = unclosed();
  DiskImage::detach(source);
  TempFolder elsewhere;
  DiskImage::attach(relocation.storagePath, elsewhere.path(), hidden);
  EXPECT_EQ(rollBack(journal), "");
  EXPECT_EQ(sourceDifference(), "");
  EXPECT_EQ(diff(before, TreeManifest::of(elsewhere.path())), "");
  EXPECT_TRUE(exists(relocation.storagePath));
  EXPECT_THAT(Journal::unfinished(), IsEmpty());
  DiskImage::detach(elsewhere.path());
}

TEST_F(RollbackTest, TrashThatRefusesStopsItAndTheNextTryGoesOn) {
  for (RelocationKind kind : allRelocationKinds) {
    SCOPED_TRACE(rawValue(kind));
    removeEverything(source);
    makeSource({.depth = 3, .manyFiles = 2});
    Relocation relocation = relocate(kind);
    Journal journal = unclosed();
    writeFile(*home / "Papierkorb", "kein Ordner");
    EXPECT_NE(rollBack(journal), "");
    EXPECT_EQ(sourceDifference(), "") << "the original is back all the same";
    EXPECT_TRUE(exists(relocation.storagePath));
    EXPECT_THAT(Journal::unfinished(), SizeIs(1));
    removeEverything(*home / "Papierkorb");
    EXPECT_EQ(rollBack(journal), "");
    expectAsBefore();
    EXPECT_THAT(inTrash(PathString::lastComponent(relocation.storagePath)), SizeIs(1));
    removeEverything(*home / "journal");
    removeEverything(*home / "Papierkorb");
  }
}

TEST_F(RollbackTest, UnreadableListStopsItBeforeAnythingIsMoved) {
  makeSource({.depth = 3, .manyFiles = 2});
  Relocation relocation = relocate(RelocationKind::image);
  Journal journal = unclosed();
  const std::string registry = readFile(*home / "registry.json");
  removeEverything(*home / "registry.json.bak");
  writeFile(*home / "registry.json", "{");
  EXPECT_EQ(rollBack(journal), "Die Liste der Fernwahrungen ist beschädigt: " + (*home / "registry.json"));
  EXPECT_EQ(offloadedDifference(relocation), "");
  EXPECT_TRUE(FileOps::isMountPoint(source));
  ASSERT_THAT(Journal::unfinished(), SizeIs(1));
  writeFile(*home / "registry.json", registry);
  EXPECT_EQ(rollBack(journal), "");
  expectAsBefore();
}

TEST_F(RollbackTest, SidecarOfAnotherRelocationStays) {
  makeSource({.depth = 3, .manyFiles = 2});
  Relocation other;
  other.id = Uuid::random();
  other.name = "Frühere";
  other.createdAt = Clock::now();
  other.storagePath = plan(RelocationKind::symlink).storagePath();
  RegistryStore::writeSidecar(other);
  Relocator::failAfterStep = "verified";
  EXPECT_NE(errorOf([&] { relocate(RelocationKind::symlink); }), "");
  Relocator::failAfterStep.reset();
  EXPECT_TRUE(exists(other.sidecarPath()));
  expectAsBefore();
}

// The way back.

TEST_F(RollbackTest, WithoutTheStorageTheOnlyCopyStaysInItsPlace) {
  for (RelocationKind kind : allRelocationKinds) {
    SCOPED_TRACE(rawValue(kind));
    removeEverything(source);
    makeSource({.depth = 3, .manyFiles = 2});
    Relocation relocation = relocate(kind);
    Relocator::restore(relocation, context);
    Journal journal = unclosed(OperationKind::restore);
    Registry registry = RegistryStore::load();
    ASSERT_TRUE(FileOps::moveToTrash(relocation.storagePath));
    EXPECT_THAT(rollBack(journal),
                HasSubstr("Der Speicherort ist nicht erreichbar: " + relocation.storagePath));
    EXPECT_EQ(sourceDifference(), "");
    EXPECT_EQ(RegistryStore::load(), registry);
    EXPECT_THAT(Journal::unfinished(), SizeIs(1));
    removeEverything(*relocation.originalBackupPath);
    for (const char* name : {"journal", "registry.json", "registry.json.bak"}) removeEverything(*home / name);
  }
}

TEST_F(RollbackTest, MountPointThatNeverHadALockGetsNone) {
  makeSource({.depth = 3, .manyFiles = 2});
  Relocation relocation = relocate(RelocationKind::image);
  DiskImage::detach(source);
  FileOps::setLocked(source, false);
  Relocator::failAfterStep = "tempUnmounted";
  EXPECT_NE(errorOf([&] { Relocator::restore(relocation, context); }), "");
  Relocator::failAfterStep.reset();
  EXPECT_TRUE(FileOps::isDirectory(source));
  EXPECT_FALSE(FileOps::isLocked(source));
}

TEST_F(RollbackTest, MountPointThatWasMissingIsMadeWithItsLock) {
  makeSource({.depth = 3, .manyFiles = 2});
  Relocation relocation = relocate(RelocationKind::image);
  DiskImage::detach(source);
  FileOps::setLocked(source, false);
  ASSERT_TRUE(FileOps::removeEmptyDirectory(source));
  Relocator::failAfterStep = "copied";
  EXPECT_NE(errorOf([&] { Relocator::restore(relocation, context); }), "");
  Relocator::failAfterStep.reset();
  EXPECT_TRUE(FileOps::isLocked(source));
  DiskImage::attach(relocation.storagePath, source, hidden);
  EXPECT_EQ(sourceDifference(), "");
}

// Changes of an image and the protection of its mount point.

TEST_F(RollbackTest, ImageThatWasBeingChangedGivesWayToItsClone) {
  for (OperationKind kind : {OperationKind::resize, OperationKind::compact}) {
    removeEverything(source);
    makeSource({.depth = 3, .manyFiles = 2});
    Relocation relocation = relocate(RelocationKind::image);
    DiskImage::detach(source);
    Journal journal = imageJournal(kind, relocation, {"unmounted", "cloned", "changed"});
    const std::string clone = relocation.storagePath + ".sicherung";
    journal.record("clone", clone);
    FileOps::clone(relocation.storagePath, clone);
    DiskImage::attach(relocation.storagePath, source, hidden);
    writeFile(source + "/Schaden", "von der Änderung");

    EXPECT_EQ(rollBack(journal), "");
    EXPECT_TRUE(FileOps::isMountPoint(source));
    EXPECT_EQ(sourceDifference(), "") << "the state of the clone";
    EXPECT_FALSE(exists(clone));
    std::vector<std::string> faulty = namesIn(drive->path());
    std::erase_if(faulty,
                  [](const std::string& name) { return name.find(".fehlerhaft-") == std::string::npos; });
    EXPECT_THAT(
        faulty,
        ElementsAre(testing::MatchesRegex("Große Bibliothek\\.fehlerhaft-[0-9]{8}-[0-9]{6}\\.sparsebundle")));
    EXPECT_THAT(Journal::unfinished(), IsEmpty());
    EXPECT_THAT(log(), HasSubstr("Sicherheits-Klon zurückgespielt"));

    DiskImage::detach(source);
    FileOps::setLocked(source, false);
    for (const std::string& name : namesIn(drive->path())) removeEverything(*drive / name);
    removeEverything(*relocation.originalBackupPath);
    for (const char* name : {"journal", "registry.json", "registry.json.bak"}) removeEverything(*home / name);
  }
}

TEST_F(RollbackTest, ChangedImageThatWasProvedIsKeptAndMountedAgain) {
  makeSource({.depth = 3, .manyFiles = 2});
  Relocation relocation = relocate(RelocationKind::image);
  DiskImage::detach(source);
  Journal journal =
      imageJournal(OperationKind::resize, relocation, {"unmounted", "cloned", "changed", "fsVerified"});
  const std::string clone = relocation.storagePath + ".sicherung";
  journal.record("clone", clone);
  FileOps::clone(relocation.storagePath, clone);
  DiskImage::resize(relocation.storagePath, 3'000'000'000);
  EXPECT_EQ(rollBack(journal), "");
  EXPECT_TRUE(FileOps::isMountPoint(source));
  EXPECT_EQ(sourceDifference(), "");
  EXPECT_GT(DiskImage::capacityBytes(relocation.storagePath), 2'500'000'000);
  EXPECT_TRUE(exists(clone));
}

TEST_F(RollbackTest, ImageThatWasStillMountedBeforeItsChangeStaysSo) {
  makeSource({.depth = 3, .manyFiles = 2});
  Relocation relocation = relocate(RelocationKind::image);
  EXPECT_EQ(rollBack(imageJournal(OperationKind::compact, relocation, {})), "");
  EXPECT_TRUE(FileOps::isMountPoint(source));
  EXPECT_EQ(sourceDifference(), "");
}

TEST_F(RollbackTest, ProtectionMountsAgainOverAnEmptyFolderAndOverNothingElse) {
  makeSource({.depth = 3, .manyFiles = 2});
  Relocation relocation = relocate(RelocationKind::image);
  DiskImage::detach(source);
  EXPECT_EQ(rollBack(imageJournal(OperationKind::protect, relocation, {"unmounted"})), "");
  EXPECT_TRUE(FileOps::isMountPoint(source));
  EXPECT_EQ(sourceDifference(), "");

  DiskImage::detach(source);
  FileOps::setLocked(source, false);
  writeFile(source + "/darunter", "geschrieben ohne Laufwerk");
  EXPECT_EQ(rollBack(imageJournal(OperationKind::protect, relocation, {"unmounted"})), "");
  EXPECT_FALSE(FileOps::isMountPoint(source)) << "nothing gets covered";
  EXPECT_EQ(readFile(source + "/darunter"), "geschrieben ohne Laufwerk");
  EXPECT_THAT(Journal::unfinished(), IsEmpty());
}

TEST_F(RollbackTest, ProtectionLeavesAFolderUncoveredThatItCannotRead) {
  makeSource({.depth = 3, .manyFiles = 2});
  Relocation relocation = relocate(RelocationKind::image);
  DiskImage::detach(source);
  FileOps::readdirErrorForTesting = 13;
  EXPECT_EQ(rollBack(imageJournal(OperationKind::protect, relocation, {"unmounted"})), "");
  FileOps::readdirErrorForTesting.reset();
  EXPECT_FALSE(FileOps::isMountPoint(source));
  EXPECT_THAT(Journal::unfinished(), IsEmpty());
}

}  // namespace
}  // namespace fernwahrung
