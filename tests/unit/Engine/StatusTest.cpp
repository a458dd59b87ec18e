#include "support/Files.h"
#include "support/ReaddirFault.h"
#include "support/TempFolder.h"
#include "support/ToolDouble.h"

#include "Engine/Status.h"
#include "Storage/FileOps.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fernwahrung {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Health = RelocationStatus::Health;

const char* const unlockedDetail = "Einhängepunkt ist nicht schreibgeschützt.";
const char* const accessDeniedDetail =
    "Zugriff verweigert: macOS erlaubt Fernwahrung nicht, diesen Ordner zu lesen. "
    "Ob er leer ist, ist unbekannt. "
    "Bitte den Festplattenvollzugriff für Fernwahrung freigeben.";

class StatusTest : public testing::Test {
 protected:
  StatusTest() {
    relocation.sourcePath = folder / "Quelle";
    relocation.storagePath = folder / "Laufwerk/Fotos.sparsebundle";
  }

  void makeStorage() { makeFolder(relocation.storagePath); }

  TempHome home;
  TempFolder folder;
  Relocation relocation;
  ToolDouble hdiutil{"/usr/bin/hdiutil", {.status = 1}};
};

TEST_F(StatusTest, RestoredIsFineWhateverTheDriveDoes) {
  relocation.state = RelocationState::restored;
  RelocationStatus status = Relocator::status(relocation);
  EXPECT_EQ(status.health, Health::ok);
  EXPECT_EQ(status.summary, "Zurückgeholt – Daten liegen wieder auf dem Mac");
  EXPECT_FALSE(status.storageAvailable);
  EXPECT_FALSE(status.mounted);
  makeStorage();
  EXPECT_TRUE(Relocator::status(relocation).storageAvailable);
}

TEST_F(StatusTest, MountedImageStartsNoProcess) {
  relocation.sourcePath = "/proc";
  RelocationStatus status = Relocator::status(relocation);
  EXPECT_EQ(status.health, Health::ok);
  EXPECT_EQ(status.summary, "Eingehängt");
  EXPECT_TRUE(status.mounted);
  EXPECT_FALSE(status.storageAvailable);
  EXPECT_THAT(status.details, IsEmpty());
  EXPECT_THAT(hdiutil.calls(), IsEmpty());
}

TEST_F(StatusTest, LockedEmptyMountPointWithTheDrivePresentHasNoDetails) {
  makeStorage();
  makeFolder(relocation.sourcePath);
  FileOps::setLocked(relocation.sourcePath, true);
  RelocationStatus status = Relocator::status(relocation);
  EXPECT_EQ(status.health, Health::error);
  EXPECT_EQ(status.summary, "Nicht eingehängt");
  EXPECT_THAT(status.details, IsEmpty());
  EXPECT_TRUE(status.locked);
  EXPECT_TRUE(status.storageAvailable);

  FileOps::setLocked(relocation.sourcePath, false);
  status = Relocator::status(relocation);
  EXPECT_THAT(status.details, ElementsAre(unlockedDetail));
  EXPECT_FALSE(status.locked);
}

TEST_F(StatusTest, MissingDriveIsNamedFirst) {
  makeFolder(relocation.sourcePath);
  RelocationStatus status = Relocator::status(relocation);
  EXPECT_EQ(status.summary, "Externes Laufwerk fehlt");
  EXPECT_THAT(status.details, ElementsAre("Externes Laufwerk fehlt.", unlockedDetail));
}

TEST_F(StatusTest, AttachedElsewhereIsSeen) {
  makeStorage();
  makeFolder(relocation.sourcePath);
  hdiutil.answer(
      {.out =
           "<plist version=\"1.0\"><dict><key>images</key><array><dict><key>image-path</key><string>" +
           relocation.storagePath +
           "</string><key>system-entities</key><array><dict><key>mount-point</key><string>/Volumes/Fotos</string></dict></array></dict></array></dict></plist>"});
  EXPECT_THAT(Relocator::status(relocation).details,
              ElementsAre("An anderer Stelle eingehängt.", unlockedDetail));
}

