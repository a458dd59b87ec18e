#include "Foundation/PropertyList.h"

#include "Foundation/Text.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <fmt/format.h>
#include <limits>
#include <memory>
#include <plist/plist.h>
#include <type_traits>

namespace fernwahrung::PropertyList {

namespace {

using Json = nlohmann::json;

/// The library walks the tree recursively, so a hostile document must be refused before it sees it.
constexpr int maxDepth = 512;
constexpr std::string_view binaryMagic = "bplist0";

[[noreturn]] void fail(std::string_view why) {
  throw PropertyListError(fmt::format("Die Property-Liste ist nicht lesbar ({}).", why));
}

[[noreturn]] void failDepth() {
  fail("zu tief verschachtelt");
}

/// The library ends the whole program when a text holds one.
[[noreturn]] void failZero() {
  fail("Nullbyte in einem Text");
}

// ---------------------------------------------------------------------------------------------------------------------
// Looks at a document before the library does

/// Walks a binary document along its references, which may be shared, far too deep, or run in a circle. The
/// library makes a copy of each object per reference, so a small file could ask for any amount of memory.
class BinaryInspector {
 public:
  explicit BinaryInspector(std::string_view bytes) : bytes_(bytes) {}

  void inspect() {
    constexpr std::size_t trailerSize = 32;
    if (bytes_.size() < binaryMagic.size() + 1 + trailerSize) fail("abgeschnitten");
    const auto trailer = bytes_.size() - trailerSize;
    offsetSize_ = integer(trailer + 6, 1);
    referenceSize_ = integer(trailer + 7, 1);
    objects_ = integer(trailer + 8, 8);
    const auto top = integer(trailer + 16, 8);
    table_ = integer(trailer + 24, 8);
    const auto isSize = [](std::uint64_t size) { return size >= 1 && size <= 8; };
    if (!isSize(offsetSize_) || !isSize(referenceSize_) || table_ >= trailer ||
        objects_ > (trailer - table_) / offsetSize_) {
      fail("beschädigt");
    }
    visit(top, 0);
  }

 private:
  /// What one document may cost when all its references are followed.
  static constexpr std::uint64_t maxCost = 256 << 20;
  static constexpr std::uint64_t costPerObject = 128;

  std::uint64_t integer(std::uint64_t at, std::uint64_t size) const {
    if (at > bytes_.size() || size > bytes_.size() - at) fail("beschädigt");
    std::uint64_t value = 0;
    for (std::uint64_t index = 0; index < size; ++index) {
      value = (value << 8) | static_cast<unsigned char>(bytes_[at + index]);
    }
    return value;
  }

  void pay(std::uint64_t cost) {
    if (cost > maxCost - cost_) fail("zu groß");
    cost_ += cost;
  }

  struct Object {
    std::uint64_t kind;   // the high half of the marker
    std::uint64_t count;  // of bytes, characters, elements or pairs; 0 for a number
    std::uint64_t at;     // where the content begins
  };

  static bool isText(const Object& object) { return object.kind >= 0x5 && object.kind <= 0x7; }

  Object read(std::uint64_t number) const {
    if (number >= objects_) fail("beschädigt");
    auto at = integer(table_ + number * offsetSize_, offsetSize_);
    const auto marker = integer(at++, 1);
    const auto kind = marker >> 4;
    if (kind < 0x4 || kind == 0x8) return {kind, 0, at};
    auto count = marker & 0x0F;
    if (count == 0x0F) {
      const auto sizeMarker = integer(at++, 1);
      if (sizeMarker >> 4 != 0x1 || (sizeMarker & 0x0F) > 3) fail("beschädigt");
      const auto size = std::uint64_t{1} << (sizeMarker & 0x0F);
      count = integer(at, size);
      at += size;
    }
    if (count > bytes_.size()) fail("beschädigt");
    return {kind, count, at};
  }

  std::uint64_t reference(const Object& container, std::uint64_t index) const {
    return integer(container.at + index * referenceSize_, referenceSize_);
  }

  void visit(std::uint64_t number, int depth) {
    if (depth > maxDepth) failDepth();
    const auto object = read(number);
    pay(costPerObject);
    if (isText(object)) return inspectText(object);
    if (object.kind < 0xA) return pay(object.count);
    const bool isDictionary = object.kind == 0xD;
    for (std::uint64_t index = 0; index < object.count * (isDictionary ? 2 : 1); ++index) {
      const auto element = reference(object, index);
      // The keys stand before the values.
      if (isDictionary && index < object.count && !isText(read(element))) fail("beschädigt");
      visit(element, depth + 1);
    }
  }

