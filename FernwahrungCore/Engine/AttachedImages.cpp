#include "Engine/AttachedImages.h"

#include "Storage/FileOps.h"

#include <exception>
#include <utility>

namespace fernwahrung {

void AttachedImages::read() {
  std::map<std::string, AttachedImage> images;
  for (AttachedImage& image : DiskImage::attachedImages()) {
    std::string path = FileOps::normalize(image.imagePath);
    images.try_emplace(std::move(path), std::move(image));
  }
  images_ = std::move(images);
}

std::optional<AttachedImage> AttachedImages::find(const std::string& imagePath) {
  if (!images_ && !failed_) {
    try {
      read();
    } catch (const std::exception&) {
      failed_ = true;
    }
  }
  if (!images_) return std::nullopt;
  auto found = images_->find(FileOps::normalize(imagePath));
  return found != images_->end() ? std::optional(found->second) : std::nullopt;
}

void AttachedImages::forgetFailure() {
  failed_ = false;
}

}  // namespace fernwahrung
