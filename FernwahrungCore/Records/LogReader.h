// Turns the log back into lines, and an operation's journal with its lines into a report that can be copied.
#pragma once

#include "Foundation/Dates.h"
#include "Records/Journal.h"

#include <optional>
#include <string>
#include <vector>

namespace fernwahrung {

struct LogLine {
  int id = 0;                // position in the result of one read, from 0
  std::optional<Date> date;  // nothing only for a leading line without one
  std::string text;          // without date and process identifier

  /// "FEHLER", "-> CODE" or "FEHLGESCHLAGEN" in upper case, or "❌".
  bool isError() const;
  /// Holds "===", the mark of the first and last line of an operation.
  bool isOperation() const;
  bool operator==(const LogLine&) const = default;
};

/// Reads only, without a lock, and never fails: unreadable files yield fewer lines.
namespace LogReader {

/// The last `maxLines` lines across the rotation, oldest first; only these are parsed.
std::vector<LogLine> lines(std::size_t maxLines);

/// The lines from one second before the journal's start to two seconds after its end (now, while it is open).
std::vector<LogLine> lines(const Journal& journal, const std::vector<LogLine>& lines);

std::string report(const Journal& journal, const std::vector<LogLine>& lines);

}  // namespace LogReader
}  // namespace fernwahrung
