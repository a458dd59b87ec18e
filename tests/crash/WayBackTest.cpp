// The way back in a hostile world: the Mac's disk full, the drive pulled away at each stage. Wherever it
// stops, the data is whole on the drive, and after a rollback everything is as it was.
#include "Scene.h"
#include "support/Files.h"

#include "Engine/Restore.h"
#include "Engine/Rollback.h"
#include "Engine/Status.h"
#include "Foundation/FileDescriptor.h"
#include "Foundation/PathString.h"
#include "Platform/FileChanges.h"
#include "Storage/DiskImage.h"
#include "Storage/FileOps.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

namespace fernwahrung {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

/// Calls its reaction right after the core has removed the name.
class AtRemoval : public Platform::ChangeObserver {
 public:
  AtRemoval(std::string path, std::function<void()> reaction)
      : path_(std::move(path)), reaction_(std::move(reaction)) {
    Platform::observeChanges(this);
  }
  ~AtRemoval() override { Platform::observeChanges(nullptr); }
  AtRemoval(const AtRemoval&) = delete;
  AtRemoval& operator=(const AtRemoval&) = delete;

  void madeDirectory(const std::string&) override {}
  void removedDirectory(const std::string& path) override { removed(path); }
  void unlinked(const std::string& path) override { removed(path); }
  void madeLink(const std::string&, const std::string&) override {}
  void madeSymlink(const std::string&, const std::string&) override {}
  void renamed(const std::string&, const std::string&) override {}
  void created(const std::string&) override {}
  void wrote(const std::string&, std::string_view) override {}
  void flushed(const std::string&) override {}
  void flushedDirectory(const std::string&) override {}

 private:
  void removed(const std::string& path) {
    if (path == path_) reaction_();
  }

  std::string path_;
  std::function<void()> reaction_;
};

class WayBackTest : public Scene, public testing::WithParamInterface<RelocationKind> {
 protected:
  void offload() {
    makeSource();
    relocate(GetParam());
    relocation = RegistryStore::load().relocations.at(0);
  }
  std::string dataOnTheDrive() const { return isImage() ? source : relocation.storagePath; }
  static bool isImage() { return GetParam() == RelocationKind::image; }

  /// Makes the next reading of the data come from the drive itself, not from memory.
  void forgetWhatIsInMemory() {
    ::sync();
    if (isImage()) {
      DiskImage::detach(source);
      const FileDescriptor band(::open((relocation.storagePath + "/bands/0").c_str(), O_RDONLY | O_CLOEXEC));
      ::posix_fadvise(band.get(), 0, 0, POSIX_FADV_DONTNEED);
      DiskImage::attach(relocation.storagePath, source, {.browsable = false, .readOnly = false});
    } else {
      drive->remount();
    }
  }

  /// What a run that failed left open, undone as the user does it once the cause is gone.
  void expectAsOffloadedAfterRollback() {
    for (Journal& journal : Journal::unfinished())
      EXPECT_EQ(errorOf([&] { Relocator::rollback(journal); }), "");
    EXPECT_THAT(Journal::unfinished(), IsEmpty());
    EXPECT_THAT(RegistryStore::load().relocations, testing::ElementsAre(relocation));
    if (isImage()) {
      // a drive that comes again brings no mount with it
      if (!FileOps::isMountPoint(source))
        DiskImage::attach(relocation.storagePath, source, {.browsable = false, .readOnly = false});
    }
    EXPECT_EQ(Relocator::status(relocation).health, RelocationStatus::Health::ok);
    EXPECT_EQ(diff(before, TreeManifest::of(dataOnTheDrive())), "") << "the storage was never changed";
    EXPECT_EQ(besideSource(),
              std::vector<std::string>{PathString::lastComponent(*relocation.originalBackupPath)})
        << "no staging folder";
  }

