#include "Records/RegistryStore.h"

#include "Foundation/Errors.h"
#include "Foundation/Log.h"
#include "Foundation/PathString.h"
#include "Foundation/Paths.h"
#include "Platform/FileInfo.h"
#include "Records/AtomicWrite.h"

#include <algorithm>
#include <cerrno>
#include <fmt/format.h>

namespace fernwahrung {

namespace {

/// A file that can't be looked at is not an absent one: taken for absent it would be overwritten by an empty
/// list.
bool isAbsent(const std::string& path) {
  errno = 0;
  return !Platform::fileInfo(path) && (errno == ENOENT || errno == ENOTDIR);
}

Json::Value toJson(const Registry& registry) {
  auto relocations = Json::Value::array();
  for (const auto& relocation : registry.relocations) relocations.push_back(toJson(relocation));
  return {{"version", registry.version}, {"relocations", std::move(relocations)}};
}

Registry registryFromJson(const Json::Value& value) {
  Registry registry;
  registry.version = Json::integer(value, "version");
  for (const auto& relocation : Json::array(value, "relocations")) {
    registry.relocations.push_back(relocationFromJson(relocation));
  }
  return registry;
}

Registry read(const std::string& path) {
  return registryFromJson(Json::parse(FileOps::readFile(path)));
}

/// A damaged list must not take the place of the backup, which is then the only good one until the new list
/// lies in its place.
bool isWorthABackup(const std::string& path) {
  try {
    read(path);
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

}  // namespace

Relocation* Registry::find(const Uuid& id) {
  const auto found = std::find_if(relocations.begin(), relocations.end(),
                                  [&](const Relocation& relocation) { return relocation.id == id; });
  return found == relocations.end() ? nullptr : &*found;
}

namespace RegistryStore {

Registry load() {
  const auto path = Paths::registryFile();
  const auto backup = path + ".bak";
  if (isAbsent(path) && isAbsent(backup)) return {};
  try {
    return read(path);
  } catch (const std::exception& error) {
    Log::write(fmt::format("registry.json unlesbar ({}), versuche Sicherung", error.what()));
  }
  if (isAbsent(backup)) {
    throw FernwahrungError::message("Die Liste der Fernwahrungen ist beschädigt: " + path);
  }
  return read(backup);
}

void save(const Registry& registry) {
  Paths::ensure(Paths::supportDirectory());
  const auto text = Json::print(toJson(registry));
  const auto path = Paths::registryFile();
  FileOps::atomicWrite(text, path, isWorthABackup(path));
  for (const auto& relocation : registry.relocations) writeSidecar(relocation);
}

void update(const std::function<void(Registry&)>& change) {
  auto registry = load();
  change(registry);
  save(registry);
}

void writeSidecar(const Relocation& relocation) {
  const auto path = relocation.sidecarPath();
  try {
    const auto text = Json::print(toJson(relocation));
    if (Platform::fileInfo(PathString::parent(path))) FileOps::atomicWrite(text, path, false);
  } catch (const std::exception&) {
    // The sidecar is a convenience of recovery; the list itself is saved.
  }
}

}  // namespace RegistryStore
}  // namespace fernwahrung
