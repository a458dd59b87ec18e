#include "Platform/linux/MountTable.h"

#include "Foundation/Errors.h"
#include "Foundation/FileDescriptor.h"
#include "Foundation/Text.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <optional>

namespace fernwahrung::MountTable {
namespace {

constexpr const char* kernelTable = "/proc/self/mountinfo";

template <typename Number>
bool readNumber(std::string_view text, Number& number) {
  const auto read = Text::toInteger<Number>(text);
  if (read) number = *read;
  return read.has_value();
}

bool isOctal(char character) {
  return character >= '0' && character <= '7';
}

/// The kernel writes blank, tab, line feed and backslash as a backslash and three octal digits.
std::string unescaped(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\\' && i + 3 < text.size() && std::all_of(&text[i + 1], &text[i + 1] + 3, isOctal)) {
      result += static_cast<char>((text[i + 1] - '0') * 64 + (text[i + 2] - '0') * 8 + (text[i + 3] - '0'));
      i += 3;
    } else {
      result += text[i];
    }
  }
  return result;
}

std::optional<MountEntry> parseLine(std::string_view line) {
  // An empty source is written as an empty field, so empty ones count.
  const std::vector<std::string> fields = Text::split(line, ' ', true);
  if (fields.size() < 10) return std::nullopt;
  // Any number of optional fields stands before the hyphen.
  const auto hyphen = std::find(fields.begin() + 6, fields.end(), "-");
  if (fields.end() - hyphen < 4) return std::nullopt;

  MountEntry entry;
  const std::string_view device = fields[2];
  const std::size_t colon = device.find(':');
  if (colon == std::string_view::npos || !readNumber(fields[0], entry.mountId) ||
      !readNumber(fields[1], entry.parentId) || !readNumber(device.substr(0, colon), entry.deviceMajor) ||
      !readNumber(device.substr(colon + 1), entry.deviceMinor)) {
    return std::nullopt;
  }
  entry.root = unescaped(fields[3]);
  entry.mountPoint = unescaped(fields[4]);
  entry.options = unescaped(fields[5]);
  entry.fsType = unescaped(hyphen[1]);
  entry.source = unescaped(hyphen[2]);
  entry.superOptions = unescaped(hyphen[3]);
  return entry;
}

}  // namespace

std::vector<MountEntry> parse(std::string_view mountInfo) {
  std::vector<MountEntry> entries;
  for (const std::string& line : Text::split(mountInfo, '\n')) {
    if (auto entry = parseLine(line)) entries.push_back(std::move(*entry));
  }
  return entries;
}

std::vector<MountEntry> read() {
  const FileDescriptor fd(::open(kernelTable, O_RDONLY | O_CLOEXEC));
  const auto text = fd ? readToEnd(fd.get()) : std::nullopt;
  if (!text) throw SystemError("Die Liste der Volumes kann nicht gelesen werden", kernelTable, errno);
  return parse(*text);
}

}  // namespace fernwahrung::MountTable
