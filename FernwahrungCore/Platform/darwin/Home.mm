// Source: the documentation of NSFileManager homeDirectoryForCurrentUser.
#include "Platform/SystemCalls.h"

#import <Foundation/Foundation.h>

namespace fernwahrung::System {

std::string homeDirectory() {
  @autoreleasepool {
    return NSFileManager.defaultManager.homeDirectoryForCurrentUser.fileSystemRepresentation;
  }
}

}  // namespace fernwahrung::System
