#include "Storage/DiskImage.h"

#include "Foundation/Arithmetic.h"
#include "Foundation/Clock.h"
#include "Foundation/Errors.h"
#include "Foundation/Log.h"
#include "Foundation/PathString.h"
#include "Foundation/Paths.h"
#include "Foundation/PropertyList.h"
#include "Foundation/Shell.h"
#include "Foundation/Text.h"
#include "Foundation/Uuid.h"
#include "Platform/FileInfo.h"
#include "Platform/Volume.h"
#include "Storage/DirectoryState.h"
#include "Storage/FileOps.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <fmt/format.h>
#include <limits>
#include <nlohmann/json.hpp>

namespace fernwahrung::DiskImage {
namespace {

using nlohmann::json;

constexpr std::int64_t unit = 1048576;
constexpr std::int64_t minimumUnits = 100;
constexpr std::int64_t sectorSize = 512;

constexpr Shell::Options logged{.check = true, .log = true};
constexpr Shell::Options unlogged{.check = true, .log = false};

ShellResult hdiutil(const std::vector<std::string>& arguments, Shell::Options options) {
  return Shell::run("/usr/bin/hdiutil", arguments, options);
}

FernwahrungError failure(std::string text) {
  return FernwahrungError::message(std::move(text));
}

/// The value under the key, if `value` is a dictionary that has it and it is an array; else an empty one.
json listUnder(const json& value, const char* key) {
  if (!value.is_object()) return json::array();
  const auto found = value.find(key);
  return found != value.end() && found->is_array() ? *found : json::array();
}

/// The texts under the key of every dictionary of the list that has one, in listed order.
std::vector<std::string> textsUnder(const json& dictionaries, const char* key) {
  std::vector<std::string> texts;
  for (const json& dictionary : dictionaries) {
    if (!dictionary.is_object()) continue;
    const auto found = dictionary.find(key);
    if (found != dictionary.end() && found->is_string()) texts.push_back(found->get<std::string>());
  }
  return texts;
}

AttachedImage attachedImage(std::string imagePath, const json& dictionary) {
  const json entities = listUnder(dictionary, "system-entities");
  return {std::move(imagePath), textsUnder(entities, "mount-point"), textsUnder(entities, "dev-entry")};
}

/// Mounting looks neither at what is in the folder nor at a volume that is already there, so that is done
/// here.
void requireMountable(const std::string& mountPoint) {
  if (!FileOps::isDirectory(mountPoint)) throw failure(fmt::format("Einhängepunkt fehlt: {}", mountPoint));
  if (FileOps::isMountPoint(mountPoint)) {
    throw failure(fmt::format("An dieser Stelle ist bereits etwas eingehängt: {}", mountPoint));
  }
  const DirectoryState state = FileOps::directoryState(mountPoint);
  switch (state.kind) {
    case DirectoryState::Kind::accessDenied:
      throw AccessDeniedError(mountPoint, false);
    case DirectoryState::Kind::unreadable:
      throw failure(
          fmt::format("Der Einhängepunkt kann nicht gelesen werden ({}): {}", state.reason, mountPoint));
    case DirectoryState::Kind::notEmpty:
      throw failure(
          fmt::format("Der Einhängepunkt ist nicht leer – Einhängen würde Daten verdecken: {}", mountPoint));
    case DirectoryState::Kind::empty:
      return;
  }
}

bool holdsPath(const std::vector<std::string>& paths, const std::string& wanted) {
  const std::string normalized = FileOps::normalize(wanted);
  return std::any_of(paths.begin(), paths.end(),
                     [&](const std::string& path) { return FileOps::normalize(path) == normalized; });
}

/// Certain that no volume lies over the path. An error on a volume whose drive was pulled is no such
/// certainty.
bool isNoLongerMounted(const std::string& mountPoint) {
  const std::string path = FileOps::normalize(mountPoint);
  if (!Platform::fileInfo(path)) return errno == ENOENT;
  const auto facts = Platform::volumeFacts(path);
  return facts && FileOps::normalize(facts->mountPoint) != path;
}

/// The image behind a mount point or a device; nothing when it can't be told.
std::optional<AttachedImage> imageBehind(const std::string& target) {
  try {
    const auto images = attachedImages();
    const auto found = std::find_if(images.begin(), images.end(), [&](const AttachedImage& image) {
      return holdsPath(image.mountPoints, target) || holdsPath(image.deviceEntries, target);
    });
    if (found != images.end()) return *found;
  } catch (const std::exception&) {
    // unknown
  }
  return std::nullopt;
}

/// Certain that the volume is down and the image let go of: one without the other is no success, for the
/// drive would be pulled from under an open image.
bool isDetached(const std::string& target, const std::optional<AttachedImage>& image) {
  if (!image || !isNoLongerMounted(target)) return false;
  try {
    return !find(attachedImages(), image->imagePath);
  } catch (const std::exception&) {
    return false;
  }
}

/// A count of sectors in bytes. The tool may name limits near the end of what 64 bits hold; what lies beyond
/// stands for "as large as can be", which is what a limit is compared for.
std::int64_t bytesOfSectors(std::int64_t sectors) {
  return saturatingProduct(sectors, sectorSize);
}

std::optional<std::int64_t> wholeNumber(const json& value) {
  if (value.is_number_unsigned()) {
    const auto number = value.get<std::uint64_t>();
    if (number > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) return std::nullopt;
    return static_cast<std::int64_t>(number);
  }
  if (value.is_number_integer()) return value.get<std::int64_t>();
  if (value.is_number_float()) {
    const double number = value.get<double>();
    if (std::trunc(number) == number && std::abs(number) < 9.2e18) return static_cast<std::int64_t>(number);
  }
  return std::nullopt;
}

}  // namespace

void create(const std::string& path, std::int64_t sizeBytes, const std::string& volumeName) {
  if (FileOps::exists(path)) throw failure(fmt::format("Es gibt bereits eine Datei an diesem Ort: {}", path));
  const std::int64_t units = std::max(sizeBytes / unit, minimumUnits);
  hdiutil({"create", "-size", fmt::format("{}m", units), "-type", "SPARSEBUNDLE", "-fs", "APFS", "-volname",
           volumeName, path, "-quiet"},
          logged);
}

AttachedImage attach(const std::string& imagePath, const std::string& mountPoint, AttachOptions options) {
  requireMountable(mountPoint);
  std::vector<std::string> arguments = {"attach", "-plist", "-mountpoint", mountPoint, "-noautoopen"};
  if (!options.browsable) arguments.push_back("-nobrowse");
  if (options.readOnly) arguments.push_back("-readonly");
  arguments.push_back(imagePath);
  AttachedImage image = parseAttach(imagePath, hdiutil(arguments, logged).stdoutBytes);
  // An image that is attached already is reported as a success, wherever it is mounted.
  if (!holdsPath(image.mountPoints, mountPoint) || !FileOps::isMountPoint(mountPoint)) {
    throw failure(
        fmt::format("Virtuelle Festplatte wurde nicht am erwarteten Ort eingehängt: {}", mountPoint));
  }
  return image;
}

void detach(const std::string& target) {
  constexpr int tries = 3;
  constexpr double pause = 2.0;
  // Asked before the first try: afterwards nothing may lead from the mount point to the image any more.
  const auto image = imageBehind(target);
  std::string reason;
  for (int attempt = 1; attempt <= tries; ++attempt) {
    try {
      hdiutil({"detach", target, "-quiet"}, logged);
      return;
    } catch (const std::exception& error) {
      reason = error.what();
    }
    // A try that failed may have done its work all the same, and the next one then fails for not finding it.
    if (isDetached(target, image)) return;
    Log::write(fmt::format("Aushängen Versuch {} fehlgeschlagen", attempt));
    Clock::sleep(pause);
  }
  if (isDetached(target, image)) return;
  throw failure(fmt::format(
      "Aushängen nicht möglich – vermutlich hat noch ein Programm Dateien geöffnet.\n{}", reason));
}

std::vector<AttachedImage> attachedImages() {
  return parseInfo(hdiutil({"info", "-plist"}, unlogged).stdoutBytes);
}

std::optional<AttachedImage> find(const std::vector<AttachedImage>& images, const std::string& imagePath) {
  const std::string wanted = FileOps::normalize(imagePath);
  const auto found = std::find_if(images.begin(), images.end(), [&](const AttachedImage& image) {
    return FileOps::normalize(image.imagePath) == wanted;
  });
  return found != images.end() ? std::optional(*found) : std::nullopt;
}

std::optional<AttachedImage> attachment(const std::string& imagePath) {
  try {
    return find(attachedImages(), imagePath);
  } catch (const std::exception&) {
    return std::nullopt;  // unknown counts as not attached
  }
}

ImageLimits limits(const std::string& path) {
  return parseLimits(hdiutil({"resize", "-limits", path}, logged).out());
}

void resize(const std::string& path, std::int64_t bytes) {
  hdiutil({"resize", "-size", fmt::format("{}m", bytes / unit), path}, logged);
}

void compact(const std::string& path) {
  hdiutil({"compact", path}, logged);
}

std::optional<std::int64_t> capacityBytes(const std::string& path) {
  try {
    const json info = PropertyList::parse(FileOps::readFile(PathString::join(path, "Info.plist")));
    if (!info.is_object()) return std::nullopt;
    const auto size = info.find("size");
    return size != info.end() ? wholeNumber(*size) : std::nullopt;
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

std::int64_t occupiedBytes(const std::string& path) {
  try {
    return FileOps::treeSize(path, false, nullptr).allocatedBytes;
  } catch (const std::exception&) {
    return 0;
  }
}

std::string temporaryMountPoint(const std::function<void(const std::string& path)>& announce) {
  Paths::ensure(Paths::tempMountDirectory());
  std::string path = PathString::join(Paths::tempMountDirectory(), Uuid::random().text());
  if (announce) announce(path);
  FileOps::createDirectory(path, std::nullopt);
  return path;
}

void removeTemporaryMountPoint(const std::string& path) {
  FileOps::removeEmptyDirectory(path);
}

namespace {

/// A temporary mount point that goes on every way out, unless something is still mounted there.
class TemporaryMountPoint {
 public:
  TemporaryMountPoint() : path_(temporaryMountPoint()) {}
  ~TemporaryMountPoint() { removeTemporaryMountPoint(path_); }
  TemporaryMountPoint(const TemporaryMountPoint&) = delete;
  TemporaryMountPoint& operator=(const TemporaryMountPoint&) = delete;

  const std::string& path() const { return path_; }

 private:
  const std::string path_;
};

/// By what the image is to be detached after a check, which takes the volume down and may bring it up
/// elsewhere or not at all.
std::string targetAfterCheck(const AttachedImage& image) {
  const std::string& mountPoint = image.mountPoints.front();
  if (FileOps::isMountPoint(mountPoint)) return mountPoint;
  const auto present = attachment(image.imagePath);
  if (present && !present->mountPoints.empty()) return present->mountPoints.front();
  if (present && !present->deviceEntries.empty()) return present->deviceEntries.front();
  return mountPoint;
}

}  // namespace

void verifyFileSystem(const std::string& imagePath) {
  const TemporaryMountPoint temporary;
  const AttachedImage image = attach(imagePath, temporary.path(), {.browsable = false, .readOnly = true});
  std::optional<std::string> problem;
  try {
    Shell::run("/usr/sbin/diskutil", {"verifyVolume", temporary.path()}, {.check = true, .log = true});
  } catch (const std::exception& error) {
    problem = error.what();
  }
  detach(targetAfterCheck(image));
  if (problem) throw failure(fmt::format("Dateisystem-Prüfung meldet Fehler:\n{}", *problem));
}

AttachedImage parseAttach(const std::string& imagePath, const std::string& plist) {
  return attachedImage(imagePath, PropertyList::parse(plist));
}

std::vector<AttachedImage> parseInfo(const std::string& plist) {
  std::vector<AttachedImage> images;
  for (const json& image : listUnder(PropertyList::parse(plist), "images")) {
    if (!image.is_object()) continue;
    const auto path = image.find("image-path");
    if (path == image.end() || !path->is_string()) continue;
    images.push_back(attachedImage(path->get<std::string>(), image));
  }
  return images;
}

ImageLimits parseLimits(const std::string& output) {
  std::vector<std::int64_t> sectors;
  std::string pieces = Text::replacingAll(Text::replacingAll(output, "\t", " "), "\n", " ");
  for (const std::string& piece : Text::split(pieces, ' ')) {
    if (const auto number = Text::toInteger(piece)) sectors.push_back(*number);
  }
  if (sectors.size() < 3) throw failure("Größenangaben des Images nicht lesbar.");
  return {bytesOfSectors(sectors[0]), bytesOfSectors(sectors[1]), bytesOfSectors(sectors[2])};
}

}  // namespace fernwahrung::DiskImage
