#include "OperationBench.h"

#include "Measure.h"
#include "Trees.h"

#include "Engine/Mount.h"
#include "Engine/Preflight.h"
#include "Engine/Relocate.h"
#include "Foundation/PathString.h"
#include "Foundation/Paths.h"
#include "Foundation/Shell.h"
#include "Records/AppSettings.h"
#include "Records/RegistryStore.h"
#include "Storage/DiskImage.h"
#include "Storage/FileOps.h"

#include <filesystem>
#include <fmt/format.h>
#include <stdexcept>
#include <unistd.h>
#include <vector>

namespace fernwahrung::Bench {
namespace {

void removeTree(const std::string& path) {
  std::filesystem::remove_all(path);
}

/// Takes an offloaded folder back to what it was: nothing mounted, the original under its name, the drive
/// empty.
class Offloading {
 public:
  Offloading(const OperationScale& scale, RelocationKind kind)
      : place_(scale.folder), drive_(scale.drive), kind_(kind) {
    makeTree(source_ + "/small", {scale.smallFiles, 200, 1'024, 8'192});
    makeTree(source_ + "/large", {scale.largeFiles, 8, 128 << 20, 160 << 20});
    plan_.name = "Bibliothek";
    plan_.kind = kind;
    plan_.sourcePath = source_;
    plan_.storageDirectory = storage_;
    plan_.imageSizeBytes =
        Relocator::suggestedImageSize(FileOps::treeSize(source_, /*isVolumeRoot=*/false, nullptr));
    std::filesystem::create_directories(storage_);
  }
  ~Offloading() {
    try {
      undo();
    } catch (const std::exception& error) {
      fmt::print(stderr, "Something stays mounted or on the drive: {}\n", error.what());
    }
  }
  Offloading(const Offloading&) = delete;
  Offloading& operator=(const Offloading&) = delete;

  void run() {
    OperationContext context;
    original_ = Relocator::relocate(plan_, context).originalBackupPath.value();
  }

  void undo() {
    if (!original_.empty()) {
      if (kind_ == RelocationKind::image) {
        DiskImage::detach(source_);
        FileOps::setLocked(source_, false);
      }
      std::filesystem::remove(source_);
      std::filesystem::rename(original_, source_);
      original_.clear();
    }
    for (const auto& item : std::filesystem::directory_iterator(storage_)) removeTree(item.path());
    removeTree(Paths::supportDirectory());
    ::sync();
  }

  /// What a careful person does by hand.
  void runByHand() const {
    const std::string copy = storage_ + "/copy";
    shell("cp -a " + quoted(source_) + " " + quoted(copy));
    shell("diff -rq --no-dereference " + quoted(source_) + " " + quoted(copy));
  }

 private:
  const Workplace place_;
  const Workplace drive_;
  const RelocationKind kind_;
  const std::string source_ = place_ / "Library";
  const std::string storage_ = drive_ / "storage";
  RelocationPlan plan_;
  std::string original_;  // the original's name while the folder is offloaded
};

bool relocateAs(RelocationKind kind, double limit, const OperationScale& scale) {
  Offloading offloading(scale, kind);
  return hold({.name = fmt::format("relocate as {}: {} + {} files", rawValue(kind), scale.smallFiles,
                                   scale.largeFiles),
               .reference = "cp -a and diff -rq",
               .ours = [&] { offloading.run(); },
               .theirs = [&] { offloading.runByHand(); },
               .prepare = [&] { offloading.undo(); },
               .limit = limit,
               .rounds = scale.rounds});
}

/// Images and locked folders for them, all registered, none mounted.
class ManyImages {
 public:
  explicit ManyImages(const OperationScale& scale) : place_(scale.folder), drive_(scale.drive) {
    AppSettings settings;
    settings.verifyBeforeMount = false;
    Paths::ensure(Paths::supportDirectory());
    settings.save();
    Registry registry;
    for (int number = 0; number < scale.images; ++number) {
      Relocation relocation;
      relocation.id = Uuid::random();
      relocation.name = fmt::format("Image {}", number);
      relocation.sourcePath = place_ / relocation.name;
      relocation.storagePath = drive_ / relocation.name + ".sparsebundle";
      DiskImage::create(relocation.storagePath, 1'000'000'000, relocation.name);
      FileOps::createDirectory(relocation.sourcePath, std::nullopt);
      FileOps::setLocked(relocation.sourcePath, true);
      registry.relocations.push_back(relocation);
    }
    RegistryStore::save(registry);
    relocations_ = registry.relocations;
  }
  ~ManyImages() {
    try {
      unmountAll();
      for (const Relocation& relocation : relocations_) FileOps::setLocked(relocation.sourcePath, false);
      removeTree(Paths::supportDirectory());
    } catch (const std::exception& error) {
      fmt::print(stderr, "Something stays mounted: {}\n", error.what());
    }
  }
  ManyImages(const ManyImages&) = delete;
  ManyImages& operator=(const ManyImages&) = delete;

  void unmountAll() const {
    for (const Relocation& relocation : relocations_) {
      if (FileOps::isMountPoint(relocation.sourcePath)) DiskImage::detach(relocation.sourcePath);
    }
  }
  void mountByHand() const {
    for (const Relocation& relocation : relocations_) {
      Shell::run("/usr/bin/hdiutil",
                 {"attach", "-plist", "-mountpoint", relocation.sourcePath, "-noautoopen", "-nobrowse",
                  relocation.storagePath},
                 {.check = true, .log = false});
    }
  }

 private:
  const Workplace place_;
  const Workplace drive_;
  std::vector<Relocation> relocations_;
};

}  // namespace

bool relocateAsSymlink(const OperationScale& scale) {
  return relocateAs(RelocationKind::symlink, 1.15, scale);
}

bool relocateAsImage(const OperationScale& scale) {
  return relocateAs(RelocationKind::image, 1.35, scale);
}

bool mountAll(const OperationScale& scale) {
  const ManyImages images(scale);
  return hold({.name = fmt::format("mount-all: {} images", scale.images),
               .reference = "bare hdiutil attach",
               .ours =
                   [] {
                     for (const MountProblem& problem : Relocator::mountAllDetailed(0))
                       throw std::runtime_error(problem.text());
                   },
               .theirs = [&] { images.mountByHand(); },
               .prepare = [&] { images.unmountAll(); },
               .limit = 1.1,
               .rounds = scale.rounds});
}

}  // namespace fernwahrung::Bench
