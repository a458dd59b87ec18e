#include "Foundation/Dates.h"

#include <array>
#include <cmath>
#include <ctime>
#include <fmt/format.h>
#include <limits>

namespace fernwahrung::Dates {

namespace {

/// Point in time as a calendar shows it.
struct Fields {
  int year = 0;
  unsigned month = 0;
  unsigned day = 0;
  int hour = 0;
  int minute = 0;
  int second = 0;
};

std::time_t wholeSeconds(Date date) {
  return std::chrono::floor<std::chrono::seconds>(date).time_since_epoch().count();
}

Fields fields(const std::tm& parts) {
  return {parts.tm_year + 1900,
          static_cast<unsigned>(parts.tm_mon + 1),
          static_cast<unsigned>(parts.tm_mday),
          parts.tm_hour,
          parts.tm_min,
          parts.tm_sec};
}

Fields localFields(Date date) {
  const auto seconds = wholeSeconds(date);
  std::tm parts{};
  ::localtime_r(&seconds, &parts);
  return fields(parts);
}

Fields utcFields(Date date) {
  const auto seconds = wholeSeconds(date);
  std::tm parts{};
  ::gmtime_r(&seconds, &parts);
  return fields(parts);
}

/// Reads `text` by a pattern of its own length: '0' stands for any digit, all else for itself. The numbers
/// found are year, month, day, hour, minute, second. Nothing when the day or the time of day does not exist.
std::optional<Fields> parseFields(std::string_view text, std::string_view pattern) {
  if (text.size() != pattern.size()) return std::nullopt;
  std::array<int, 6> numbers{};
  std::size_t number = 0;
  for (std::size_t index = 0; index < text.size(); ++index) {
    if (pattern[index] == '0') {
      if (text[index] < '0' || text[index] > '9') return std::nullopt;
      numbers[number] = numbers[number] * 10 + (text[index] - '0');
    } else {
      if (text[index] != pattern[index]) return std::nullopt;
      ++number;
    }
  }
  const Fields result{numbers[0],
                      static_cast<unsigned>(numbers[1]),
                      static_cast<unsigned>(numbers[2]),
                      numbers[3],
                      numbers[4],
                      numbers[5]};
  const std::chrono::year_month_day day{std::chrono::year(result.year), std::chrono::month(result.month),
                                        std::chrono::day(result.day)};
  if (!day.ok() || result.hour > 23 || result.minute > 59 || result.second > 59) return std::nullopt;
  return result;
}

}  // namespace

Date fromUnixSeconds(double seconds) {
  // Far beyond any calendar, and small enough that neither the milliseconds nor a year overflows.
  constexpr double limit = 1e13;
  if (std::isnan(seconds)) seconds = 0;
  seconds = std::fmin(std::fmax(seconds, -limit), limit);
  return Date(std::chrono::milliseconds(std::llround(seconds * 1000)));
}

double unixSeconds(Date date) {
  return static_cast<double>(date.time_since_epoch().count()) / 1000;
}

std::string iso8601(Date date) {
  const auto at = utcFields(date);
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}Z", at.year, at.month, at.day, at.hour, at.minute,
                     at.second);
}

std::optional<Date> parseIso8601(std::string_view text) {
  const auto at = parseFields(text, "0000-00-00T00:00:00Z");
  if (!at) return std::nullopt;
  const std::chrono::sys_days day{std::chrono::year(at->year) / static_cast<int>(at->month) /
                                  static_cast<int>(at->day)};
  return Date(day + std::chrono::hours(at->hour) + std::chrono::minutes(at->minute) +
              std::chrono::seconds(at->second));
}

std::string logStamp(Date date) {
  const auto at = localFields(date);
  return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}:{:02}", at.year, at.month, at.day, at.hour, at.minute,
                     at.second);
}

std::optional<Date> parseLogStamp(std::string_view text) {
  const auto at = parseFields(text, "0000-00-00 00:00:00");
  if (!at) return std::nullopt;
  std::tm parts{};
  parts.tm_year = at->year - 1900;
  parts.tm_mon = static_cast<int>(at->month) - 1;
  parts.tm_mday = static_cast<int>(at->day);
  parts.tm_hour = at->hour;
  parts.tm_min = at->minute;
  parts.tm_sec = at->second;
  parts.tm_isdst = -1;
  return Date(std::chrono::seconds(std::mktime(&parts)));
}

std::string compactStamp(Date date) {
  const auto at = localFields(date);
  return fmt::format("{:04}{:02}{:02}-{:02}{:02}{:02}", at.year, at.month, at.day, at.hour, at.minute,
                     at.second);
}

std::string german(Date date) {
  static constexpr std::array months = {"Jan.", "Feb.", "März",  "Apr.", "Mai",  "Juni",
                                        "Juli", "Aug.", "Sept.", "Okt.", "Nov.", "Dez."};
  const auto at = localFields(date);
  return fmt::format("{}. {} {}, {:02}:{:02}", at.day, months[at.month - 1], at.year, at.hour, at.minute);
}

}  // namespace fernwahrung::Dates
