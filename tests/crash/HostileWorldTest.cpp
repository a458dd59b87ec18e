// Full disks, drives pulled away, files that can't be read, trees that change: nothing is lost, and a
// sentence says why.
#include "Scene.h"
#include "support/Files.h"
#include "support/InjectFault.h"
#include "support/Program.h"
#include "support/ToolDouble.h"

#include "Engine/Relocate.h"
#include "Engine/Restore.h"
#include "Engine/Rollback.h"
#include "Foundation/PathString.h"
#include "Storage/DiskImage.h"
#include "Storage/FileOps.h"

#include <fcntl.h>
#include <filesystem>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fernwahrung {
namespace {

using testing::AnyOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

class HostileWorld : public Scene {
 protected:
  /// Rolls back what a failed rollback left open, as the user does once the cause is gone.
  void rollBackOpenJournals() {
    for (Journal& journal : Journal::unfinished()) {
      EXPECT_EQ(errorOf([&] { Relocator::rollback(journal); }), "");
    }
  }
  std::vector<std::string> relocateCommand(RelocationKind kind) const {
    return {FERNWAHRUNG_HELPER, "relocate", "--yes",        "--source",  source, "--storage",
            drive->path(),      "--kind",   rawValue(kind), "--size-gb", "2",    "--no-spotlight"};
  }

