// How the cases of an enumeration are written in the files, and what the user reads.
#pragma once

#include "Foundation/Json.h"

#include <array>
#include <fmt/format.h>
#include <optional>
#include <string>

namespace fernwahrung {

template <typename Case>
struct CaseName {
  Case value;
  const char* rawValue;
  const char* title = "";
};

/// Every case has its entry.
template <typename Case, std::size_t count>
const CaseName<Case>& nameOf(const std::array<CaseName<Case>, count>& table, Case value) {
  std::size_t index = 0;
  while (table.at(index).value != value) ++index;
  return table[index];
}

template <typename Case, std::size_t count>
std::optional<Case> caseOf(const std::array<CaseName<Case>, count>& table, const std::string& rawValue) {
  for (const auto& name : table) {
    if (rawValue == name.rawValue) return name.value;
  }
  return std::nullopt;
}

/// A record's field that holds a raw value. Throws JsonError, also for one that no case has.
template <typename Case, std::size_t count>
Case decodedCase(const std::array<CaseName<Case>, count>& table, const Json::Value& object, const char* key) {
  const auto value = caseOf(table, Json::text(object, key));
  if (!value) throw JsonError(fmt::format("Der Wert von „{}“ ist unbekannt.", key));
  return *value;
}

}  // namespace fernwahrung
