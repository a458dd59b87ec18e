#include "Engine/AttachedImages.h"

#include "Storage/FileOps.h"

#include <exception>

namespace fernwahrung {

std::optional<AttachedImage> AttachedImages::find(const std::string& imagePath) {
  if (!images_) {
    try {
      images_ = DiskImage::attachedImages();
    } catch (const std::exception&) {
      images_.emplace();
    }
  }
  std::string wanted = FileOps::normalize(imagePath);
  for (const AttachedImage& image : *images_) {
    if (FileOps::normalize(image.imagePath) == wanted) return image;
  }
  return std::nullopt;
}

}  // namespace fernwahrung