TEST_F(StatusTest, StrayDataIsAnnounced) {
  makeStorage();
  writeFile(relocation.sourcePath + "/.DS_Store", "");
  EXPECT_THAT(
      Relocator::status(relocation).details,
      ElementsAre("ACHTUNG: Der Ordner ist nicht leer – eine App hat ohne virtuelle Festplatte geschrieben. "
                  "„Einhängen“ fragt, wie es weitergehen soll.",
                  unlockedDetail));
}

TEST_F(StatusTest, RefusedReadingIsToldApartFromOtherReadErrors) {
  makeStorage();
  makeFolder(relocation.sourcePath);
  {
    const ReaddirFault refused(EPERM);
    RelocationStatus status = Relocator::status(relocation);
    EXPECT_THAT(status.details, ElementsAre(accessDeniedDetail, unlockedDetail));
    EXPECT_TRUE(status.accessDenied) << "the permission bits allow reading, so it is the privacy protection";
  }
  const ReaddirFault broken(EIO);
  RelocationStatus status = Relocator::status(relocation);
  EXPECT_THAT(status.details,
              ElementsAre("Der Ordner kann nicht gelesen werden (Input/output error).", unlockedDetail));
  EXPECT_FALSE(status.accessDenied);
}

TEST_F(StatusTest, FolderThatItsOwnBitsCloseIsNoMatterOfPrivacy) {
  makeStorage();
  makeFolder(relocation.sourcePath);
  ASSERT_EQ(::chmod(relocation.sourcePath.c_str(), 0300), 0);
  const ReaddirFault refused(EACCES);
  RelocationStatus status = Relocator::status(relocation);
  EXPECT_THAT(status.details, ElementsAre(accessDeniedDetail, unlockedDetail));
  EXPECT_FALSE(status.accessDenied);
}

TEST_F(StatusTest, MissingMountPointIsNotProtected) {
  makeStorage();
  EXPECT_THAT(Relocator::status(relocation).details, ElementsAre(unlockedDetail));
}

TEST_F(StatusTest, Symlinks) {
  relocation.kind = RelocationKind::symlink;
  relocation.storagePath = folder / "Laufwerk/Fotos";
  ASSERT_EQ(::symlink(relocation.storagePath.c_str(), relocation.sourcePath.c_str()), 0);
  RelocationStatus status = Relocator::status(relocation);
  EXPECT_EQ(status.health, Health::error);
  EXPECT_EQ(status.summary, "Externes Laufwerk fehlt");
  EXPECT_THAT(status.details, ElementsAre("App nicht starten, bis das Laufwerk verbunden ist."));
  EXPECT_FALSE(status.mounted);

  makeStorage();
  status = Relocator::status(relocation);
  EXPECT_EQ(status.health, Health::ok);
  EXPECT_EQ(status.summary, "Verlinkt");
  EXPECT_TRUE(status.mounted);
  EXPECT_TRUE(status.storageAvailable);

  // another spelling of the same place is not the same text
  ASSERT_EQ(::unlink(relocation.sourcePath.c_str()), 0);
  ASSERT_EQ(::symlink((relocation.storagePath + "/").c_str(), relocation.sourcePath.c_str()), 0);
  status = Relocator::status(relocation);
  EXPECT_EQ(status.health, Health::error);
  EXPECT_EQ(status.summary, "Symlink fehlt oder zeigt woanders hin");
  EXPECT_TRUE(status.storageAvailable);
  EXPECT_THAT(status.details, IsEmpty());
}

TEST_F(StatusTest, ManyRelocationsShareOneLookAtTheAttachedImages) {
  makeFolder(relocation.sourcePath);
  AttachedImages attached;
  for (int i = 0; i < 200; ++i) {
    relocation.storagePath = folder / ("Laufwerk/" + std::to_string(i) + ".sparsebundle");
    EXPECT_EQ(Relocator::status(relocation, attached).health, Health::error);
  }
  EXPECT_EQ(hdiutil.calls().size(), 1u);
}

}  // namespace
}  // namespace fernwahrung
