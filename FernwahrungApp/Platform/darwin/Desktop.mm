// Source: the documentation of NSWorkspace and NSRunningApplication.
#include "FernwahrungApp/Platform/Desktop.h"

#include "FernwahrungApp/Platform/darwin/Text.h"

#import <AppKit/AppKit.h>

namespace fernwahrung {
namespace {

/// Without a look at what lies there: the main thread would wait for a drive that hangs. Whether it is a
/// folder decides only how addresses relative to this one are read.
NSURL* fileUrl(const std::string& path) {
  return [NSURL fileURLWithFileSystemRepresentation:path.c_str() isDirectory:NO relativeToURL:nil];
}

}  // namespace

void Desktop::reveal(const std::string& path) {
  @autoreleasepool {
    [NSWorkspace.sharedWorkspace activateFileViewerSelectingURLs:@[ fileUrl(path) ]];
  }
}

void Desktop::open(const std::string& pathOrUrl) {
  @autoreleasepool {
    NSURL* url = pathOrUrl.starts_with('/') ? fileUrl(pathOrUrl) : [NSURL URLWithString:textFrom(pathOrUrl)];
    if (url) [NSWorkspace.sharedWorkspace openURL:url];
  }
}

bool Desktop::askToQuit(std::int32_t pid) {
  @autoreleasepool {
    NSRunningApplication* application = [NSRunningApplication runningApplicationWithProcessIdentifier:pid];
    return application && [application terminate];
  }
}

}  // namespace fernwahrung