  /// "Bibliothek", "privat" and "Laufwerk" in a folder of uid 65534, whose path is returned. The programs are
  /// copied to "bin" beside it: that user may not be able to look into the folder in which they were built.
  std::string makeSourceOfAnOrdinaryUser(const TempFolder& share) {
    EXPECT_EQ(::chmod(share.path().c_str(), 0777), 0);
    const std::string user = share / "Benutzer";
    source = user + "/Bibliothek";
    writeFile(source + "/offen/a", "a");
    writeFile(source + "/zu/b", "b");
    makeFolder(user + "/privat");
    makeFolder(user + "/Laufwerk");
    mustRun({"chown", "-R", "65534:65534", user});
    before = TreeManifest::of(source);
    copyProgramWithTools(FERNWAHRUNG_HELPER, share / "bin");
    return user;
  }
  static ProgramResult runAsOrdinaryUser(const TempFolder& share, const std::vector<std::string>& arguments) {
    std::vector<std::string> argv{"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups",
                                  share / "bin/fernwahrung"};
    argv.insert(argv.end(), arguments.begin(), arguments.end());
    return runProgram(argv,
                      {.environment = {{"FERNWAHRUNG_HOME", share / "Benutzer/privat"}}, .folder = "/"});
  }
};

TEST_F(HostileWorld, DriveFullDuringTheCopy) {
  for (RelocationKind kind : allRelocationKinds) {
    removeEverything(source);
    makeSource();
    // an application fills the drive while the copy tool is at its beginning
    const std::string full = *mac / "voll";
    ToolDouble ditto("/usr/bin/ditto",
                     {.thenReal = true, .script = "while [ ! -e '" + full + "' ]; do sleep 0.02; done"});
    OperationContext filling(onProgress([&](const std::string& text) {
      if (exists(full) || !text.starts_with("Kopiere ")) return;
      drive->fill(1 << 20);
      writeFile(full, "");
    }));
    std::string error = errorOf([&] { Relocator::relocate(plan(kind), filling); });
    ASSERT_TRUE(exists(full));
    removeEverything(full);
    EXPECT_THAT(error, AnyOf(StartsWith("Kopieren fehlgeschlagen (Code "),
                             StartsWith("Prüfung fehlgeschlagen"), StartsWith("Lesefehler: "),
                             StartsWith("Die Kopie konnte nicht auf das Laufwerk geschrieben werden: ")))
        << rawValue(kind);
    EXPECT_EQ(sourceDifference(), "");
    drive->unfill();
    rollBackOpenJournals();
    expectAsBefore();
    removeEverything(*home / "journal");
  }
}

TEST_F(HostileWorld, DriveFullDuringCreate) {
  makeSource({.depth = 3, .manyFiles = 2, .bigFile = false});
  OperationContext filling(onProgress([&](const std::string& text) {
    if (text == "Lege virtuelle Festplatte an …") drive->fill(0);
  }));
  EXPECT_NE(errorOf([&] { Relocator::relocate(plan(RelocationKind::image), filling); }), "");
  drive->unfill();
  rollBackOpenJournals();
  expectAsBefore();
}

TEST_F(HostileWorld, InternalDiskFullWhileTheJournalIsSaved) {
  if (auto reason = ScratchDrive::unavailable(ScratchDrive::FileSystem::ext4)) GTEST_SKIP() << *reason;
  ScratchDrive internal({.bytes = 256LL << 20, .fileSystem = ScratchDrive::FileSystem::ext4});
  ScopedEnvironment privateFiles("FERNWAHRUNG_HOME", internal / "privat");
  for (RelocationKind kind : allRelocationKinds) {
    removeEverything(source);
    makeSource({.depth = 3, .manyFiles = 2, .attributes = false, .bigFile = false});
    OperationContext filling(onProgress([&](const std::string& text) {
      if (text == "Kopieren abgeschlossen") internal.fill(0);
    }));
    std::string error = errorOf([&] { Relocator::relocate(plan(kind), filling); });
    EXPECT_THAT(error, testing::AllOf(HasSubstr("/journal/"), HasSubstr("No space left on device")))
        << rawValue(kind);
    EXPECT_EQ(sourceDifference(), "");
    internal.unfill();
    rollBackOpenJournals();
    EXPECT_EQ(sourceDifference(), "");
    EXPECT_THAT(mountsBelow(internal / "privat"), IsEmpty());
    EXPECT_EQ(RegistryStore::load(), Registry{});
    EXPECT_THAT(Journal::unfinished(), IsEmpty());
    removeEverything(internal / "privat");
  }
}

TEST_F(HostileWorld, DrivePulledDuringTheCopyAndDuringTheComparison) {
  for (RelocationKind kind : allRelocationKinds) {
    for (const char* moment : {"Kopiere ", "Kopieren abgeschlossen"}) {
      SCOPED_TRACE(rawValue(kind) + " at " + moment);
      removeEverything(source);
      makeSource();
      bool pulled = false;
      OperationContext pulling(onProgress([&](const std::string& text) {
        if (pulled || !text.starts_with(moment)) return;
        drive->pull();
        pulled = true;
      }));
      EXPECT_NE(errorOf([&] { Relocator::relocate(plan(kind), pulling); }), "");
      ASSERT_TRUE(pulled);
      EXPECT_EQ(sourceDifference(), "");
      EXPECT_EQ(RegistryStore::load(), Registry{});
      drive->remount();
      rollBackOpenJournals();
      expectAsBefore();
      removeEverything(*home / "journal");
      removeEverything(plan(kind).storagePath());
    }
  }
}

TEST_F(HostileWorld, DrivePulledDuringTheWayBack) {
  for (RelocationKind kind : allRelocationKinds) {
    for (const char* moment : {"Kopiere ", "Kopieren abgeschlossen"}) {
      SCOPED_TRACE(rawValue(kind) + " at " + moment);
      removeEverything(source);
      for (const char* name : {"registry.json", "registry.json.bak"}) removeEverything(*home / name);
      makeSource();
      Relocation relocation = relocate(kind);
      bool pulled = false;
      OperationContext pulling(onProgress([&](const std::string& text) {
        if (pulled || !text.starts_with(moment)) return;
        drive->pull();
        pulled = true;
      }));
      const std::string error = errorOf([&] { Relocator::restore(relocation, pulling); });
      ASSERT_TRUE(pulled);
      if (error.empty()) {
        // all of it lay in memory still, and came back proved
        EXPECT_EQ(sourceDifference(), "");
        EXPECT_EQ(RegistryStore::load().relocations.at(0).state, RelocationState::restored);
        drive->remount();
        removeEverything(*relocation.originalBackupPath);
        removeEverything(relocation.storagePath);
        continue;
      }
      EXPECT_EQ(diff(before, TreeManifest::of(*relocation.originalBackupPath)), "");
      EXPECT_EQ(RegistryStore::load().relocations.at(0).state, RelocationState::active);
      drive->remount();
      rollBackOpenJournals();
      EXPECT_THAT(Journal::unfinished(), IsEmpty());
      if (kind == RelocationKind::image) {
        if (FileOps::isMountPoint(source)) DiskImage::detach(source);
        DiskImage::attach(relocation.storagePath, source, {.browsable = false, .readOnly = false});
      }
      std::string data = kind == RelocationKind::image ? source : relocation.storagePath;
      EXPECT_EQ(diff(before, TreeManifest::of(data)), "") << "the storage was never changed";
      EXPECT_EQ(besideSource(),
                std::vector<std::string>{PathString::lastComponent(*relocation.originalBackupPath)});
      if (kind == RelocationKind::image) DiskImage::detach(source);
      removeEverything(*relocation.originalBackupPath);
      removeEverything(relocation.storagePath);
    }
  }
}

TEST_F(HostileWorld, ReadErrorInTheSourceWhileCopyingAndComparing) {
  if (auto reason = InjectFault::unavailable()) GTEST_SKIP() << *reason;
  makeSource();
  for (RelocationKind kind : allRelocationKinds) {
    std::string file = source + "/kaputt";
    writeFile(file, std::string(300'000, 'k'));
    before = TreeManifest::of(source);
    // the copy tool meets the error first
    ProgramResult copying =
        InjectFault::run(relocateCommand(kind),
                         {.calls = "read,pread64,copy_file_range,ioctl", .error = "EIO", .paths = {file}});
    EXPECT_EQ(copying.status, 1);
    EXPECT_THAT(copying.err, HasSubstr("Kopieren fehlgeschlagen (Code 1):\n"));
    EXPECT_EQ(sourceDifference(), "");
    rollBackOpenJournals();
    expectAsBefore();
    // the comparison reads the copy's side
    std::string copy = kind == RelocationKind::symlink ? plan(kind).storagePath() + "/kaputt" : "";
    if (!copy.empty()) {
      ProgramResult comparing =
          InjectFault::run(relocateCommand(kind), {.calls = "read", .error = "EIO", .paths = {copy}});
      EXPECT_EQ(comparing.status, 1);
      EXPECT_THAT(comparing.err, HasSubstr("Lesefehler: " + copy + " (Input/output error)"));
      EXPECT_EQ(sourceDifference(), "");
      rollBackOpenJournals();  // the way to a Trash on another volume reads the file as well
      expectAsBefore();
    }
  }
}

TEST_F(HostileWorld, SourceLosesItsReadPermissionHalfWay) {
  // an ordinary user's folder: root reads everything
  TempFolder share;
  const std::string user = makeSourceOfAnOrdinaryUser(share);
  ::chmod((source + "/zu").c_str(), 0);
  ProgramResult result = runAsOrdinaryUser(
      share, {"relocate", "--yes", "--kind", "symlink", "--source", source, "--storage", user + "/Laufwerk"});
  EXPECT_EQ(result.status, 4);
  EXPECT_THAT(result.err,
              HasSubstr("Der Ordner kann nicht vollständig gelesen werden (fehlende Berechtigung?)."));
  EXPECT_FALSE(exists(user + "/Laufwerk/Bibliothek"));
  ::chmod((source + "/zu").c_str(), 0755);
  EXPECT_EQ(sourceDifference(), "");
}

TEST_F(HostileWorld, SourceLosesItsReadPermissionDuringTheCopyAndDuringTheComparison) {
  TempFolder share;
  const std::string user = makeSourceOfAnOrdinaryUser(share);
  std::filesystem::remove(share / "bin/host-tools/ditto");
  struct Moment {
    std::string ditto;
    std::string sentence;
  };
  for (const auto& [script, sentence] :
       {Moment{"chmod 0 \"$1/zu\"\ncp -a \"$1/.\" \"$2\"\n", "Kopieren fehlgeschlagen (Code 1):\n"},
        Moment{"cp -a \"$1/.\" \"$2\"\nchmod 0 \"$1/zu\"\n",
               "Der Ordner kann nicht gelesen werden: " + source + "/zu (Permission denied)"}}) {
    writeFile(share / "bin/host-tools/ditto", "#!/bin/sh\n" + script, 0755);
    ProgramResult result = runAsOrdinaryUser(share, {"relocate", "--yes", "--kind", "symlink", "--source",
                                                     source, "--storage", user + "/Laufwerk"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr(sentence));
    EXPECT_THAT(result.err, testing::Not(HasSubstr("Zusätzlich")));
    ::chmod((source + "/zu").c_str(), 0755);
    EXPECT_EQ(sourceDifference(), "");
    EXPECT_THAT(namesIn(user + "/Laufwerk"), IsEmpty());
  }
}

TEST_F(HostileWorld, TrashOnAnotherVolumeTakesTheImageOnlyAfterAProof) {
  makeSource({.depth = 3, .manyFiles = 2});
  Relocation relocation = relocate(RelocationKind::image);
  DiskImage::detach(source);
  TreeManifest image = TreeManifest::of(relocation.storagePath);

  // the copy tool claims success and copies nothing
  {
    ToolDouble ditto("/usr/bin/ditto");
    EXPECT_NE(errorOf([&] { FileOps::moveToTrash(relocation.storagePath); }), "");
    EXPECT_EQ(diff(image, TreeManifest::of(relocation.storagePath)), "");
  }
  // the trash has no room
  {
    ScratchDrive full({.bytes = 256LL << 20});
    full.fill(1 << 20);
    ScopedEnvironment privateFiles("FERNWAHRUNG_HOME", full.path());
    EXPECT_NE(errorOf([&] { FileOps::moveToTrash(relocation.storagePath); }), "");
    EXPECT_EQ(diff(image, TreeManifest::of(relocation.storagePath)), "");
  }
  auto trashed = FileOps::moveToTrash(relocation.storagePath);
  ASSERT_TRUE(trashed);
  EXPECT_FALSE(exists(relocation.storagePath));
  EXPECT_EQ(diff(image, TreeManifest::of(*trashed), {.folderTimes = false}), "");
  EXPECT_LT(FileOps::treeSize(*trashed, false, nullptr).allocatedBytes, 1'000'000'000)
      << "the holes stay holes";
}

TEST_F(HostileWorld, PipesAndSocketsAreNamedAndStopTheOperation) {
  makeSource({.depth = 2, .manyFiles = 1, .bigFile = false});
  ASSERT_EQ(::mkfifo((source + "/rohr").c_str(), 0600), 0);
  EXPECT_THAT(errorOf([&] { relocate(RelocationKind::symlink); }),
              HasSubstr("Fehlt in der Kopie: " + plan(RelocationKind::symlink).storagePath() + "/rohr"));
  EXPECT_TRUE(exists(source + "/rohr"));
  EXPECT_THAT(RegistryStore::load().relocations, IsEmpty());
}

}  // namespace
}  // namespace fernwahrung