  void inspectText(const Object& text) {
    const std::uint64_t width = text.kind == 0x6 ? 2 : 1;
    pay(text.count * width * 2);
    for (std::uint64_t index = 0; index < text.count; ++index) {
      if (integer(text.at + index * width, width) == 0) failZero();
    }
  }

  std::string_view bytes_;
  std::uint64_t offsetSize_ = 0;
  std::uint64_t referenceSize_ = 0;
  std::uint64_t objects_ = 0;
  std::uint64_t table_ = 0;
  std::uint64_t cost_ = 0;
};

/// The XML document within the text that a tool may print around it.
std::string_view xmlDocument(std::string_view bytes) {
  for (const std::string_view opening : {"<?xml", "<!DOCTYPE plist", "<plist"}) {
    const auto begin = bytes.find(opening);
    if (begin == std::string_view::npos) continue;
    constexpr std::string_view closing = "</plist>";
    const auto end = bytes.rfind(closing);
    if (end == std::string_view::npos || end < begin) fail("abgeschnitten");
    return bytes.substr(begin, end + closing.size() - begin);
  }
  fail("kein XML");
}

/// Where the tag, comment or CDATA section that begins at `at` ends.
std::size_t markupEnd(std::string_view xml, std::size_t at) {
  const auto rest = xml.substr(at);
  const std::string_view closing = rest.starts_with("<!--")        ? "-->"
                                   : rest.starts_with("<![CDATA[") ? "]]>"
                                                                   : ">";
  const auto end = xml.find(closing, at);
  return end == std::string_view::npos ? xml.size() : end + closing.size();
}

void inspectXml(std::string_view xml) {
  if (xml.find('\0') != std::string_view::npos) failZero();
  int depth = 0;
  for (auto at = xml.find('<'); at != std::string_view::npos; at = xml.find('<', at)) {
    const auto end = markupEnd(xml, at);
    const auto tag = xml.substr(at, end - at);
    if (tag.starts_with("</array") || tag.starts_with("</dict")) {
      --depth;
    } else if ((tag.starts_with("<array") || tag.starts_with("<dict")) && !tag.ends_with("/>")) {
      if (++depth > maxDepth) failDepth();
    }
    at = end;
  }
}

// ---------------------------------------------------------------------------------------------------------------------
// From the library's nodes to JSON

struct FreeNode {
  void operator()(void* node) const { plist_free(node); }
};
using Node = std::unique_ptr<std::remove_pointer_t<plist_t>, FreeNode>;

struct FreeMemory {
  void operator()(void* memory) const { std::free(memory); }
};
template <typename T>
using Memory = std::unique_ptr<T, FreeMemory>;

Json toJson(plist_t node);

/// A scalar's text as the library writes it. It tells the sign of an integer, and a date in ISO 8601, neither
/// of which can be asked for in a way that all versions of the library share.
std::string scalarText(plist_t node) {
  char* xml = nullptr;
  std::uint32_t length = 0;
  plist_to_xml(node, &xml, &length);
  const Memory<char> owner(xml);
  const std::string_view text(xml == nullptr ? "" : xml, xml == nullptr ? 0 : length);
  const auto end = text.find("</", text.find("<plist"));
  const auto begin = text.rfind('>', end);
  if (end == std::string_view::npos || begin == std::string_view::npos) fail("unbekannter Wert");
  return std::string(text.substr(begin + 1, end - begin - 1));
}

Json integerToJson(plist_t node) {
  std::uint64_t number = 0;
  plist_get_uint_val(node, &number);
  const bool fits = number <= static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
  if (fits || scalarText(node).starts_with('-')) return static_cast<std::int64_t>(number);
  return number;
}

Json arrayToJson(plist_t node) {
  Json array = Json::array();
  plist_array_iter place = nullptr;
  plist_array_new_iter(node, &place);
  const Memory<void> owner(place);
  for (plist_t item = nullptr;;) {
    plist_array_next_item(node, place, &item);
    if (item == nullptr) return array;
    array.push_back(toJson(item));
  }
}

Json dictionaryToJson(plist_t node) {
  Json object = Json::object();
  plist_dict_iter place = nullptr;
  plist_dict_new_iter(node, &place);
  const Memory<void> owner(place);
  while (true) {
    char* key = nullptr;
    plist_t item = nullptr;
    plist_dict_next_item(node, place, &key, &item);
    const Memory<char> keyOwner(key);
    if (item == nullptr) return object;
    object[Text::repairedUtf8(key == nullptr ? "" : key)] = toJson(item);
  }
}

Json dataToJson(plist_t node) {
  char* bytes = nullptr;
  std::uint64_t length = 0;
  plist_get_data_val(node, &bytes, &length);
  const Memory<char> owner(bytes);
  return Json::binary(bytes == nullptr ? std::vector<std::uint8_t>()
                                       : std::vector<std::uint8_t>(bytes, bytes + length));
}

Json stringToJson(plist_t node, void (*read)(plist_t, char**)) {
  char* text = nullptr;
  read(node, &text);
  const Memory<char> owner(text);
  return Text::repairedUtf8(text == nullptr ? "" : text);
}

Json toJson(plist_t node) {
  switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
      std::uint8_t flag = 0;
      plist_get_bool_val(node, &flag);
      return flag != 0;
    }
    case PLIST_UINT:
      return integerToJson(node);
    case PLIST_UID: {
      std::uint64_t number = 0;
      plist_get_uid_val(node, &number);
      return number;
    }
    case PLIST_REAL: {
      double number = 0;
      plist_get_real_val(node, &number);
      return number;
    }
    case PLIST_STRING:
      return stringToJson(node, plist_get_string_val);
    case PLIST_KEY:
      return stringToJson(node, plist_get_key_val);
    case PLIST_ARRAY:
      return arrayToJson(node);
    case PLIST_DICT:
      return dictionaryToJson(node);
    case PLIST_DATA:
      return dataToJson(node);
    case PLIST_DATE:
      return scalarText(node);
    default:
      return nullptr;
  }
}

