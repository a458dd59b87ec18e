// What the program asks of the desktop: show a file, open something, end another application politely.
#pragma once

#include <cstdint>
#include <string>

namespace fernwahrung::Desktop {

/// Shows the item, selected, in the file manager; on Linux at least the folder it lies in. `path` is absolute
/// and may hold any bytes. Returns at once and reports no failure. Main thread, with a running event loop.
void reveal(const std::string& path);

/// Opens an absolute path with its application, or an address ("https://…",
/// "x-apple.systempreferences:…") with what the system has for it. Returns at once and reports no failure.
/// Main thread.
void open(const std::string& pathOrUrl);

/// Asks the application with that process id to quit, as its own menu would; it may decline, or ask its user
/// first. False when the process is no application, has ended, or the system knows no such request (Linux):
/// the caller is left with a signal. Any thread.
bool askToQuit(std::int32_t pid);

}  // namespace fernwahrung::Desktop
