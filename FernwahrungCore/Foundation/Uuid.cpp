#include "Foundation/Uuid.h"

#include <cstdint>
#include <fmt/format.h>
#include <random>

namespace fernwahrung {

namespace {

constexpr std::string_view nil = "00000000-0000-0000-0000-000000000000";

char upperHexDigit(char character) {
  if (character >= 'a' && character <= 'f') return static_cast<char>(character - 'a' + 'A');
  return character;
}

bool isUpperHexDigit(char character) {
  return (character >= '0' && character <= '9') || (character >= 'A' && character <= 'F');
}

}  // namespace

Uuid::Uuid() : text_(nil) {
}

Uuid Uuid::random() {
  std::random_device source;
  const auto half = [&source] {
    return (static_cast<std::uint64_t>(source()) << 32) | static_cast<std::uint32_t>(source());
  };
  const auto high = half();
  const auto low = half();
  return Uuid(fmt::format("{:08X}-{:04X}-{:04X}-{:04X}-{:012X}", high >> 32, (high >> 16) & 0xFFFF,
                          0x4000 | (high & 0x0FFF), 0x8000 | (low >> 48 & 0x3FFF), low & 0xFFFF'FFFF'FFFF));
}

std::optional<Uuid> Uuid::parse(std::string_view text) {
  if (text.size() != nil.size()) return std::nullopt;
  std::string upper;
  for (std::size_t index = 0; index < text.size(); ++index) {
    const char character = upperHexDigit(text[index]);
    if (nil[index] == '-' ? character != '-' : !isUpperHexDigit(character)) return std::nullopt;
    upper += character;
  }
  return Uuid(std::move(upper));
}

}  // namespace fernwahrung
