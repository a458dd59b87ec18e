// Declarations of our own for the few parts of the Mac's AppKit that FernwahrungApp/Platform/darwin uses. See
// the README of the folder above.
#pragma once

#import <Foundation/Foundation.h>
#include <sys/types.h>

#pragma clang assume_nonnull begin

@interface NSWorkspace : NSObject
@property(class, readonly, strong) NSWorkspace* sharedWorkspace;
- (BOOL)openURL:(NSURL*)url;
- (void)activateFileViewerSelectingURLs:(NSArray<NSURL*>*)fileURLs;
@end

@interface NSRunningApplication : NSObject
+ (nullable instancetype)runningApplicationWithProcessIdentifier:(pid_t)pid;
- (BOOL)terminate;
@end

#pragma clang assume_nonnull end
