// Declarations of our own for the few parts of the Mac's Foundation that the darwin folders of the core and
// the application use, so that their Objective-C++ can be checked, and the core linked, where no Mac is at
// hand. The README beside this
// folder says where each is documented. On a Mac nothing of this is used.
#pragma once

#ifndef __OBJC__
#error "Objective-C only"
#endif

typedef bool BOOL;  // as on Apple silicon
#define YES __objc_yes
#define NO __objc_no
#define nil nullptr

typedef long NSInteger;
typedef unsigned long NSUInteger;

#define FOUNDATION_EXPORT extern "C"

@class NSError, NSNumber, NSString, NSURL;

#pragma clang assume_nonnull begin

@protocol NSObject
- (BOOL)isKindOfClass:(Class)aClass;
@end

__attribute__((objc_root_class))
@interface NSObject<NSObject>
+ (Class)class;
+ (instancetype)alloc;
- (instancetype)init;
@end

typedef struct {
  unsigned long state;
  __unsafe_unretained id _Nullable* _Nullable itemsPtr;
  unsigned long* _Nullable mutationsPtr;
  unsigned long extra[5];
} NSFastEnumerationState;

@protocol NSFastEnumeration
- (NSUInteger)countByEnumeratingWithState:(NSFastEnumerationState*)state
                                  objects:(__unsafe_unretained id _Nullable* _Nonnull)buffer
                                    count:(NSUInteger)count;
@end

@interface NSString : NSObject
+ (nullable instancetype)stringWithUTF8String:(const char*)nullTerminatedCString;
@property(nullable, readonly) const char* UTF8String;
- (BOOL)isEqualToString:(NSString*)aString;
@end

@interface NSNumber : NSObject
@property(readonly) long long longLongValue;
@end

@interface NSArray<ObjectType> : NSObject
+ (instancetype)arrayWithObjects:(const ObjectType _Nonnull[_Nullable])objects count:(NSUInteger)count;
@end

@interface NSDictionary<KeyType, ObjectType> : NSObject <NSFastEnumeration>
- (nullable ObjectType)objectForKeyedSubscript:(KeyType)key;
@end

typedef NSString* NSErrorDomain;
typedef NSString* NSErrorUserInfoKey;
typedef NSString* NSURLResourceKey;

FOUNDATION_EXPORT NSErrorDomain const NSPOSIXErrorDomain;
FOUNDATION_EXPORT NSErrorUserInfoKey const NSUnderlyingErrorKey;
FOUNDATION_EXPORT NSURLResourceKey const NSURLVolumeAvailableCapacityForImportantUsageKey;

enum : NSInteger {
  NSFileNoSuchFileError = 4,
  NSFileReadNoPermissionError = 257,
  NSFileReadNoSuchFileError = 260,
  NSFileWriteNoPermissionError = 513,
  NSFileWriteVolumeReadOnlyError = 642,
  NSFeatureUnsupportedError = 3328,
};

@interface NSError : NSObject
@property(readonly, copy) NSErrorDomain domain;
@property(readonly) NSInteger code;
@property(readonly, copy) NSDictionary<NSErrorUserInfoKey, id>* userInfo;
@end

@interface NSURL : NSObject
+ (nullable instancetype)URLWithString:(NSString*)URLString;
+ (NSURL*)fileURLWithFileSystemRepresentation:(const char*)path
                                  isDirectory:(BOOL)isDir
                                relativeToURL:(nullable NSURL*)baseURL;
@property(readonly) const char* fileSystemRepresentation;
- (BOOL)getResourceValue:(out id _Nullable* _Nonnull)value
                  forKey:(NSURLResourceKey)key
                   error:(out NSError* _Nullable* _Nullable)error;
@end

@interface NSUUID : NSObject
+ (instancetype)UUID;
@property(readonly, copy) NSString* UUIDString;
@end

@interface NSBundle : NSObject
@property(class, readonly, strong) NSBundle* mainBundle;
+ (nullable instancetype)bundleWithURL:(NSURL*)url;
@property(nullable, readonly, copy) NSString* bundleIdentifier;
@property(nullable, readonly, copy) NSDictionary<NSString*, id>* localizedInfoDictionary;
@end

@interface NSFileManager : NSObject
@property(class, readonly) NSFileManager* defaultManager;
@property(readonly, copy) NSURL* homeDirectoryForCurrentUser;
- (BOOL)trashItemAtURL:(NSURL*)url
      resultingItemURL:(NSURL* _Nullable* _Nullable)outResultingURL
                 error:(NSError* _Nullable* _Nullable)error;
@end

enum NSByteCountFormatterCountStyle : NSInteger {
  NSByteCountFormatterCountStyleFile = 0,
};

@interface NSByteCountFormatter : NSObject
+ (NSString*)stringFromByteCount:(long long)byteCount countStyle:(NSByteCountFormatterCountStyle)countStyle;
@end

#pragma clang assume_nonnull end
