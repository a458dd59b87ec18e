// One offloaded folder: the central record of the program.
#pragma once

#include "Foundation/Dates.h"
#include "Foundation/Json.h"
#include "Foundation/Uuid.h"

#include <optional>
#include <string>
#include <vector>

namespace fernwahrung {

enum class RelocationKind { image, symlink };
inline constexpr RelocationKind allRelocationKinds[] = {RelocationKind::image, RelocationKind::symlink};

/// active: the data lies on the storage, the source path is a mount point or a link. restored: the data is
/// back at the source path; the record stays so that the external copy can be dealt with.
enum class RelocationState { active, restored };

std::string rawValue(RelocationKind kind);
std::string title(RelocationKind kind);
std::optional<RelocationKind> relocationKind(const std::string& rawValue);
std::string rawValue(RelocationState state);

struct Relocation {
  Uuid id;
  std::string name;
  RelocationKind kind = RelocationKind::image;
  std::string sourcePath;                         // the folder on the Mac: mount point or link
  std::string storagePath;                        // the ".sparsebundle", or the link's target folder
  std::optional<std::string> originalBackupPath;  // the kept original; nothing once it is in the Trash
  std::vector<std::string> guardedAppPaths;
  bool spotlight = false;
  Date createdAt;
  RelocationState state = RelocationState::active;
  std::optional<std::vector<std::string>> safetyCopies;
  std::optional<std::vector<std::string>> previousStoragePaths;
  std::optional<std::vector<std::string>> asideFolders;

  /// "{storagePath}.fernwahrung.json".
  std::string sidecarPath() const;
  bool operator==(const Relocation&) const = default;
};

/// Absent optional fields are left out. Decoding throws JsonError: every other field is required, dates and
/// identifiers must have the written form, unknown keys are passed over.
Json::Value toJson(const Relocation& relocation);
Relocation relocationFromJson(const Json::Value& value);

}  // namespace fernwahrung
