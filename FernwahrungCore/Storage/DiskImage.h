// Sparse-bundle images, by hdiutil. Every call blocks its thread; nothing here takes the OperationLock, and
// nothing but detach tries twice.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace fernwahrung {

struct AttachedImage {
  std::string imagePath;                   // as hdiutil reports it
  std::vector<std::string> mountPoints;    // in listed order
  std::vector<std::string> deviceEntries;  // in listed order
  bool operator==(const AttachedImage&) const = default;
};

/// Bytes.
struct ImageLimits {
  std::int64_t minimumBytes = 0;
  std::int64_t currentBytes = 0;
  std::int64_t maximumBytes = 0;
  bool operator==(const ImageLimits&) const = default;
};

namespace DiskImage {

inline constexpr std::int64_t gigabyte = 1'000'000'000;

struct AttachOptions {
  bool browsable;
  bool readOnly;
};

/// At least 100 units of 1 MiB. Throws FernwahrungError "Es gibt bereits eine Datei an diesem Ort: {path}",
/// ShellError.
void create(const std::string& path, std::int64_t sizeBytes, const std::string& volumeName);
/// Mounts the image over an existing, empty, readable folder that is no mount point, and over nothing else.
/// Throws FernwahrungError, AccessDeniedError, ShellError, PropertyListError.
AttachedImage attach(const std::string& imagePath, const std::string& mountPoint, AttachOptions options);
/// Takes the volume down and lets go of its image, by a mount point or a device of it. Up to three tries, two
/// seconds apart; never forced. Throws FernwahrungError "Aushängen nicht möglich – …", also when only the
/// volume is down and the image still attached.
void detach(const std::string& target);
std::vector<AttachedImage> attachedImages();
/// The one of them that lies at the path, whatever the spelling.
std::optional<AttachedImage> find(const std::vector<AttachedImage>& images, const std::string& imagePath);
/// Nothing when it isn't attached, and on any failure.
std::optional<AttachedImage> attachment(const std::string& imagePath);
ImageLimits limits(const std::string& path);
void resize(const std::string& path, std::int64_t bytes);
void compact(const std::string& path);
/// The nominal size, from the bundle's "Info.plist"; starts no process. Nothing on any failure.
std::optional<std::int64_t> capacityBytes(const std::string& path);
/// What the bundle occupies on its drive; 0 on any failure.
std::int64_t occupiedBytes(const std::string& path);
/// A fresh, empty folder in Paths::tempMountDirectory. `announce` is told its path before it is made; what
/// that throws comes out, and nothing is made.
std::string temporaryMountPoint(const std::function<void(const std::string& path)>& announce = {});
/// Attaches read-only at a temporary folder, checks the file system, detaches. Throws like attach and detach,
/// and FernwahrungError "Dateisystem-Prüfung meldet Fehler:\n…".
void verifyFileSystem(const std::string& imagePath);
/// Removes a temporary mount point that is a folder and no mount point; anything else stays.
void removeTemporaryMountPoint(const std::string& path);

// Parsers of hdiutil's output.
AttachedImage parseAttach(const std::string& imagePath, const std::string& plist);
std::vector<AttachedImage> parseInfo(const std::string& plist);
ImageLimits parseLimits(const std::string& output);

}  // namespace DiskImage
}  // namespace fernwahrung
