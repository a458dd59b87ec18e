#pragma once

#include <cstdint>
#include <limits>

namespace fernwahrung {

/// The product, or the nearest number that 64 bits hold: what a count of blocks gives that nobody can have.
inline std::int64_t saturatingProduct(std::int64_t left, std::int64_t right) {
  std::int64_t product = 0;
  if (!__builtin_mul_overflow(left, right, &product)) return product;
  using Limits = std::numeric_limits<std::int64_t>;
  return (left < 0) == (right < 0) ? Limits::max() : Limits::min();
}

}  // namespace fernwahrung
