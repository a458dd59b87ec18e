#include "Foundation/Json.h"

#include "Foundation/Text.h"

#include <cmath>
#include <fmt/format.h>

namespace fernwahrung::Json {

namespace {

/// No record of ours comes near it; a hostile file must not exhaust the stack of what walks over it.
constexpr int maxDepth = 512;

// The printed form is that of the Mac's own encoder with pretty-printing and sorted keys: two blanks per
// level, a blank on both sides of the colon, slashes escaped, no other character escaped that needs not be;
// an empty list or object is printed as its two brackets with a blank line between them. So the files stay
// the same, byte for byte, whichever of the two wrote them.
class Printer {
 public:
  std::string print(const Value& value) {
    printValue(value, 0);
    return std::move(out_);
  }

 private:
  void printValue(const Value& value, int depth) {
    if (depth > maxDepth) throw JsonError("Die Daten sind zu tief verschachtelt.");
    switch (value.type()) {
      case Value::value_t::object:
        return printObject(value, depth);
      case Value::value_t::array:
        return printArray(value, depth);
      case Value::value_t::string:
        return printText(value.get_ref<const std::string&>());
      case Value::value_t::number_float:
        return printNumber(value.get<double>());
      case Value::value_t::boolean:
      case Value::value_t::number_integer:
      case Value::value_t::number_unsigned:
      case Value::value_t::null:
        out_ += value.dump();
        return;
      case Value::value_t::binary:
      case Value::value_t::discarded:
        throw JsonError("Die Daten lassen sich nicht als JSON schreiben.");
    }
  }

  void printObject(const Value& value, int depth) {
    open('{', value.empty());
    bool first = true;
    for (const auto& [key, element] : value.items()) {
      separate(first, depth);
      printText(key);
      out_ += " : ";
      printValue(element, depth + 1);
    }
    close('}', depth);
  }

  void printArray(const Value& value, int depth) {
    open('[', value.empty());
    bool first = true;
    for (const auto& element : value) {
      separate(first, depth);
      printValue(element, depth + 1);
    }
    close(']', depth);
  }

  void open(char bracket, bool empty) {
    out_ += bracket;
    if (empty) out_ += '\n';
  }

  void separate(bool& first, int depth) {
    if (!first) out_ += ',';
    first = false;
    startLine(depth + 1);
  }

  void close(char bracket, int depth) {
    startLine(depth);
    out_ += bracket;
  }

  void startLine(int depth) {
    out_ += '\n';
    out_.append(static_cast<std::size_t>(depth) * 2, ' ');
  }

  void printNumber(double number) {
    if (!std::isfinite(number)) throw JsonError("Eine Zahl lässt sich nicht als JSON schreiben.");
    out_ += fmt::format("{}", number);
  }

  void printText(const std::string& text) {
    if (!Text::isValidUtf8(text)) throw JsonError("Ein Text ist kein gültiges UTF-8.");
    out_ += '"';
    for (const char character : text) printCharacter(character);
    out_ += '"';
  }

  void printCharacter(char character) {
    switch (character) {
      case '"':
        out_ += "\\\"";
        break;
      case '\\':
        out_ += "\\\\";
        break;
      case '/':
        out_ += "\\/";
        break;
      case '\b':
        out_ += "\\b";
        break;
      case '\f':
        out_ += "\\f";
        break;
      case '\n':
        out_ += "\\n";
        break;
      case '\r':
        out_ += "\\r";
        break;
      case '\t':
        out_ += "\\t";
        break;
      default:
        if (const auto byte = static_cast<unsigned char>(character); byte < 0x20) {
          out_ += fmt::format("\\u{:04x}", byte);
        } else {
          out_ += character;
        }
    }
  }

