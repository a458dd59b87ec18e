#include "Scene.h"
#include "support/Files.h"
#include "support/Program.h"

#include "Engine/Relocate.h"
#include "Engine/Restore.h"
#include "Engine/Rollback.h"
#include "Engine/Status.h"
#include "Foundation/ByteFormat.h"
#include "Foundation/PathString.h"
#include "Storage/DiskImage.h"
#include "Storage/FileOps.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <unistd.h>

namespace fernwahrung {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

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
  EXPECT_THAT(
      errorOf([&] { Relocator::restore(image, writing); }),
      HasSubstr("Der leere Einhängepunkt ist nicht leer – Abbruch, um nichts zu überschreiben: " + source));
  ASSERT_TRUE(written);
  EXPECT_EQ(readFile(source + "/verirrt"), "wichtig");
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

TEST_F(RestoreTest, MarginIsATenthAndTwoGigabytes) {
  Relocation link = offload(RelocationKind::symlink, small);
  // the internal disk is a small drive now
  std::int64_t allocated = FileOps::treeSize(link.storagePath, false, nullptr).allocatedBytes;
  std::int64_t needed = static_cast<std::int64_t>(static_cast<double>(allocated) * 1.1) + 2'000'000'000;
  ScratchDrive smallDisk({.bytes = 1LL << 30, .fileSystem = ScratchDrive::FileSystem::ext4});
  std::string moved = smallDisk / "Bibliothek";
  ASSERT_EQ(::symlink(link.storagePath.c_str(), moved.c_str()), 0);
  link.sourcePath = moved;
  std::int64_t free = *FileOps::freeBytes(smallDisk.path());
  EXPECT_EQ(restoreError(link), fmt::format("Zu wenig Platz auf dem Mac: nötig ca. {}, frei {}.",
                                            ByteFormat::string(needed), ByteFormat::string(free)));
  EXPECT_EQ(FileOps::symlinkDestination(moved), link.storagePath);
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
