// Source: the documentation of NSURLVolumeAvailableCapacityForImportantUsageKey (macOS 10.13).
#include "Foundation/BlockingCalls.h"
#include "Platform/Volume.h"

#import <Foundation/Foundation.h>

namespace fernwahrung::Platform {

std::optional<std::int64_t> capacityForImportantUsage(const std::string& path) {
  BlockingCalls::announce("look at a volume");
  @autoreleasepool {
    NSURL* url = [NSURL fileURLWithFileSystemRepresentation:path.c_str() isDirectory:YES relativeToURL:nil];
    NSNumber* bytes = nil;
    if (![url getResourceValue:&bytes forKey:NSURLVolumeAvailableCapacityForImportantUsageKey error:nil] ||
        !bytes) {
      return std::nullopt;
    }
    // Volumes that don't keep this count answer 0; a full one is told by its free blocks just as well.
    if (bytes.longLongValue <= 0) return std::nullopt;
    return bytes.longLongValue;
  }
}

}  // namespace fernwahrung::Platform
