// Source: the documentation of NSBundle localizedInfoDictionary.
#include "Platform/Bundle.h"

#include "Foundation/BlockingCalls.h"

#import <Foundation/Foundation.h>
#include <nlohmann/json.hpp>

namespace fernwahrung::Platform {

std::optional<nlohmann::json> localizedInfoDictionary(const std::string& bundlePath) {
  BlockingCalls::announce("read a bundle");
  @autoreleasepool {
    NSURL* url = [NSURL fileURLWithFileSystemRepresentation:bundlePath.c_str()
                                                isDirectory:YES
                                              relativeToURL:nil];
    NSDictionary<NSString*, id>* dictionary = [NSBundle bundleWithURL:url].localizedInfoDictionary;
    if (!dictionary) return std::nullopt;
    // Localized values are texts; JSON could not carry the dates and data a damaged bundle may hold besides.
    nlohmann::json texts = nlohmann::json::object();
    for (NSString* key in dictionary) {
      id value = dictionary[key];
      if (![value isKindOfClass:NSString.class]) continue;
      // Text that is no valid Unicode has no UTF-8 form.
      const char* name = key.UTF8String;
      const char* text = static_cast<NSString*>(value).UTF8String;
      if (name && text) texts[name] = text;
    }
    return texts;
  }
}

}  // namespace fernwahrung::Platform
