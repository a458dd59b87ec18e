// Small helpers on UTF-8 text that the standard library lacks.
#pragma once

#include <charconv>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace fernwahrung::Text {

/// The pieces between the separators; empty pieces are kept only on request.
std::vector<std::string> split(std::string_view text, char separator, bool keepEmpty = false);
std::string join(const std::vector<std::string>& pieces, std::string_view separator);

/// Without white space and line ends (Unicode::isWhitespace) at both ends.
std::string trimmed(std::string_view text);
/// Without blanks and tabs at both ends.
std::string trimmedBlanks(std::string_view text);

std::string replacingAll(std::string text, std::string_view what, std::string_view with);

/// The whole text as a number of that type; nothing for anything else, overflow included.
template <typename Number = long long>
std::optional<Number> toInteger(std::string_view text, int base = 10) {
  Number number{};
  const auto end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, number, base);
  if (result.ec != std::errc() || result.ptr != end) return std::nullopt;
  return number;
}

/// Invalid UTF-8 sequences replaced by U+FFFD; valid text unchanged. Never fails.
std::string repairedUtf8(std::string_view bytes);
bool isValidUtf8(std::string_view bytes);

}  // namespace fernwahrung::Text
