// Source: the documentation of UNUserNotificationCenter and UNUserNotificationCenterDelegate.
#include "FernwahrungApp/Platform/NotificationPost.h"

#include "FernwahrungApp/Platform/darwin/Text.h"

#import <UserNotifications/UserNotifications.h>

/// Without it nothing is shown while the application is in front, which is just when the user looks at it.
@interface FernwahrungNotificationDelegate : NSObject <UNUserNotificationCenterDelegate>
@end

@implementation FernwahrungNotificationDelegate
- (void)userNotificationCenter:(UNUserNotificationCenter*)center
       willPresentNotification:(UNNotification*)notification
         withCompletionHandler:(void (^)(UNNotificationPresentationOptions options))completionHandler {
  completionHandler(UNNotificationPresentationOptionBanner | UNNotificationPresentationOptionList |
                    UNNotificationPresentationOptionSound);
}
@end

namespace fernwahrung {
namespace {

UNUserNotificationCenter* notificationCenter() {
  // The center holds it weakly.
  static FernwahrungNotificationDelegate* const delegate = [[FernwahrungNotificationDelegate alloc] init];
  UNUserNotificationCenter* center = UNUserNotificationCenter.currentNotificationCenter;
  center.delegate = delegate;
  return center;
}

}  // namespace

void Notifier::post(const std::string& title, const std::string& body) {
  @autoreleasepool {
    // Outside a bundle, as in a test, asking for the center ends the process.
    if (!NSBundle.mainBundle.bundleIdentifier) return;
    UNMutableNotificationContent* content = [[UNMutableNotificationContent alloc] init];
    content.title = textFrom(title);
    content.body = textFrom(body);
    content.sound = UNNotificationSound.defaultSound;
    UNUserNotificationCenter* center = notificationCenter();
    // The answer comes on a thread of the system's own; once given, it is remembered.
    [center requestAuthorizationWithOptions:UNAuthorizationOptionAlert | UNAuthorizationOptionSound
                          completionHandler:^(BOOL granted, NSError*) {
                            if (!granted) return;
                            UNNotificationRequest* request =
                                [UNNotificationRequest requestWithIdentifier:NSUUID.UUID.UUIDString
                                                                     content:content
                                                                     trigger:nil];
                            [center addNotificationRequest:request withCompletionHandler:nil];
                          }];
  }
}

}  // namespace fernwahrung
