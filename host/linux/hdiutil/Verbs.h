// What hdiutil can do; each verb takes the arguments behind it and gives the exit status. They throw Failure
// with the reason alone.
#pragma once

#include "linux/Tools.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace fernwahrung::host::Hdiutil {

/// Thrown for arguments that the verb doesn't know, lacks, or has too many of.
class UsageError : public std::exception {
 public:
  const char* what() const noexcept override { return "usage"; }
};

int create(const Arguments& arguments);
int attach(const Arguments& arguments);
int info(const Arguments& arguments);
int detach(const Arguments& arguments);
int resize(const Arguments& arguments);
int compact(const Arguments& arguments);

/// Options of the form that hdiutil has: a single hyphen, with or without a value behind it.
class OptionReader {
 public:
  explicit OptionReader(const Arguments& arguments) : rest_(arguments) {}

  bool takeFlag(std::string_view name);
  std::optional<std::string> takeValue(std::string_view name);
  /// The one argument left; UsageError unless it is exactly one and no option.
  std::string operand() const;
  void requireNoMore() const;

 private:
  Arguments rest_;
};

/// "143m" in bytes; nothing for any other form.
std::optional<std::int64_t> parseSize(std::string_view text);

}  // namespace fernwahrung::host::Hdiutil
