// The one log file that every operation writes to.
#pragma once

#include <string_view>

namespace fernwahrung::Log {

/// Appends "yyyy-MM-dd HH:mm:ss [pid] message". Never throws and never reports a failure: on a full disk or
/// in a read-only folder the line is lost. A file of more than 5,000,000 bytes is first renamed to "….1",
/// which replaces an earlier one. Any thread; the lines of one process are ordered by a process-wide lock,
/// those of two processes interleave by line.
void write(std::string_view message) noexcept;

}  // namespace fernwahrung::Log