// ---------------------------------------------------------------------------------------------------------------------
// XML of our own: short, and the same whatever the library's version

std::string escaped(std::string_view text) {
  const bool isPrintable = Text::isValidUtf8(text) && text.find('\0') == std::string_view::npos;
  if (!isPrintable) throw PropertyListError("Ein Text lässt sich nicht in eine Property-Liste schreiben.");
  auto result = Text::replacingAll(std::string(text), "&", "&amp;");
  result = Text::replacingAll(std::move(result), "<", "&lt;");
  return Text::replacingAll(std::move(result), ">", "&gt;");
}

std::string realText(double number) {
  if (std::isnan(number)) return "nan";
  if (std::isinf(number)) return number > 0 ? "+infinity" : "-infinity";
  return fmt::format("{}", number);
}

void printValue(std::string& out, const Json& value, int depth);

void printContainer(std::string& out, std::string_view name, const Json& value, int depth) {
  if (depth > maxDepth) throw PropertyListError("Die Daten sind zu tief verschachtelt.");
  const std::string indent(static_cast<std::size_t>(depth), '\t');
  if (value.empty()) {
    out += fmt::format("{}<{}/>\n", indent, name);
    return;
  }
  out += fmt::format("{}<{}>\n", indent, name);
  for (const auto& [key, element] : value.items()) {
    if (value.is_object()) out += fmt::format("{}\t<key>{}</key>\n", indent, escaped(key));
    printValue(out, element, depth + 1);
  }
  out += fmt::format("{}</{}>\n", indent, name);
}

void printValue(std::string& out, const Json& value, int depth) {
  const auto scalar = [&](std::string_view name, std::string_view text) {
    out.append(static_cast<std::size_t>(depth), '\t');
    out += fmt::format("<{0}>{1}</{0}>\n", name, text);
  };
  switch (value.type()) {
    case Json::value_t::object:
      return printContainer(out, "dict", value, depth);
    case Json::value_t::array:
      return printContainer(out, "array", value, depth);
    case Json::value_t::string:
      return scalar("string", escaped(value.get_ref<const std::string&>()));
    case Json::value_t::number_integer:
    case Json::value_t::number_unsigned:
      return scalar("integer", value.dump());
    case Json::value_t::number_float:
      return scalar("real", realText(value.get<double>()));
    case Json::value_t::boolean:
      out.append(static_cast<std::size_t>(depth), '\t');
      out += value.get<bool>() ? "<true/>\n" : "<false/>\n";
      return;
    default:
      throw PropertyListError("Der Wert lässt sich nicht in eine Property-Liste schreiben.");
  }
}

}  // namespace

Json parse(std::string_view bytes) {
  const bool isBinary = bytes.starts_with(binaryMagic);
  if (isBinary) {
    BinaryInspector(bytes).inspect();
  } else {
    bytes = xmlDocument(bytes);
    inspectXml(bytes);
  }
  if (bytes.size() > std::numeric_limits<std::uint32_t>::max()) fail("zu groß");
  const auto length = static_cast<std::uint32_t>(bytes.size());
  plist_t root = nullptr;
  if (isBinary) {
    plist_from_bin(bytes.data(), length, &root);
  } else {
    plist_from_xml(bytes.data(), length, &root);
  }
  const Node owner(root);
  if (root == nullptr) fail("beschädigt");
  return toJson(root);
}

std::string printXml(const Json& value) {
  std::string out =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
      "<plist version=\"1.0\">\n";
  printValue(out, value, 0);
  return out + "</plist>\n";
}

}  // namespace fernwahrung::PropertyList
