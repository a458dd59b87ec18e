// The system's side of Notifier.
#pragma once

#include <string>

namespace fernwahrung::Notifier {

/// Hands the message to the desktop and returns; never fails. Any thread.
void post(const std::string& title, const std::string& body);

}  // namespace fernwahrung::Notifier
