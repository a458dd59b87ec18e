// JSON files: pretty-printed, sorted keys, dates in ISO 8601, identifiers in upper case.
#pragma once

#include "Foundation/Dates.h"
#include "Foundation/Uuid.h"

#include <exception>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace fernwahrung {

/// A text that is no JSON, or not the JSON of the record asked for. what() is a German sentence that names
/// the key.
class JsonError : public std::exception {
 public:
  explicit JsonError(std::string description) : description_(std::move(description)) {}
  const char* what() const noexcept override { return description_.c_str(); }

 private:
  std::string description_;
};

namespace Json {

using Value = nlohmann::json;

/// Throws JsonError; also for text behind the document, and for an empty text.
Value parse(std::string_view text);
/// Pretty-printed with sorted keys. Throws JsonError when a text in it is not valid UTF-8.
std::string print(const Value& value);

/// A record's field. Throws JsonError when the key is missing (a JSON null counts as missing) or its value
/// has another type.
std::string text(const Value& object, const char* key);
bool flag(const Value& object, const char* key);
std::int64_t integer(const Value& object, const char* key);
double number(const Value& object, const char* key);
Date date(const Value& object, const char* key);
Uuid uuid(const Value& object, const char* key);
std::vector<std::string> texts(const Value& object, const char* key);
const Value& object(const Value& object, const char* key);
const Value& array(const Value& object, const char* key);

/// True when the key is there and not null.
bool has(const Value& object, const char* key);

/// Nothing when the key is absent or null; a value of another type still throws.
std::optional<std::string> optionalText(const Value& object, const char* key);
std::optional<Date> optionalDate(const Value& object, const char* key);
std::optional<std::vector<std::string>> optionalTexts(const Value& object, const char* key);

}  // namespace Json
}  // namespace fernwahrung
