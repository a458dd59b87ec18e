// Source: the documentation of NSWorkspace and NSRunningApplication.
#include "FernwahrungApp/Platform/Desktop.h"

#include "FernwahrungApp/Platform/darwin/Text.h"

#include "Platform/FileInfo.h"

#import <AppKit/AppKit.h>

namespace fernwahrung {
namespace {

NSURL* fileUrl(const std::string& path) {
  const auto info = Platform::fileInfo(path);
  return [NSURL fileURLWithFileSystemRepresentation:path.c_str()
                                        isDirectory:info && info->type == FileType::directory
                                      relativeToURL:nil];
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
