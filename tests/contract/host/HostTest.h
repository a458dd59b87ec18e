// What the tests of the stand-ins share.
#pragma once

#include "support/Program.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

namespace fernwahrung::host {

inline bool isRoot() {
  return ::geteuid() == 0;
}

/// Where the stand-in lies: "hdiutil".
std::string toolPath(const std::string& tool);
/// Runs it as the core does.
ProgramResult runTool(const std::string& tool, std::vector<std::string> arguments);

/// Images in a temporary folder. Whatever is still attached from there is let go of afterwards.
struct ImageTest : testing::Test {
  static constexpr long smallImage = 100;

  /// Why this user can't mount images here, found out without the stand-ins.
  static std::optional<std::string> unavailable();

  void SetUp() override;
  void TearDown() override;

  std::string imagePath(const std::string& name = "Bild") const { return folder / (name + ".sparsebundle"); }
  static std::string band(const std::string& image) { return image + "/bands/0"; }
  static std::vector<std::string> createVector(const std::string& image, long mebibytes);
  static std::vector<std::string> attachVector(const std::string& image, const std::string& mountPoint,
                                               bool readOnly = false);
  static ProgramResult create(const std::string& image, long mebibytes = smallImage);
  static ProgramResult attach(const std::string& image, const std::string& mountPoint, bool readOnly = false);
  static ProgramResult detach(const std::string& target);
  /// The image and its mount point, attached; both must not exist.
  void makeAttached(const std::string& image, const std::string& mountPoint, long mebibytes = smallImage);

  /// "image-path" to mount points, of the images that lie in the folder.
  std::vector<std::pair<std::string, std::vector<std::string>>> listed() const;
  static bool isMounted(const std::string& path);
  /// Neither a loop device nor a FUSE process holds the image's file.
  static bool isReleased(const std::string& image);
  static std::int64_t allocatedBytes(const std::string& image);
  static nlohmann::json infoOf(const std::string& image);

  TempFolder folder;
  const std::string mountPoint = folder / "Ort";
};

/// The texts under the key in the dictionaries.
std::vector<std::string> textsUnder(const nlohmann::json& dictionaries, const std::string& key);

}  // namespace fernwahrung::host
