#include "linux/AttachedImages.h"
#include "linux/hdiutil/Verbs.h"

#include "Foundation/PropertyList.h"

#include <iostream>

namespace fernwahrung::host::Hdiutil {

int info(const Arguments& arguments) {
  OptionReader options(arguments);
  const bool asPropertyList = options.takeFlag("-plist");
  options.requireNoMore();
  if (!asPropertyList) throw UsageError();
  nlohmann::json images = nlohmann::json::array();
  for (const AttachedImage& image : AttachedImages::read()) {
    if (image.imagePath.empty()) continue;  // there is no path to name it by
    images.push_back({{"image-path", image.imagePath},
                      {"image-type", "sparse bundle disk image"},
                      {"writeable", !image.isReadOnly()},
                      {"system-entities", AttachedImages::entities(image)}});
  }
  std::cout << PropertyList::printXml({{"images", std::move(images)}});
  return 0;
}

}  // namespace fernwahrung::host::Hdiutil
