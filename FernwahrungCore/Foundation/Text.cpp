#include "Foundation/Text.h"

#include "Foundation/Unicode.h"

namespace fernwahrung::Text {

namespace {

constexpr std::string_view replacement = "\xEF\xBF\xBD";  // U+FFFD

struct Sequence {
  std::size_t length;
  bool valid;
};

/// What a lead byte allows: the number of bytes that follow, and the range of the first of them. The narrowed
/// ranges shut out overlong forms, surrogates and what lies beyond U+10FFFF.
struct Lead {
  int following;
  unsigned char low;
  unsigned char high;
};

Lead leadOf(unsigned char byte) {
  if (byte < 0x80) return {0, 0, 0};
  if (byte >= 0xC2 && byte <= 0xDF) return {1, 0x80, 0xBF};
  if (byte == 0xE0) return {2, 0xA0, 0xBF};
  if (byte == 0xED) return {2, 0x80, 0x9F};
  if (byte >= 0xE1 && byte <= 0xEF) return {2, 0x80, 0xBF};
  if (byte == 0xF0) return {3, 0x90, 0xBF};
  if (byte >= 0xF1 && byte <= 0xF3) return {3, 0x80, 0xBF};
  if (byte == 0xF4) return {3, 0x80, 0x8F};
  return {-1, 0, 0};
}

/// The character at the front of `bytes` (not empty), or the longest beginning of one: the maximal subpart,
/// for which Unicode recommends one replacement character.
Sequence firstSequence(std::string_view bytes) {
  auto lead = leadOf(static_cast<unsigned char>(bytes.front()));
  if (lead.following < 0) return {1, false};
  std::size_t length = 1;
  for (; lead.following > 0; --lead.following, ++length) {
    if (length == bytes.size()) return {length, false};
    const auto byte = static_cast<unsigned char>(bytes[length]);
    if (byte < lead.low || byte > lead.high) return {length, false};
    lead.low = 0x80;
    lead.high = 0xBF;
  }
  return {length, true};
}

/// The bytes of the white-space character in front; 0 when there is none.
std::size_t leadingWhitespace(std::string_view text) {
  if (text.empty()) return 0;
  const auto sequence = firstSequence(text);
  if (!sequence.valid) return 0;
  return Unicode::isWhitespace(Unicode::scalars(text.substr(0, sequence.length)).front()) ? sequence.length
                                                                                          : 0;
}

/// From the last byte that is no continuation on.
std::string_view lastCharacter(std::string_view text) {
  auto begin = text.size();
  while (begin > 0 && (static_cast<unsigned char>(text[--begin]) & 0xC0) == 0x80) {
  }
  return text.substr(begin);
}

}  // namespace

std::vector<std::string> split(std::string_view text, char separator, bool keepEmpty) {
  std::vector<std::string> pieces;
  std::size_t begin = 0;
  while (true) {
    const auto end = text.find(separator, begin);
    const auto piece = text.substr(begin, end == std::string_view::npos ? end : end - begin);
    if (keepEmpty || !piece.empty()) pieces.emplace_back(piece);
    if (end == std::string_view::npos) return pieces;
    begin = end + 1;
  }
}

std::string join(const std::vector<std::string>& pieces, std::string_view separator) {
  std::string text;
  for (std::size_t index = 0; index < pieces.size(); ++index) {
    if (index > 0) text += separator;
    text += pieces[index];
  }
  return text;
}

std::string trimmed(std::string_view text) {
  while (const auto length = leadingWhitespace(text)) text.remove_prefix(length);
  while (!text.empty()) {
    const auto last = lastCharacter(text);
    if (leadingWhitespace(last) != last.size()) break;
    text.remove_suffix(last.size());
  }
  return std::string(text);
}

std::string trimmedBlanks(std::string_view text) {
  const auto first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) return {};
  return std::string(text.substr(first, text.find_last_not_of(" \t") - first + 1));
}

std::string replacingAll(std::string text, std::string_view what, std::string_view with) {
  if (what.empty()) return text;
  for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + with.size())) {
    text.replace(at, what.size(), with);
  }
  return text;
}

std::string repairedUtf8(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size());
  while (!bytes.empty()) {
    const auto sequence = firstSequence(bytes);
    text += sequence.valid ? bytes.substr(0, sequence.length) : replacement;
    bytes.remove_prefix(sequence.length);
  }
  return text;
}

bool isValidUtf8(std::string_view bytes) {
  while (!bytes.empty()) {
    const auto sequence = firstSequence(bytes);
    if (!sequence.valid) return false;
    bytes.remove_prefix(sequence.length);
  }
  return true;
}

}  // namespace fernwahrung::Text
