// Source: the documentation of NSByteCountFormatter.
#include "Foundation/ByteFormat.h"

#import <Foundation/Foundation.h>

namespace fernwahrung {

std::string ByteFormat::string(std::int64_t bytes) {
  @autoreleasepool {
    return [NSByteCountFormatter stringFromByteCount:bytes countStyle:NSByteCountFormatterCountStyleFile]
        .UTF8String;
  }
}

}  // namespace fernwahrung
