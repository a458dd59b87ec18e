#include "Foundation/ByteFormat.h"

#include <array>
#include <fmt/format.h>
#include <string_view>

namespace fernwahrung::ByteFormat {

namespace {

struct Unit {
  std::string_view name;
  std::uint64_t size;
  int decimals;
};

constexpr std::array units = {
    Unit{"EB", 1'000'000'000'000'000'000, 2},
    Unit{"PB", 1'000'000'000'000'000, 2},
    Unit{"TB", 1'000'000'000'000, 2},
    Unit{"GB", 1'000'000'000, 2},
    Unit{"MB", 1'000'000, 1},
    Unit{"KB", 1'000, 0},
};

std::string grouped(std::uint64_t number) {
  auto digits = std::to_string(number);
  for (auto position = digits.size(); position > 3; position -= 3) digits.insert(position - 3, 1, '.');
  return digits;
}

/// In integers: a double has not digits enough for the sizes near 2^63.
std::string inUnit(std::uint64_t bytes, const Unit& unit) {
  std::uint64_t fractions = 1;
  for (int decimal = 0; decimal < unit.decimals; ++decimal) fractions *= 10;
  const auto step = unit.size / fractions;
  const auto remainder = bytes % step;
  const auto rounded = bytes / step + (remainder * 2 >= step ? 1 : 0);

  auto text = grouped(rounded / fractions);
  if (const auto decimals = rounded % fractions; decimals != 0) {
    auto digits = fmt::format("{:0{}}", decimals, unit.decimals);
    digits.erase(digits.find_last_not_of('0') + 1);
    text += ',' + digits;
  }
  return fmt::format("{} {}", text, unit.name);
}

}  // namespace

std::string german(std::int64_t bytes) {
  if (bytes == 0) return "Null KB";
  // Unsigned negation, because the smallest number has no positive counterpart.
  const auto magnitude =
      bytes < 0 ? 0 - static_cast<std::uint64_t>(bytes) : static_cast<std::uint64_t>(bytes);
  const std::string_view sign = bytes < 0 ? "-" : "";
  for (const auto& unit : units) {
    // The unit is chosen before rounding: 999 999 bytes are "1.000 KB".
    if (magnitude >= unit.size) return fmt::format("{}{}", sign, inUnit(magnitude, unit));
  }
  return fmt::format("{}{} Byte", sign, magnitude);
}

}  // namespace fernwahrung::ByteFormat
