// Points in time, and their three written forms. Time zone: the process's.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace fernwahrung {

using Date = std::chrono::time_point<std::chrono::system_clock, std::chrono::milliseconds>;

namespace Dates {

Date fromUnixSeconds(double seconds);
double unixSeconds(Date date);

/// "2026-11-15T10:09:15Z": whole seconds (cut, not rounded), always UTC. The form of every date in the JSON
/// files.
std::string iso8601(Date date);
/// Only the form above, and only existing dates; anything else is nothing.
std::optional<Date> parseIso8601(std::string_view text);

/// "yyyy-MM-dd HH:mm:ss" in local time: the head of a log line.
std::string logStamp(Date date);
/// The form above and nothing around it.
std::optional<Date> parseLogStamp(std::string_view text);

/// "yyyyMMdd-HHmmss" in local time.
std::string compactStamp(Date date);

/// For people: "15. Nov. 2026, 11:09", local time.
std::string german(Date date);

}  // namespace Dates
}  // namespace fernwahrung
