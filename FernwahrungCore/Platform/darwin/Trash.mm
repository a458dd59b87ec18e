// Source: the documentation of NSFileManager trashItemAtURL:resultingItemURL:error: and of the Cocoa error
// codes.
#include "Platform/Trash.h"

#include "Foundation/Errors.h"
#include "Platform/FileInfo.h"

#import <Foundation/Foundation.h>
#include <cerrno>

namespace fernwahrung::Platform {
namespace {

/// The system call's code, which the file manager wraps in errors of its own.
int errnoOf(NSError* error) {
  for (NSError* cause = error; cause; cause = cause.userInfo[NSUnderlyingErrorKey]) {
    if ([cause.domain isEqualToString:NSPOSIXErrorDomain]) return static_cast<int>(cause.code);
  }
  switch (error.code) {
    case NSFileNoSuchFileError:
    case NSFileReadNoSuchFileError:
      return ENOENT;
    case NSFileReadNoPermissionError:
    case NSFileWriteNoPermissionError:
      return EACCES;
    case NSFileWriteVolumeReadOnlyError:
      return EROFS;
    case NSFeatureUnsupportedError:
      return ENOTSUP;
    default:
      return EIO;
  }
}

}  // namespace

std::optional<std::string> moveToTrash(const std::string& path) {
  const auto info = fileInfo(path);
  if (!info) throw SystemError("Das Objekt kann nicht in den Papierkorb gelegt werden", path, errno);
  @autoreleasepool {
    NSURL* url = [NSURL fileURLWithFileSystemRepresentation:path.c_str()
                                                isDirectory:info->type == FileType::directory
                                              relativeToURL:nil];
    NSURL* place = nil;
    NSError* error = nil;
    if (![NSFileManager.defaultManager trashItemAtURL:url resultingItemURL:&place error:&error]) {
      throw SystemError("Das Objekt kann nicht in den Papierkorb gelegt werden", path, errnoOf(error));
    }
    if (!place) return std::nullopt;
    return std::string(place.fileSystemRepresentation);
  }
}

}  // namespace fernwahrung::Platform
