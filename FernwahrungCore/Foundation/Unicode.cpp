#include "Foundation/Unicode.h"

#include "Foundation/Text.h"

#include <cstdlib>
#include <memory>
#include <utf8proc.h>

namespace fernwahrung::Unicode {

namespace {

struct Free {
  void operator()(utf8proc_uint8_t* memory) const { std::free(memory); }
};

/// The text itself when it is not valid UTF-8, which utf8proc refuses.
std::string mapped(std::string_view text, int options) {
  utf8proc_uint8_t* bytes = nullptr;
  const auto length = utf8proc_map(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                                   static_cast<utf8proc_ssize_t>(text.size()), &bytes,
                                   static_cast<utf8proc_option_t>(options));
  const std::unique_ptr<utf8proc_uint8_t, Free> owner(bytes);
  if (length < 0) return std::string(text);
  return {reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(length)};
}

}  // namespace

std::string precomposed(std::string_view text) {
  return mapped(text, UTF8PROC_STABLE | UTF8PROC_COMPOSE);
}

bool isAlphanumeric(char32_t scalar) {
  switch (utf8proc_category(static_cast<utf8proc_int32_t>(scalar))) {
    case UTF8PROC_CATEGORY_LU:
    case UTF8PROC_CATEGORY_LL:
    case UTF8PROC_CATEGORY_LT:
    case UTF8PROC_CATEGORY_LM:
    case UTF8PROC_CATEGORY_LO:
    case UTF8PROC_CATEGORY_MN:
    case UTF8PROC_CATEGORY_MC:
    case UTF8PROC_CATEGORY_ME:
    case UTF8PROC_CATEGORY_ND:
    case UTF8PROC_CATEGORY_NL:
    case UTF8PROC_CATEGORY_NO:
      return true;
    default:
      return false;
  }
}

bool isWhitespace(char32_t scalar) {
  if ((scalar >= U'\t' && scalar <= U'\r') || scalar == 0x85) return true;
  switch (utf8proc_category(static_cast<utf8proc_int32_t>(scalar))) {
    case UTF8PROC_CATEGORY_ZS:
    case UTF8PROC_CATEGORY_ZL:
    case UTF8PROC_CATEGORY_ZP:
      return true;
    default:
      return false;
  }
}

std::u32string scalars(std::string_view text) {
  const auto repaired = Text::repairedUtf8(text);
  const auto* bytes = reinterpret_cast<const utf8proc_uint8_t*>(repaired.data());
  auto left = static_cast<utf8proc_ssize_t>(repaired.size());
  std::u32string result;
  while (left > 0) {
    utf8proc_int32_t scalar = 0;
    const auto used = utf8proc_iterate(bytes, left, &scalar);
    if (used <= 0) break;
    result += static_cast<char32_t>(scalar);
    bytes += used;
    left -= used;
  }
  return result;
}

std::string utf8(std::u32string_view scalars) {
  std::string text;
  for (auto scalar : scalars) {
    if (!utf8proc_codepoint_valid(static_cast<utf8proc_int32_t>(scalar))) scalar = U'\uFFFD';
    utf8proc_uint8_t bytes[4];
    const auto length = utf8proc_encode_char(static_cast<utf8proc_int32_t>(scalar), bytes);
    text.append(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(length));
  }
  return text;
}

std::size_t length(std::string_view text) {
  std::size_t count = 0;
  utf8proc_int32_t previous = 0;
  utf8proc_int32_t state = 0;
  for (const char32_t scalar : scalars(text)) {
    const auto next = static_cast<utf8proc_int32_t>(scalar);
    if (count == 0 || utf8proc_grapheme_break_stateful(previous, next, &state)) ++count;
    previous = next;
  }
  return count;
}

std::string uppercased(std::string_view text) {
  auto letters = scalars(text);
  for (auto& letter : letters) {
    letter = static_cast<char32_t>(utf8proc_toupper(static_cast<utf8proc_int32_t>(letter)));
  }
  return utf8(letters);
}

std::string foldedForComparison(std::string_view text) {
  return mapped(text, UTF8PROC_STABLE | UTF8PROC_COMPOSE | UTF8PROC_CASEFOLD);
}

}  // namespace fernwahrung::Unicode
