#include "support/Files.h"

#include "Foundation/PathString.h"
#include "Foundation/PropertyList.h"

#include <bit>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <random>

namespace fernwahrung {
namespace {

using Json = nlohmann::json;
using namespace std::string_literals;

std::string fixture(const std::string& name) {
  return readFile(PathString::join(FERNWAHRUNG_FIXTURES, name));
}

std::string document(const std::string& content) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">" + content + "</plist>\n";
}

Json parsed(const std::string& content) {
  return PropertyList::parse(document(content));
}

std::string repeated(const std::string& text, int count) {
  std::string result;
  for (int round = 0; round < count; ++round) result += text;
  return result;
}

// ---------------------------------------------------------------------------------------------------------------------
// Binary documents, put together by hand: each object is given as its bytes, references are one byte.

std::string bigEndian(std::uint64_t value, int size) {
  std::string bytes;
  for (int shift = (size - 1) * 8; shift >= 0; shift -= 8) bytes += static_cast<char>(value >> shift & 0xFF);
  return bytes;
}

std::string binary(const std::vector<std::string>& objects, std::uint64_t top = 0, int referenceSize = 1) {
  std::string bytes = "bplist00";
  std::string offsets;
  for (const auto& object : objects) {
    offsets += bigEndian(bytes.size(), 4);
    bytes += object;
  }
  const auto table = bytes.size();
  return bytes + offsets + std::string(6, '\0') + '\4' + static_cast<char>(referenceSize) +
         bigEndian(objects.size(), 8) + bigEndian(top, 8) + bigEndian(table, 8);
}

const auto sampleObjects = std::vector<std::string>{
    "\xD3\x01\x02\x03\x04\x05\x06"s,  // {name: …, size: …, list: […]}
    "\x54name",
    "\x54size",
    "\x54list",                               //
    "\x63\x00\x42\x00\xFC\x00z"s,             // "Büz" in UTF-16
    "\x13\x00\x00\x04\x00\x00\x00\x00\x00"s,  // 2^42
    "\xA3\x07\x08\x09",                       //
    "\x09",                                   // true
    "\x23\x3F\xE0\x00\x00\x00\x00\x00\x00"s,  // 0.5
    "\x42\x01\xFF",                           // data
};

// ---------------------------------------------------------------------------------------------------------------------

TEST(PropertyList, recordedAttach) {
  const auto value = PropertyList::parse(fixture("hdiutil-attach/homebrew-apm-hfs-order.plist"));
  const auto& entities = value.at("system-entities");
  ASSERT_EQ(entities.size(), 3u);
  EXPECT_EQ(entities[2].at("mount-point"), "/private/tmp/dmg.BhfS2g");
  EXPECT_EQ(entities[2].at("potentially-mountable"), true);
  EXPECT_EQ(entities[0].at("potentially-mountable"), false);
}

TEST(PropertyList, everyRecordedDocumentIsADictionary) {
  for (const auto* name :
       {"hdiutil-attach/homebrew-apm-hfs-order.plist",
        "hdiutil-attach/outset-apfs-dmg-no-container-entity.plist",
        "hdiutil-attach/recorded-2026-hfs-whole-disk-last.plist",
        "hdiutil-info/bladerunner-macos15-no-images-key.plist",
        "hdiutil-info/bladerunner-macos15-three-images.plist",
        "hdiutil-info/cmdr-macos26-two-volume-apfs.trimmed.plist", "diskutil/apfs-list-edenfs-roles.plist",
        "diskutil/info-error-plist-on-smb-volume.plist", "diskutil/info-usb-hfs-volume.plist",
        "codesign/frostwire-stdout-one-line.plist", "codesign/owncloud-app-groups-expected.plist",
        "sparsebundle/howett-4tib-Info.plist"}) {
    const auto value = PropertyList::parse(fixture(name));
    EXPECT_TRUE(value.is_object() && !value.empty()) << name;
    EXPECT_EQ(PropertyList::parse(PropertyList::printXml(value)), value) << name;
  }
}

TEST(PropertyList, recordedSparseBundle) {
  const auto value = PropertyList::parse(fixture("sparsebundle/howett-4tib-Info.plist"));
  EXPECT_EQ(value.at("size").get<std::int64_t>(), 4'398'046'511'104);
  EXPECT_EQ(value.at("bundle-backingstore-version"), 1);
}

TEST(PropertyList, recordedError) {
  const auto value = PropertyList::parse(fixture("diskutil/info-error-plist-on-smb-volume.plist"));
  EXPECT_EQ(value,
            (Json{{"Error", true}, {"ErrorMessage", "Could not find disk: /Volumes/SMB"}, {"ExitCode", 1}}));
}

TEST(PropertyList, scalars) {
  EXPECT_EQ(parsed("<string>Bücher &amp; &lt;x&gt; &#228;</string>"), "Bücher & <x> ä");
  EXPECT_EQ(parsed("<string/>"), "");
  EXPECT_EQ(parsed("<string></string>"), "");
  EXPECT_EQ(parsed("<string>  a\nb  </string>"), "  a\nb  ");
  EXPECT_EQ(parsed("<string><![CDATA[a < </plist> b]]></string>"), "a < </plist> b");
  EXPECT_EQ(parsed("<true/>"), true);
  EXPECT_EQ(parsed("<false/>"), false);
  EXPECT_EQ(parsed("<real>0.25</real>"), 0.25);
  EXPECT_EQ(parsed("<date>2026-11-15T10:09:15Z</date>"), "2026-11-15T10:09:15Z");
  EXPECT_EQ(parsed("<date>1969-12-31T23:59:59Z</date>"), "1969-12-31T23:59:59Z");
  EXPECT_EQ(parsed("<data>AQID\n/w==</data>"), Json::binary({1, 2, 3, 255}));
  EXPECT_EQ(parsed("<data></data>"), Json::binary({}));
}

TEST(PropertyList, integersKeepTheirSignAndSize) {
  EXPECT_EQ(parsed("<integer>0</integer>").get<std::int64_t>(), 0);
  EXPECT_EQ(parsed("<integer>-1</integer>").get<std::int64_t>(), -1);
  EXPECT_EQ(parsed("<integer>9223372036854775807</integer>").get<std::int64_t>(),
            std::numeric_limits<std::int64_t>::max());
  const auto large = parsed("<integer>18446744073709551615</integer>");
  EXPECT_TRUE(large.is_number_unsigned());
  EXPECT_EQ(large.get<std::uint64_t>(), std::numeric_limits<std::uint64_t>::max());
  EXPECT_EQ(parsed("<array><integer>-2</integer></array>"), Json::array({-2}));
}

TEST(PropertyList, containers) {
  EXPECT_EQ(parsed("<array/>"), Json::array());
  EXPECT_EQ(parsed("<array></array>"), Json::array());
  EXPECT_EQ(parsed("<dict/>"), Json::object());
  EXPECT_EQ(parsed("<dict><key>a</key><array><dict/><string>x</string></array><key>ü</key><true/></dict>"),
            (Json{{"a", {Json::object(), "x"}}, {"ü", true}}));
}

TEST(PropertyList, aRepeatedKeyGivesOneValue) {
  EXPECT_EQ(parsed("<dict><key>a</key><string>1</string><key>a</key><string>2</string></dict>").size(), 1u);
}

TEST(PropertyList, commentsArePassedOver) {
  EXPECT_EQ(parsed("<!-- </dict> --><dict><!-- <array> --><key>a</key><!----><true/></dict>"),
            (Json{{"a", true}}));
}

TEST(PropertyList, invalidUtf8IsRepaired) {
  EXPECT_EQ(parsed("<dict><key>k\xFF</key><string>a\xC3</string></dict>"),
            (Json{{"k\xEF\xBF\xBD", "a\xEF\xBF\xBD"}}));
}

TEST(PropertyList, textAroundTheDocumentIsPassedOver) {
  const auto xml = fixture("codesign/frostwire-stdout-one-line.plist");
  const auto value = PropertyList::parse(xml);
  EXPECT_EQ(PropertyList::parse("\n\n" + xml + "\n"), value);
  EXPECT_EQ(
      PropertyList::parse("License Agreement <b>you</b> agree?\nY\n" + xml + "\nhdiutil: warning: x < y\n"),
      value);
  EXPECT_EQ(PropertyList::parse("\xEF\xBB\xBF" + xml), value);
  EXPECT_EQ(PropertyList::parse("\xFA\xDE\x71\x71\0\0\x01\0"s + xml), value);
}

TEST(PropertyList, aDocumentWithoutTheXmlHeading) {
  EXPECT_EQ(PropertyList::parse("<plist version=\"1.0\"><true/></plist>"), true);
  EXPECT_EQ(PropertyList::parse(
                "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"x\"><plist><true/></plist>"),
            true);
}

TEST(PropertyList, whatIsNoPropertyListIsRefused) {
  for (const auto& text : {""s,
                           " "s,
                           "\n"s,
                           "garbage"s,
                           "hdiutil: attach failed - Ressource ist belegt"s,
                           "{ a = b; }"s,
                           "{\"a\" : 1}"s,
                           "<html></html>"s,
                           "<?xml version=\"1.0\"?>"s,
                           "<?xml version=\"1.0\"?><html></html>"s,
                           "<plist>"s,
                           "</plist>"s,
                           "</plist><plist>"s,
                           "<plist></plist>"s,
                           "\0"s,
                           "bplist"s,
                           "bplist00"s,
                           "bplist00garbage"s,
                           "bplist00" + std::string(64, '\xFF'),
                           "bplist00" + std::string(64, '\0'),
                           document("x"),
                           document("<string>a</integer>"),
                           document("<dict><string>a</string></dict>"),
                           document("<array><string>a</array>"),
                           document("<unknown/>")}) {
    EXPECT_THROW(PropertyList::parse(text), PropertyListError) << text;
  }
}

TEST(PropertyList, errorsAreGermanSentences) {
  try {
    PropertyList::parse("garbage");
    FAIL() << "garbage was taken for a property list";
  } catch (const PropertyListError& error) {
    EXPECT_STREQ(error.what(), "Die Property-Liste ist nicht lesbar (kein XML).");
  }
}

TEST(PropertyList, everyTornXmlDocumentIsRefused) {
  const auto xml = fixture("sparsebundle/howett-4tib-Info.plist");
  const auto end = xml.find("</plist>") + std::string_view("</plist>").size();
  ASSERT_NO_THROW(PropertyList::parse(xml.substr(0, end)));
  for (std::size_t length = 0; length < end; ++length) {
    EXPECT_THROW(PropertyList::parse(xml.substr(0, length)), PropertyListError) << length;
  }
}

TEST(PropertyList, deepXmlIsRefused) {
  const auto nested = [](int depth) {
    return document(repeated("<array>", depth) + repeated("</array>", depth));
  };
  EXPECT_NO_THROW(PropertyList::parse(nested(500)));
  EXPECT_THROW(PropertyList::parse(nested(600)), PropertyListError);
  EXPECT_THROW(PropertyList::parse(nested(300'000)), PropertyListError);
  EXPECT_THROW(PropertyList::parse(document(repeated("<dict><key>a</key>", 300'000))), PropertyListError);
}

TEST(PropertyList, depthIsNotHiddenByCommentsOrBlanks) {
  EXPECT_THROW(PropertyList::parse(document(repeated("<array><!--</array>--> ", 300'000))),
               PropertyListError);
  EXPECT_THROW(PropertyList::parse(document(repeated("<array ><![CDATA[</array>]]>", 300'000))),
               PropertyListError);
  EXPECT_THROW(PropertyList::parse(document(repeated("<array></dict>", 300'000))), PropertyListError);
}

TEST(PropertyList, wideDocumentsAreFine) {
  const auto value = parsed("<array>" + repeated("<dict><key>a</key><array/></dict>", 20'000) + "</array>");
  EXPECT_EQ(value.size(), 20'000u);
}

TEST(PropertyList, binaryDocument) {
  EXPECT_EQ(
      PropertyList::parse(binary(sampleObjects)),
      (Json{{"name", "Büz"}, {"size", 4'398'046'511'104}, {"list", {true, 0.5, Json::binary({1, 255})}}}));
}

TEST(PropertyList, binaryScalars) {
  EXPECT_EQ(PropertyList::parse(binary({"\x13" + bigEndian(static_cast<std::uint64_t>(-5), 8)})), -5);
  EXPECT_EQ(PropertyList::parse(binary({"\x10\xFF"})), 255);
  EXPECT_EQ(PropertyList::parse(binary({"\x33" + bigEndian(std::bit_cast<std::uint64_t>(0.0), 8)})),
            "2001-01-01T00:00:00Z");
  EXPECT_EQ(PropertyList::parse(binary({"\x5F\x10\x14" + std::string(20, 'x')})), std::string(20, 'x'));
}

TEST(PropertyList, everyTornBinaryDocumentIsRefused) {
  const auto whole = binary(sampleObjects);
  for (std::size_t length = 0; length < whole.size(); ++length) {
    EXPECT_THROW(PropertyList::parse(whole.substr(0, length)), PropertyListError) << length;
  }
}

TEST(PropertyList, binaryReferencesInACircleAreRefused) {
  EXPECT_THROW(PropertyList::parse(binary({"\xA1"s + '\0'})), PropertyListError);
  EXPECT_THROW(PropertyList::parse(binary({"\xA1\x01", "\xA1"s + '\0'})), PropertyListError);
}

TEST(PropertyList, binaryReferencesToNowhereAreRefused) {
  EXPECT_THROW(PropertyList::parse(binary({"\xA1\x05"})), PropertyListError);
  EXPECT_THROW(PropertyList::parse(binary({"\x09"}, 1)), PropertyListError);
  EXPECT_THROW(PropertyList::parse(binary({"\x5F\x13" + bigEndian(1ULL << 62, 8)})), PropertyListError);
  EXPECT_THROW(PropertyList::parse(binary({"\xAF\x13" + bigEndian(1ULL << 62, 8)})), PropertyListError);
}

TEST(PropertyList, zeroBytesInTextsAreRefused) {
  EXPECT_THROW(PropertyList::parse(document("<string>a\0b</string>"s)), PropertyListError);
  EXPECT_THROW(PropertyList::parse(document("<dict><key>a\0b</key><true/></dict>"s)), PropertyListError);
  EXPECT_THROW(PropertyList::parse(document("<string>&#0;</string>")), PropertyListError);
  EXPECT_THROW(PropertyList::parse(document("<string>&#x0;</string>")), PropertyListError);
  EXPECT_THROW(PropertyList::parse(binary({"\x53"s + "a\0b"s})), PropertyListError);
  EXPECT_THROW(PropertyList::parse(binary({"\x62"s + "\0a\0\0"s})), PropertyListError);
  EXPECT_THROW(PropertyList::parse(binary({"\xD1\x01\x02", "\x53"s + "a\0b"s, "\x09"})), PropertyListError);
}

TEST(PropertyList, aBinaryKeyThatIsNoTextIsRefused) {
  EXPECT_THROW(PropertyList::parse(binary({"\xD1\x01\x02", "\x10\x05", "\x09"})), PropertyListError);
  EXPECT_THROW(PropertyList::parse(binary({"\xD1\x01\x02", "\xA0", "\x09"})), PropertyListError);
}

TEST(PropertyList, binarySharingDoesNotGrowWithoutBound) {
  // Each of 60 lists holds the next one twice: 2^60 objects when followed.
  std::vector<std::string> objects;
  for (int level = 0; level < 60; ++level)
    objects.push_back("\xA2" + std::string(2, static_cast<char>(level + 1)));
  objects.emplace_back("\x09");
  EXPECT_THROW(PropertyList::parse(binary(objects)), PropertyListError);
}

TEST(PropertyList, deepBinaryIsRefused) {
  std::vector<std::string> objects;
  for (std::uint64_t level = 0; level < 200'000; ++level) objects.push_back("\xA1" + bigEndian(level + 1, 4));
  objects.emplace_back("\x09");
  EXPECT_THROW(PropertyList::parse(binary(objects, 0, 4)), PropertyListError);
}

/// Changes bytes at random, always the same ones; what is read must be a value or a PropertyListError.
int damagedDocumentsThatParse(const std::string& whole) {
  std::mt19937 random(7);
  int readable = 0;
  for (int round = 0; round < 4000; ++round) {
    auto damaged = whole;
    for (int change = 0; change < 1 + round % 3; ++change) {
      damaged[random() % damaged.size()] = static_cast<char>(random());
    }
    try {
      (void)PropertyList::parse(damaged);
      ++readable;
    } catch (const PropertyListError&) {
    }
  }
  return readable;
}

TEST(PropertyList, damagedDocumentsNeverCrash) {
  EXPECT_LT(damagedDocumentsThatParse(binary(sampleObjects)), 4000);
  EXPECT_LT(damagedDocumentsThatParse(fixture("hdiutil-attach/homebrew-apm-hfs-order.plist")), 4000);
}

TEST(PropertyList, printsXml) {
  const Json value = {{"Label", "de.kivo <&> ü"}, {"RunAtLoad", true},
                      {"KeepAlive", false},       {"Interval", -300},
                      {"Fraction", 0.5},          {"Paths", {"/Volumes", Json::object(), Json::array()}}};
  EXPECT_EQ(PropertyList::printXml(value), R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<dict>
	<key>Fraction</key>
	<real>0.5</real>
	<key>Interval</key>
	<integer>-300</integer>
	<key>KeepAlive</key>
	<false/>
	<key>Label</key>
	<string>de.kivo &lt;&amp;&gt; ü</string>
	<key>Paths</key>
	<array>
		<string>/Volumes</string>
		<dict/>
		<array/>
	</array>
	<key>RunAtLoad</key>
	<true/>
</dict>
</plist>
)");
}

TEST(PropertyList, readsWhatItPrints) {
  const Json value = {{"<&>", {"a\nb", "", -1, 0.1, 1e300, true}},
                      {"large", std::numeric_limits<std::uint64_t>::max()},
                      {"small", std::numeric_limits<std::int64_t>::min()}};
  EXPECT_EQ(PropertyList::parse(PropertyList::printXml(value)), value);
}

TEST(PropertyList, refusesToPrintWhatItCannotHold) {
  EXPECT_THROW(PropertyList::printXml(nullptr), PropertyListError);
  EXPECT_THROW(PropertyList::printXml({{"a", nullptr}}), PropertyListError);
  EXPECT_THROW(PropertyList::printXml("bad \xFF"), PropertyListError);
  EXPECT_THROW(PropertyList::printXml("zero\0"s), PropertyListError);
  EXPECT_THROW(PropertyList::printXml({{"bad \xFF", 1}}), PropertyListError);
  Json deep = Json::array();
  for (int level = 0; level < 600; ++level) deep = Json::array({deep});
  EXPECT_THROW(PropertyList::printXml(deep), PropertyListError);
}

}  // namespace
}  // namespace fernwahrung