  std::string out_;
};

JsonError wrongType(const char* key, const char* expected) {
  return JsonError(fmt::format("Der Wert von „{}“ ist {}.", key, expected));
}

/// The value under the key; nothing when the key is absent or null.
const Value* find(const Value& record, const char* key) {
  if (!record.is_object()) throw JsonError(fmt::format("Kein JSON-Objekt, das „{}“ enthalten könnte.", key));
  const auto found = record.find(key);
  return found == record.end() || found->is_null() ? nullptr : &*found;
}

const Value& require(const Value& record, const char* key) {
  if (const auto* value = find(record, key)) return *value;
  throw JsonError(fmt::format("Der Schlüssel „{}“ fehlt.", key));
}

std::string asText(const Value& value, const char* key) {
  if (!value.is_string()) throw wrongType(key, "kein Text");
  return value.get<std::string>();
}

Date asDate(const Value& value, const char* key) {
  const auto date =
      value.is_string() ? Dates::parseIso8601(value.get_ref<const std::string&>()) : std::nullopt;
  if (!date) throw wrongType(key, "kein Datum");
  return *date;
}

std::vector<std::string> asTexts(const Value& value, const char* key) {
  if (!value.is_array()) throw wrongType(key, "keine Liste von Texten");
  std::vector<std::string> result;
  for (const auto& element : value) {
    if (!element.is_string()) throw wrongType(key, "keine Liste von Texten");
    result.push_back(element.get<std::string>());
  }
  return result;
}

/// A number without a fraction is an integer however it is written ("3.0", "1e3").
std::optional<std::int64_t> wholeNumber(const Value& value) {
  if (value.is_number_unsigned()) {
    const auto number = value.get<std::uint64_t>();
    if (number > static_cast<std::uint64_t>(INT64_MAX)) return std::nullopt;
    return static_cast<std::int64_t>(number);
  }
  if (value.is_number_integer()) return value.get<std::int64_t>();
  if (!value.is_number_float()) return std::nullopt;
  const auto number = value.get<double>();
  constexpr double limit = 9223372036854775808.0;  // 2^63
  if (!(number >= -limit && number < limit) || std::trunc(number) != number) return std::nullopt;
  return static_cast<std::int64_t>(number);
}

}  // namespace

Value parse(std::string_view text) {
  // A parser takes the zero byte for the end; a torn file may have a tail of them.
  if (text.find('\0') != std::string_view::npos)
    throw JsonError("Der Text ist kein gültiges JSON (Nullbyte).");
  const auto limitDepth = [](int depth, Value::parse_event_t, Value&) {
    if (depth > maxDepth) throw JsonError("Das JSON ist zu tief verschachtelt.");
    return true;
  };
  try {
    return Value::parse(text, limitDepth);
  } catch (const Value::parse_error& error) {
    throw JsonError(fmt::format("Der Text ist kein gültiges JSON (Fehler bei Byte {}).", error.byte));
  } catch (const Value::exception&) {
    throw JsonError("Der Text ist kein gültiges JSON (Zahl außerhalb des Bereichs).");
  }
}

std::string print(const Value& value) {
  return Printer().print(value);
}

std::string text(const Value& object, const char* key) {
  return asText(require(object, key), key);
}

bool flag(const Value& object, const char* key) {
  const auto& value = require(object, key);
  if (!value.is_boolean()) throw wrongType(key, "kein Wahrheitswert");
  return value.get<bool>();
}

std::int64_t integer(const Value& object, const char* key) {
  const auto number = wholeNumber(require(object, key));
  if (!number) throw wrongType(key, "keine ganze Zahl");
  return *number;
}

double number(const Value& object, const char* key) {
  const auto& value = require(object, key);
  if (!value.is_number()) throw wrongType(key, "keine Zahl");
  return value.get<double>();
}

Date date(const Value& object, const char* key) {
  return asDate(require(object, key), key);
}

Uuid uuid(const Value& object, const char* key) {
  const auto& value = require(object, key);
  const auto identifier = value.is_string() ? Uuid::parse(value.get_ref<const std::string&>()) : std::nullopt;
  if (!identifier) throw wrongType(key, "keine UUID");
  return *identifier;
}

std::vector<std::string> texts(const Value& object, const char* key) {
  return asTexts(require(object, key), key);
}

const Value& object(const Value& object, const char* key) {
  const auto& value = require(object, key);
  if (!value.is_object()) throw wrongType(key, "kein Objekt");
  return value;
}

const Value& array(const Value& object, const char* key) {
  const auto& value = require(object, key);
  if (!value.is_array()) throw wrongType(key, "keine Liste");
  return value;
}

bool has(const Value& object, const char* key) {
  return object.is_object() && find(object, key) != nullptr;
}

std::optional<std::string> optionalText(const Value& object, const char* key) {
  const auto* value = find(object, key);
  return value ? std::optional(asText(*value, key)) : std::nullopt;
}

std::optional<Date> optionalDate(const Value& object, const char* key) {
  const auto* value = find(object, key);
  return value ? std::optional(asDate(*value, key)) : std::nullopt;
}

std::optional<std::vector<std::string>> optionalTexts(const Value& object, const char* key) {
  const auto* value = find(object, key);
  return value ? std::optional(asTexts(*value, key)) : std::nullopt;
}

}  // namespace fernwahrung::Json
