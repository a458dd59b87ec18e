#include "Records/LogReader.h"

#include "Foundation/Clock.h"
#include "Foundation/Paths.h"
#include "Foundation/Text.h"
#include "Foundation/Unicode.h"
#include "Records/AtomicWrite.h"

#include <algorithm>
#include <fmt/format.h>
#include <string_view>

namespace fernwahrung {

namespace {

constexpr std::size_t stampLength = 19;
/// The stamp, a blank and at least one character more.
constexpr std::size_t shortestHead = 21;

std::string readOrEmpty(const std::string& path) {
  try {
    return FileOps::readFile(path);
  } catch (const std::exception&) {
    return {};
  }
}

/// The last lines of a text that are not empty, at most `limit`, the last one first.
std::vector<std::string_view> lastLines(std::string_view text, std::size_t limit) {
  std::vector<std::string_view> lines;
  while (!text.empty() && lines.size() < limit) {
    const auto feed = text.rfind('\n');
    const auto begin = feed == std::string_view::npos ? 0 : feed + 1;
    if (begin < text.size()) lines.push_back(text.substr(begin));
    text = text.substr(0, begin == 0 ? 0 : feed);
  }
  return lines;
}

/// A message as it was logged: without the process identifier in brackets that the log puts in front.
std::string message(const std::string& rest) {
  const auto close = rest.find(']');
  if (!rest.starts_with('[') || close == std::string::npos) return rest;
  return Text::trimmedBlanks(std::string_view(rest).substr(close + 1));
}

LogLine parse(const std::string& line, const std::vector<LogLine>& before) {
  LogLine result{static_cast<int>(before.size()), {}, line};
  const auto date = Dates::parseLogStamp(std::string_view(line).substr(0, stampLength));
  const auto characters = Unicode::scalars(line);
  if (date && characters.size() >= shortestHead) {
    result.date = date;
    result.text = message(Unicode::utf8(std::u32string_view(characters).substr(stampLength + 1)));
  } else if (!before.empty()) {
    result.date = before.back().date;
  }
  return result;
}

std::string resultText(const Journal& journal) {
  return journal.result().value_or("unterbrochen");
}

}  // namespace

bool LogLine::isError() const {
  const auto upper = Unicode::uppercased(text);
  const auto holds = [&](std::string_view mark) { return upper.find(mark) != std::string::npos; };
  return holds("FEHLER") || holds("-> CODE") || holds("FEHLGESCHLAGEN") || holds("❌");
}

bool LogLine::isOperation() const {
  return text.find("===") != std::string::npos;
}

namespace LogReader {

std::vector<LogLine> lines(std::size_t maxLines) {
  // A torn line with half a character in it must not cost the whole log, so each line is repaired by itself.
  const auto present = readOrEmpty(Paths::logFile());
  auto newestFirst = lastLines(present, maxLines);
  std::string older;
  if (newestFirst.size() < maxLines) {
    older = readOrEmpty(Paths::logFile() + ".1");
    const auto rest = lastLines(older, maxLines - newestFirst.size());
    newestFirst.insert(newestFirst.end(), rest.begin(), rest.end());
  }
  std::vector<LogLine> result;
  result.reserve(newestFirst.size());
  for (auto line = newestFirst.rbegin(); line != newestFirst.rend(); ++line) {
    result.push_back(parse(Text::repairedUtf8(*line), result));
  }
  return result;
}

std::vector<LogLine> lines(const Journal& journal, const std::vector<LogLine>& lines) {
  const auto first = journal.startedAt - std::chrono::seconds(1);
  const auto last = journal.finishedAt.value_or(Clock::now()) + std::chrono::seconds(2);
  std::vector<LogLine> result;
  std::copy_if(lines.begin(), lines.end(), std::back_inserter(result),
               [&](const LogLine& line) { return line.date && *line.date >= first && *line.date <= last; });
  return result;
}

std::string report(const Journal& journal, const std::vector<LogLine>& lines) {
  auto text = fmt::format("Vorgang: {} – {}\n", title(journal.kind), journal.relocation.name);
  text += fmt::format("Ergebnis: {}\n", resultText(journal));
  text += fmt::format("Gestartet: {}", Dates::logStamp(journal.startedAt));
  if (journal.finishedAt) text += fmt::format(" · beendet: {}", Dates::logStamp(*journal.finishedAt));
  text +=
      fmt::format("\nQuelle: {}\nZiel: {}\n", journal.relocation.sourcePath, journal.relocation.storagePath);
  text += fmt::format("Erledigte Schritte: {}\n", Text::join(journal.completedSteps, " → "));
  for (const auto& [key, value] : journal.paths) text += fmt::format("{}: {}\n", key, value);
  text += "\nProtokoll:\n";
  for (const auto& line : lines) {
    text += fmt::format("{} {}\n", line.date ? Dates::logStamp(*line.date) : std::string(), line.text);
  }
  return text;
}

}  // namespace LogReader
}  // namespace fernwahrung
