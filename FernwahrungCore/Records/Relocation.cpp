#include "Records/Relocation.h"

#include "Records/CaseNames.h"

#include <fmt/format.h>

namespace fernwahrung {

namespace {

constexpr std::array kindNames = {
    CaseName<RelocationKind>{RelocationKind::image, "image", "Virtuelle Festplatte"},
    CaseName<RelocationKind>{RelocationKind::symlink, "symlink", "Symlink"},
};

constexpr std::array stateNames = {
    CaseName<RelocationState>{RelocationState::active, "active"},
    CaseName<RelocationState>{RelocationState::restored, "restored"},
};

/// A path with a zero byte would be cut there by the system and mean another place.
std::string checkedPath(std::string path, const char* key) {
  if (path.find('\0') != std::string::npos)
    throw JsonError(fmt::format("Der Wert von „{}“ ist kein Pfad.", key));
  return path;
}

std::vector<std::string> checkedPaths(std::vector<std::string> paths, const char* key) {
  for (auto& path : paths) path = checkedPath(std::move(path), key);
  return paths;
}

std::optional<std::vector<std::string>> optionalPaths(const Json::Value& value, const char* key) {
  auto paths = Json::optionalTexts(value, key);
  return paths ? std::optional(checkedPaths(std::move(*paths), key)) : std::nullopt;
}

std::optional<std::string> optionalPath(const Json::Value& value, const char* key) {
  auto path = Json::optionalText(value, key);
  return path ? std::optional(checkedPath(std::move(*path), key)) : std::nullopt;
}

}  // namespace

std::string rawValue(RelocationKind kind) {
  return nameOf(kindNames, kind).rawValue;
}

std::string title(RelocationKind kind) {
  return nameOf(kindNames, kind).title;
}

std::optional<RelocationKind> relocationKind(const std::string& rawValue) {
  return caseOf(kindNames, rawValue);
}

std::string rawValue(RelocationState state) {
  return nameOf(stateNames, state).rawValue;
}

std::string Relocation::sidecarPath() const {
  return storagePath + ".fernwahrung.json";
}

Json::Value toJson(const Relocation& relocation) {
  Json::Value value = {
      {"id", relocation.id.text()},
      {"name", relocation.name},
      {"kind", rawValue(relocation.kind)},
      {"sourcePath", relocation.sourcePath},
      {"storagePath", relocation.storagePath},
      {"guardedAppPaths", relocation.guardedAppPaths},
      {"spotlight", relocation.spotlight},
      {"createdAt", Dates::iso8601(relocation.createdAt)},
      {"state", rawValue(relocation.state)},
  };
  if (relocation.originalBackupPath) value["originalBackupPath"] = *relocation.originalBackupPath;
  if (relocation.safetyCopies) value["safetyCopies"] = *relocation.safetyCopies;
  if (relocation.previousStoragePaths) value["previousStoragePaths"] = *relocation.previousStoragePaths;
  if (relocation.asideFolders) value["asideFolders"] = *relocation.asideFolders;
  return value;
}

Relocation relocationFromJson(const Json::Value& value) {
  Relocation relocation;
  relocation.id = Json::uuid(value, "id");
  relocation.name = Json::text(value, "name");
  relocation.kind = decodedCase(kindNames, value, "kind");
  relocation.sourcePath = checkedPath(Json::text(value, "sourcePath"), "sourcePath");
  relocation.storagePath = checkedPath(Json::text(value, "storagePath"), "storagePath");
  relocation.originalBackupPath = optionalPath(value, "originalBackupPath");
  relocation.guardedAppPaths = checkedPaths(Json::texts(value, "guardedAppPaths"), "guardedAppPaths");
  relocation.spotlight = Json::flag(value, "spotlight");
  relocation.createdAt = Json::date(value, "createdAt");
  relocation.state = decodedCase(stateNames, value, "state");
  relocation.safetyCopies = optionalPaths(value, "safetyCopies");
  relocation.previousStoragePaths = optionalPaths(value, "previousStoragePaths");
  relocation.asideFolders = optionalPaths(value, "asideFolders");
  return relocation;
}

}  // namespace fernwahrung
