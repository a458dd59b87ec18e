#include "support/Files.h"

#include "Foundation/Json.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>

namespace fernwahrung {
namespace {

using namespace std::string_literals;

/// The sentence of the error, or nothing when there was none.
template <typename Action>
std::string errorOf(const Action& action) {
  try {
    action();
  } catch (const JsonError& error) {
    return error.what();
  }
  return {};
}

TEST(Json, printsAsTheRecordedFile) {
  const auto recorded = readFile(FERNWAHRUNG_FIXTURES "/jsonencoder/showprovenance-object.json");
  const auto document = recorded.substr(0, recorded.find_last_of('}') + 1);
  EXPECT_EQ(Json::print(Json::parse(recorded)), document);
}

TEST(Json, printsSortedAndIndented) {
  const Json::Value value = {
      {"b", {1, 2, {{"x", nullptr}}}}, {"a", {{"z", true}, {"B", "ü"}}}, {"Z", -5}, {"ä", "last"}};
  EXPECT_EQ(Json::print(value),
            R"({
  "Z" : -5,
  "a" : {
    "B" : "ü",
    "z" : true
  },
  "b" : [
    1,
    2,
    {
      "x" : null
    }
  ],
  "ä" : "last"
})");
}

TEST(Json, printsEmptyContainersWithABlankLine) {
  EXPECT_EQ(Json::print(Json::Value::array()), "[\n\n]");
  EXPECT_EQ(Json::print(Json::Value::object()), "{\n\n}");
  EXPECT_EQ(Json::print({{"a", Json::Value::array()}, {"b", Json::Value::object()}}),
            "{\n  \"a\" : [\n\n  ],\n  \"b\" : {\n\n  }\n}");
}

TEST(Json, printsTextsEscapedWhereNeeded) {
  EXPECT_EQ(Json::print("a/b\\c\"d\b\f\n\r\t\x01\x1F\x7F„€😀"), R"("a\/b\\c\"d\b\f\n\r\t\u0001\u001f)"
                                                               "\x7F„€😀\"");
  EXPECT_EQ(Json::print("\0"s), R"("\u0000")");
  EXPECT_EQ(Json::print({{"a/\"b", 1}}), "{\n  \"a\\/\\\"b\" : 1\n}");
}

TEST(Json, printsNumbersShortAndExact) {
  EXPECT_EQ(Json::print(std::numeric_limits<std::int64_t>::min()), "-9223372036854775808");
  EXPECT_EQ(Json::print(std::numeric_limits<std::int64_t>::max()), "9223372036854775807");
  EXPECT_EQ(Json::print(0.9), "0.9");
  EXPECT_EQ(Json::print(0.1 + 0.2), "0.30000000000000004");
  EXPECT_EQ(Json::print(5.0), "5");
  EXPECT_EQ(Json::print(1e300), "1e+300");
}

TEST(Json, refusesToPrintWhatJsonCannotHold) {
  EXPECT_THROW(Json::print(std::nan("")), JsonError);
  EXPECT_THROW(Json::print(std::numeric_limits<double>::infinity()), JsonError);
  EXPECT_THROW(Json::print("bad \xFF"), JsonError);
  EXPECT_THROW(Json::print({{"bad \xFF", 1}}), JsonError);
  EXPECT_THROW(Json::print(Json::Value::binary({1, 2})), JsonError);
}

TEST(Json, refusesToPrintWhatIsTooDeep) {
  Json::Value value;
  for (int level = 0; level < 600; ++level) value = Json::Value::array({value});
  EXPECT_THROW(Json::print(value), JsonError);
}

TEST(Json, readsWhatItPrints) {
  const Json::Value value = {{"a", {1, -2, 0.5, "x/ä\n\0y"s, nullptr, true}}, {"o", Json::Value::object()}};
  EXPECT_EQ(Json::parse(Json::print(value)), value);
}

TEST(Json, parseRefusesWhatIsNoJson) {
  for (const auto& text :
       {""s, " "s, "{"s, "[1,]"s, "{\"a\":}"s, "{\"a\" 1}"s, "nul"s, "'a'"s, "{a:1}"s, "// x\n1"s, "\"\n\""s,
        "\"\\x\""s, "01"s, "+1"s, "NaN"s, "\xFF"s, "\"\\ud800\""s, "1e999"s}) {
    EXPECT_THROW(Json::parse(text), JsonError) << text;
  }
}

TEST(Json, parseRefusesTextBehindTheDocument) {
  EXPECT_THROW(Json::parse("{} x"), JsonError);
  EXPECT_THROW(Json::parse("{}{}"), JsonError);
  EXPECT_NO_THROW(Json::parse("{} \n\t"));
}

TEST(Json, parseRefusesATailOfZeroBytes) {
  EXPECT_THROW(Json::parse("{\"a\" : 1}\0\0\0"s), JsonError);
  EXPECT_THROW(Json::parse("\0"s), JsonError);
}

TEST(Json, parseRefusesInvalidUtf8) {
  for (const auto& bytes : {"\xFF"s, "\xC3"s, "\xED\xA0\x80"s, "\xC0\xAF"s, "\xF4\x90\x80\x80"s}) {
    EXPECT_THROW(Json::parse("{\"a\" : \"" + bytes + "\"}"), JsonError);
    EXPECT_THROW(Json::parse("{\"" + bytes + "\" : 1}"), JsonError);
  }
}

TEST(Json, parseRefusesEveryTornDocument) {
  const auto whole = Json::print({{"a", {1, "ä/€", {{"b", nullptr}}}}, {"c", 1.5}});
  ASSERT_NO_THROW(Json::parse(whole));
  for (std::size_t length = 0; length < whole.size(); ++length) {
    EXPECT_THROW(Json::parse(whole.substr(0, length)), JsonError) << length;
  }
}

TEST(Json, parseRefusesDeepNesting) {
  const auto nested = [](int depth) {
    return std::string(static_cast<std::size_t>(depth), '[') +
           std::string(static_cast<std::size_t>(depth), ']');
  };
  EXPECT_NO_THROW(Json::parse(nested(500)));
  EXPECT_THROW(Json::parse(nested(600)), JsonError);
  EXPECT_THROW(Json::parse(nested(1'000'000)), JsonError);
  EXPECT_THROW(Json::parse(std::string(5'000'000, '[')), JsonError);
  std::string objects;
  for (int level = 0; level < 200'000; ++level) objects += "{\"a\":";
  EXPECT_THROW(Json::parse(objects), JsonError);
}

TEST(Json, parseErrorsAreGermanSentences) {
  EXPECT_EQ(errorOf([] { Json::parse("{\"a\" 1}"); }),
            "Der Text ist kein gültiges JSON (Fehler bei Byte 6).");
}

const Json::Value record = Json::parse(R"({
  "text" : "Bücher", "flag" : true, "integer" : 42, "number" : 0.5, "date" : "2026-11-15T10:09:15Z",
  "uuid" : "68753a44-4d6f-1226-9c60-0050e4c00067", "texts" : ["a", "b"], "object" : {"x" : 1}, "array" : [1, "x"],
  "null" : null, "mixed" : ["a", 1], "empty" : "" })");

TEST(Json, fieldsOfTheRightType) {
  EXPECT_EQ(Json::text(record, "text"), "Bücher");
  EXPECT_EQ(Json::text(record, "empty"), "");
  EXPECT_TRUE(Json::flag(record, "flag"));
  EXPECT_EQ(Json::integer(record, "integer"), 42);
  EXPECT_EQ(Json::number(record, "number"), 0.5);
  EXPECT_EQ(Json::number(record, "integer"), 42);
  EXPECT_EQ(Json::date(record, "date"), Dates::parseIso8601("2026-11-15T10:09:15Z"));
  EXPECT_EQ(Json::uuid(record, "uuid").text(), "68753A44-4D6F-1226-9C60-0050E4C00067");
  EXPECT_EQ(Json::texts(record, "texts"), (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(Json::object(record, "object").size(), 1u);
  EXPECT_EQ(Json::array(record, "array").size(), 2u);
}

TEST(Json, aMissingKeyIsNamed) {
  const std::string sentence = "Der Schlüssel „weg“ fehlt.";
  EXPECT_EQ(errorOf([] { Json::text(record, "weg"); }), sentence);
  EXPECT_EQ(errorOf([] { Json::flag(record, "weg"); }), sentence);
  EXPECT_EQ(errorOf([] { Json::integer(record, "weg"); }), sentence);
  EXPECT_EQ(errorOf([] { Json::number(record, "weg"); }), sentence);
  EXPECT_EQ(errorOf([] { Json::date(record, "weg"); }), sentence);
  EXPECT_EQ(errorOf([] { Json::uuid(record, "weg"); }), sentence);
  EXPECT_EQ(errorOf([] { Json::texts(record, "weg"); }), sentence);
  EXPECT_EQ(errorOf([] { Json::object(record, "weg"); }), sentence);
  EXPECT_EQ(errorOf([] { Json::array(record, "weg"); }), sentence);
  EXPECT_EQ(errorOf([] { Json::text(record, "null"); }), "Der Schlüssel „null“ fehlt.");
}

TEST(Json, aValueOfAnotherTypeIsNamed) {
  EXPECT_EQ(errorOf([] { Json::text(record, "integer"); }), "Der Wert von „integer“ ist kein Text.");
  EXPECT_EQ(errorOf([] { Json::flag(record, "integer"); }), "Der Wert von „integer“ ist kein Wahrheitswert.");
  EXPECT_EQ(errorOf([] { Json::integer(record, "text"); }), "Der Wert von „text“ ist keine ganze Zahl.");
  EXPECT_EQ(errorOf([] { Json::integer(record, "number"); }), "Der Wert von „number“ ist keine ganze Zahl.");
  EXPECT_EQ(errorOf([] { Json::number(record, "text"); }), "Der Wert von „text“ ist keine Zahl.");
  EXPECT_EQ(errorOf([] { Json::date(record, "text"); }), "Der Wert von „text“ ist kein Datum.");
  EXPECT_EQ(errorOf([] { Json::date(record, "integer"); }), "Der Wert von „integer“ ist kein Datum.");
  EXPECT_EQ(errorOf([] { Json::uuid(record, "text"); }), "Der Wert von „text“ ist keine UUID.");
  EXPECT_EQ(errorOf([] { Json::texts(record, "mixed"); }),
            "Der Wert von „mixed“ ist keine Liste von Texten.");
  EXPECT_EQ(errorOf([] { Json::texts(record, "text"); }), "Der Wert von „text“ ist keine Liste von Texten.");
  EXPECT_EQ(errorOf([] { Json::object(record, "array"); }), "Der Wert von „array“ ist kein Objekt.");
  EXPECT_EQ(errorOf([] { Json::array(record, "object"); }), "Der Wert von „object“ ist keine Liste.");
}

TEST(Json, aRecordThatIsNoObjectIsAnError) {
  for (const auto* text : {"[]", "1", "null", "\"text\""}) {
    EXPECT_THROW(Json::text(Json::parse(text), "text"), JsonError) << text;
    EXPECT_THROW(Json::optionalText(Json::parse(text), "text"), JsonError) << text;
    EXPECT_FALSE(Json::has(Json::parse(text), "text")) << text;
  }
}

TEST(Json, integersWithinTheRange) {
  const auto value = [](const std::string& number) { return Json::parse("{\"n\" : " + number + "}"); };
  EXPECT_EQ(Json::integer(value("9223372036854775807"), "n"), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(Json::integer(value("-9223372036854775808"), "n"), std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(Json::integer(value("3.0"), "n"), 3);
  EXPECT_EQ(Json::integer(value("1e3"), "n"), 1000);
  for (const auto* number : {"9223372036854775808", "18446744073709551615", "18446744073709551616", "1e19",
                             "-1e19", "9.3e18", "0.1"}) {
    EXPECT_THROW(Json::integer(value(number), "n"), JsonError) << number;
  }
}

TEST(Json, hasCountsNullAsMissing) {
  EXPECT_TRUE(Json::has(record, "text"));
  EXPECT_FALSE(Json::has(record, "null"));
  EXPECT_FALSE(Json::has(record, "weg"));
}

TEST(Json, optionalFields) {
  EXPECT_EQ(Json::optionalText(record, "text"), "Bücher");
  EXPECT_EQ(Json::optionalText(record, "null"), std::nullopt);
  EXPECT_EQ(Json::optionalText(record, "weg"), std::nullopt);
  EXPECT_EQ(Json::optionalDate(record, "date"), Dates::parseIso8601("2026-11-15T10:09:15Z"));
  EXPECT_EQ(Json::optionalDate(record, "weg"), std::nullopt);
  EXPECT_EQ(Json::optionalTexts(record, "texts"), (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(Json::optionalTexts(record, "null"), std::nullopt);
}

TEST(Json, anOptionalFieldOfAnotherTypeIsAnError) {
  EXPECT_THROW(Json::optionalText(record, "integer"), JsonError);
  EXPECT_THROW(Json::optionalDate(record, "text"), JsonError);
  EXPECT_THROW(Json::optionalTexts(record, "mixed"), JsonError);
}

}  // namespace
}  // namespace fernwahrung