  Relocation relocation;
};

TEST_P(WayBackTest, TheMacsDiskFillsDuringTheCopy) {
  if (auto reason = ScratchDrive::unavailable(ScratchDrive::FileSystem::ext4)) GTEST_SKIP() << *reason;
  ScratchDrive internal({.bytes = 4LL << 30, .fileSystem = ScratchDrive::FileSystem::ext4});
  source = internal / "Große Bibliothek";
  offload();
  bool filled = false;
  OperationContext filling(onProgress([&](const std::string& text) {
    if (filled || !text.starts_with("Kopiere ")) return;
    internal.fill(64 << 10);
    filled = true;
  }));
  EXPECT_THAT(errorOf([&] { Relocator::restore(relocation, filling); }),
              HasSubstr("No space left on device"));
  ASSERT_TRUE(filled);
  internal.unfill();
  EXPECT_THAT(Journal::unfinished(), IsEmpty()) << "undone at once";
  EXPECT_THAT(RegistryStore::load().relocations, testing::ElementsAre(relocation));
  EXPECT_EQ(Relocator::status(relocation).health, RelocationStatus::Health::ok);
  EXPECT_EQ(diff(before, TreeManifest::of(dataOnTheDrive())), "");

  EXPECT_EQ(errorOf([&] { Relocator::restore(relocation, context); }), "");
  EXPECT_EQ(sourceDifference(), "");
  removeEverything(source);
}

TEST_P(WayBackTest, TheDriveIsPulledDuringTheCopy) {
  offload();
  forgetWhatIsInMemory();
  bool pulled = false;
  OperationContext pulling(onProgress([&](const std::string& text) {
    if (pulled || !text.starts_with("Kopiere ")) return;
    drive->pull();
    pulled = true;
  }));
  EXPECT_NE(errorOf([&] { Relocator::restore(relocation, pulling); }), "");
  ASSERT_TRUE(pulled);
  EXPECT_EQ(RegistryStore::load().relocations.at(0).state, RelocationState::active);
  EXPECT_EQ(diff(before, TreeManifest::of(*relocation.originalBackupPath)), "");
  drive->remount();
  expectAsOffloadedAfterRollback();
}

TEST_P(WayBackTest, TheDriveIsPulledRightBeforeTheSwap) {
  offload();
  bool pulled = false;
  std::string error;
  {
    const std::string begin = isImage() ? "Hänge virtuelle Festplatte aus …" : "Prüfung abgeschlossen";
    OperationContext pulling(onProgress([&](const std::string& text) {
      if (pulled || !text.starts_with(begin)) return;
      drive->pull();
      pulled = true;
    }));
    error = errorOf([&] { Relocator::restore(relocation, pulling); });
  }
  ASSERT_TRUE(pulled);
  EXPECT_EQ(diff(before, TreeManifest::of(*relocation.originalBackupPath)), "");
  if (isImage() && error.empty()) {
    // the proved copy needs the drive no more
    EXPECT_EQ(sourceDifference(), "");
    EXPECT_EQ(RegistryStore::load().relocations.at(0).state, RelocationState::restored);
    return;
  }
  EXPECT_NE(error, "");
  drive->remount();
  expectAsOffloadedAfterRollback();
}

TEST_P(WayBackTest, TheDriveIsPulledInTheMiddleOfTheSwap) {
  offload();
  bool pulled = false;
  {
    AtRemoval removal(source, [&] {
      drive->pull();
      pulled = true;
    });
    EXPECT_EQ(errorOf([&] { Relocator::restore(relocation, context); }), "")
        << "the proved copy needs the drive no more";
  }
  ASSERT_TRUE(pulled);
  EXPECT_EQ(sourceDifference(), "");
  EXPECT_EQ(RegistryStore::load().relocations.at(0).state, RelocationState::restored);
  EXPECT_THAT(Journal::unfinished(), IsEmpty());
  drive->remount();
  EXPECT_TRUE(exists(relocation.storagePath));
}

INSTANTIATE_TEST_SUITE_P(Kinds, WayBackTest, testing::ValuesIn(allRelocationKinds),
                         [](const auto& parameter) { return rawValue(parameter.param); });

}  // namespace
}  // namespace fernwahrung
