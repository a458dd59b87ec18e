// Messages that the desktop shows outside the program's windows.
#pragma once

#include <string>

namespace fernwahrung::Notifier {

/// Writes the log line "Mitteilung: {title} – {body}", then asks the desktop to show the message. Where it
/// can't (no permission, no desktop session, nobody there who shows messages) nothing is shown and nobody is
/// told; the log line stands all the same. Starts no process and does not wait for the desktop's answer. Any
/// thread; because it writes to the disk, not the main one.
void send(const std::string& title, const std::string& body);

}  // namespace fernwahrung::Notifier
