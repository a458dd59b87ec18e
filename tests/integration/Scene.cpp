#include "Scene.h"

#include "support/Files.h"

#include "Engine/Relocate.h"
#include "Foundation/PathString.h"
#include "Platform/linux/MountTable.h"
#include "Storage/FileOps.h"

#include <fstream>

namespace fernwahrung {

std::vector<std::string> mountsBelow(const std::string& folder) {
  std::vector<std::string> found;
  for (const auto& mount : MountTable::read()) {
    if (PathString::isInside(mount.mountPoint, folder)) found.push_back(mount.mountPoint);
  }
  return found;
}

std::vector<std::string> loopFilesBelow(const std::string& folder) {
  std::vector<std::string> found;
  for (const std::string& device : namesIn("/sys/block")) {
    std::ifstream backing("/sys/block/" + device + "/loop/backing_file");
    std::string file;
    if (std::getline(backing, file) && PathString::isInside(file, folder)) found.push_back(file);
  }
  return found;
}

void Scene::SetUp() {
  if (auto reason = ScratchDrive::unavailable()) GTEST_SKIP() << *reason;
  home.emplace();
  mac.emplace();
  drive.emplace(ScratchDrive::Options{.bytes = 4LL << 30});
  source = *mac / "Große Bibliothek";
  makeFolder(source);
}

void Scene::TearDown() {
  // the images lie on the drive, the mounts in the folders: these let go of the mounts first
  mac.reset();
  home.reset();
  drive.reset();
}

void Scene::makeSource(const NastyTreeOptions& options) {
  makeNastyTree(source, options);
  before = TreeManifest::of(source);
}

RelocationPlan Scene::plan(RelocationKind kind) const {
  RelocationPlan result;
  result.name = "Große Bibliothek";
  result.kind = kind;
  result.sourcePath = source;
  result.storageDirectory = drive->path();
  result.imageSizeBytes = 2'000'000'000;
  return result;
}

Relocation Scene::relocate(RelocationKind kind) {
  return Relocator::relocate(plan(kind), context);
}

std::string Scene::errorOf(const std::function<void()>& call) {
  try {
    call();
  } catch (const std::exception& error) {
    return error.what();
  }
  return "";
}

OperationContext::Progress Scene::onProgress(std::function<void(const std::string&)> reaction) {
  return [reaction = std::move(reaction)](const std::string& text, std::optional<double>) { reaction(text); };
}

std::string Scene::sourceDifference() const {
  return diff(before, TreeManifest::of(source));
}

void Scene::expectAsBefore() const {
  EXPECT_EQ(mountsBelow(source), std::vector<std::string>{});
  EXPECT_EQ(mountsBelow(home->path()), std::vector<std::string>{});
  EXPECT_FALSE(FileOps::isSymlink(source));
  EXPECT_FALSE(FileOps::isLocked(source));
  EXPECT_EQ(sourceDifference(), "");
  EXPECT_EQ(besideSource(), std::vector<std::string>{});
  EXPECT_EQ(loopFilesBelow(drive->path()), std::vector<std::string>{});
  EXPECT_EQ(loopFilesBelow(home->path()), std::vector<std::string>{});
  const std::string temporaryMounts = *home / "mnt";
  EXPECT_TRUE(!exists(temporaryMounts) || namesIn(temporaryMounts).empty()) << "a temporary mount point";
  EXPECT_EQ(RegistryStore::load(), registryBefore);
  EXPECT_EQ(Journal::unfinished(), std::vector<Journal>{});
}

void Scene::registerAnother() {
  Relocation other;
  other.id = Uuid::random();
  other.name = "Andere";
  other.kind = RelocationKind::symlink;
  other.sourcePath = *home / "andere";
  other.storagePath = "/Volumes/Nicht da/Andere";
  other.createdAt = Dates::parseIso8601("2026-01-02T03:04:05Z").value();
  registryBefore = {.relocations = {other}};
  RegistryStore::save(registryBefore);
}

std::vector<std::string> Scene::inTrash(const std::string& name) const {
  std::vector<std::string> found;
  std::string trash = *home / "Papierkorb";
  if (!exists(trash)) return found;
  for (const std::string& item : namesIn(trash)) {
    if (item.ends_with("-" + name)) found.push_back(trash + "/" + item);
  }
  return found;
}

std::vector<std::string> Scene::besideSource() const {
  std::vector<std::string> names = namesIn(mac->path());
  std::erase(names, PathString::lastComponent(source));
  return names;
}

Journal Scene::closedJournal(OperationKind kind) const {
  std::vector<Journal> journals = Journal::finishedJournals(1000);
  std::erase_if(journals, [&](const Journal& journal) { return journal.kind != kind; });
  if (journals.size() != 1) throw std::runtime_error("not one closed journal of the kind " + rawValue(kind));
  return journals[0];
}

std::string Scene::log() const {
  return readFile(*home / "fernwahrung.log");
}

}  // namespace fernwahrung
