// Unicode facts, by utf8proc.
#pragma once

#include <string>
#include <string_view>

namespace fernwahrung::Unicode {

/// Precomposed form (NFC). Text that is not valid UTF-8 is returned as it stands.
std::string precomposed(std::string_view text);
/// A letter, a mark or a number: the Unicode categories L*, M* and N*, which is what the Mac's alphanumeric
/// set holds.
bool isAlphanumeric(char32_t scalar);
/// A blank of the categories Zs, or one of the control characters that count as white space or line ends.
bool isWhitespace(char32_t scalar);
/// The scalars of a text; an invalid sequence gives U+FFFD.
std::u32string scalars(std::string_view text);
std::string utf8(std::u32string_view scalars);
/// The length in characters as a reader counts them: extended grapheme clusters.
std::size_t length(std::string_view text);
/// Simple upper case, letter by letter.
std::string uppercased(std::string_view text);
/// Case folded and precomposed: two names that are equal in this form are one name on a case-insensitive
/// volume.
std::string foldedForComparison(std::string_view text);

}  // namespace fernwahrung::Unicode
