#pragma once

#import <Foundation/Foundation.h>
#include <string>

namespace fernwahrung {

/// Bytes that are no valid UTF-8, for which there is no NSString, give an empty one.
inline NSString* textFrom(const std::string& utf8) {
  NSString* text = [NSString stringWithUTF8String:utf8.c_str()];
  return text ? text : @"";
}

}  // namespace fernwahrung
