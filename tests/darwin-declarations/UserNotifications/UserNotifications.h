// Declarations of our own for the few parts of the Mac's UserNotifications that
// FernwahrungApp/Platform/darwin uses. See the README of the folder above.
#pragma once

#import <Foundation/Foundation.h>

#pragma clang assume_nonnull begin

// In C++ a set of options is its integer type, so that options can be combined by "|".
typedef NSUInteger UNAuthorizationOptions;
enum : UNAuthorizationOptions {
  UNAuthorizationOptionSound = 1 << 1,
  UNAuthorizationOptionAlert = 1 << 2,
};

@interface UNNotificationSound : NSObject
@property(class, readonly, copy) UNNotificationSound* defaultSound;
@end

@interface UNNotificationTrigger : NSObject
@end

@interface UNNotificationContent : NSObject
@end

@interface UNMutableNotificationContent : UNNotificationContent
@property(readwrite, copy) NSString* title;
@property(readwrite, copy) NSString* body;
@property(readwrite, copy, nullable) UNNotificationSound* sound;
@end

@interface UNNotificationRequest : NSObject
+ (instancetype)requestWithIdentifier:(NSString*)identifier
                              content:(UNNotificationContent*)content
                              trigger:(nullable UNNotificationTrigger*)trigger;
@end

@interface UNNotification : NSObject
@end

typedef NSUInteger UNNotificationPresentationOptions;
enum : UNNotificationPresentationOptions {
  UNNotificationPresentationOptionSound = 1 << 1,
  UNNotificationPresentationOptionList = 1 << 3,
  UNNotificationPresentationOptionBanner = 1 << 4,
};

@class UNUserNotificationCenter;

@protocol UNUserNotificationCenterDelegate <NSObject>
@optional
- (void)userNotificationCenter:(UNUserNotificationCenter*)center
       willPresentNotification:(UNNotification*)notification
         withCompletionHandler:(void (^)(UNNotificationPresentationOptions options))completionHandler;
@end

@interface UNUserNotificationCenter : NSObject
@property(weak, nullable) id<UNUserNotificationCenterDelegate> delegate;
+ (UNUserNotificationCenter*)currentNotificationCenter;
- (void)requestAuthorizationWithOptions:(UNAuthorizationOptions)options
                      completionHandler:(void (^)(BOOL granted, NSError* _Nullable error))completionHandler;
- (void)addNotificationRequest:(UNNotificationRequest*)request
         withCompletionHandler:(nullable void (^)(NSError* _Nullable error))completionHandler;
@end

#pragma clang assume_nonnull end
