// Text as a terminal shows it.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

namespace fernwahrung {

/// On one line and harmless to a terminal: control characters, line separators and characters that turn the
/// writing direction become escapes ("\n", "\x1b", "\u202e"), invalid UTF-8 becomes U+FFFD.
std::string visible(std::string_view text);

/// The columns a terminal needs for a text without control characters.
int columns(std::string_view text);

/// Cut to at most `width` columns, the last of them then "…".
std::string shortened(std::string_view text, int width);

/// Filled with blanks up to `width` columns.
std::string padded(std::string_view text, int width);

/// "✓", "!" and "✗" for the values of an enumeration of three levels, the best first.
template <typename Level>
std::string levelSymbol(Level level) {
  constexpr std::array symbols{"✓", "!", "✗"};
  return symbols.at(static_cast<std::size_t>(level));
}

}  // namespace fernwahrung
