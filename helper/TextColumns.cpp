#include "helper/TextColumns.h"

#include "Foundation/Unicode.h"

#include <algorithm>
#include <fmt/format.h>
#include <utf8proc.h>

namespace fernwahrung {

namespace {

bool needsEscape(char32_t scalar) {
  switch (utf8proc_category(static_cast<utf8proc_int32_t>(scalar))) {
    case UTF8PROC_CATEGORY_CC:
    case UTF8PROC_CATEGORY_ZL:
    case UTF8PROC_CATEGORY_ZP:
      return true;
    default:
      return (scalar >= 0x202A && scalar <= 0x202E) || (scalar >= 0x2066 && scalar <= 0x2069) ||
             scalar == 0x200E || scalar == 0x200F;
  }
}

std::string escape(char32_t scalar) {
  switch (scalar) {
    case '\n':
      return "\\n";
    case '\r':
      return "\\r";
    case '\t':
      return "\\t";
    default:
      return scalar < 0x100 ? fmt::format("\\x{:02x}", static_cast<unsigned>(scalar))
                            : fmt::format("\\u{:04x}", static_cast<unsigned>(scalar));
  }
}

int columns(char32_t scalar) {
  return std::max(0, utf8proc_charwidth(static_cast<utf8proc_int32_t>(scalar)));
}

}  // namespace

std::string visible(std::string_view text) {
  std::string result;
  for (const char32_t scalar : Unicode::scalars(text))
    result += needsEscape(scalar) ? escape(scalar) : Unicode::utf8(std::u32string_view(&scalar, 1));
  return result;
}

int columns(std::string_view text) {
  int width = 0;
  for (const char32_t scalar : Unicode::scalars(text)) width += columns(scalar);
  return width;
}

std::string shortened(std::string_view text, int width) {
  if (columns(text) <= width) return std::string(text);
  std::u32string kept;
  int used = 1;  // of the ellipsis
  for (const char32_t scalar : Unicode::scalars(text)) {
    used += columns(scalar);
    if (used > width) break;
    kept += scalar;
  }
  return width > 0 ? Unicode::utf8(kept) + "…" : "";
}

std::string padded(std::string_view text, int width) {
  return std::string(text) + std::string(static_cast<std::size_t>(std::max(0, width - columns(text))), ' ');
}

}  // namespace fernwahrung
