// Identifiers of relocations and journals.
#pragma once

#include <compare>
#include <optional>
#include <string>
#include <string_view>

namespace fernwahrung {

/// A UUID, kept in its upper-case text form: "68753A44-4D6F-1226-9C60-0050E4C00067".
class Uuid {
 public:
  /// The nil UUID.
  Uuid();
  /// A fresh random one (version 4).
  static Uuid random();
  /// Hexadecimal digits of either case in the form 8-4-4-4-12; anything else is nothing.
  static std::optional<Uuid> parse(std::string_view text);

  const std::string& text() const { return text_; }
  auto operator<=>(const Uuid&) const = default;

 private:
  explicit Uuid(std::string text) : text_(std::move(text)) {}
  std::string text_;
};

}  // namespace fernwahrung
