// Property lists, XML and binary, as the Mac's tools and bundles hold them.
#pragma once

#include <exception>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

namespace fernwahrung {

/// A text that is no property list. what() is a German sentence.
class PropertyListError : public std::exception {
 public:
  explicit PropertyListError(std::string description) : description_(std::move(description)) {}
  const char* what() const noexcept override { return description_.c_str(); }

 private:
  std::string description_;
};

namespace PropertyList {

/// Dictionaries, arrays, strings, integers, reals and booleans become their JSON kin; data becomes a binary
/// value, a date its ISO 8601 text. Text around an XML document (a licence, a warning, a line feed) is passed
/// over, as hdiutil prints it. Throws PropertyListError.
nlohmann::json parse(std::string_view bytes);

/// XML. Objects, arrays, strings, integers, reals and booleans.
std::string printXml(const nlohmann::json& value);

}  // namespace PropertyList
}  // namespace fernwahrung
