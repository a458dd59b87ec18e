// Source: the documentation of UNUserNotificationCenter.
#include "FernwahrungApp/Platform/NotificationPost.h"

#include "FernwahrungApp/Platform/darwin/Text.h"

#import <UserNotifications/UserNotifications.h>

namespace fernwahrung {

void Notifier::post(const std::string& title, const std::string& body) {
  @autoreleasepool {
    // Outside a bundle, as in a test, asking for the center ends the process.
    if (!NSBundle.mainBundle.bundleIdentifier) return;
    UNMutableNotificationContent* content = [[UNMutableNotificationContent alloc] init];
    content.title = textFrom(title);
    content.body = textFrom(body);
    content.sound = UNNotificationSound.defaultSound;
    UNUserNotificationCenter* center = UNUserNotificationCenter.currentNotificationCenter;
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
