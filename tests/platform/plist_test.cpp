#include <gtest/gtest.h>

#include <string>

#include "platform/plist.h"

namespace tbt {
namespace {

std::string wrap(const std::string& body) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>" + body + "</dict></plist>";
}

// Each field of a date at its largest and one above, and at its smallest and one below.
TEST(PropertyList, DateFieldsAtTheirLimits) {
  const std::pair<const char*, bool> dates[] = {
      {"2026-12-31T23:59:60Z", true},  {"2026-01-01T00:00:00Z", true},  {"2026-13-31T23:59:59Z", false},
      {"2026-12-32T23:59:59Z", false}, {"2026-12-31T24:59:59Z", false}, {"2026-12-31T23:60:59Z", false},
      {"2026-12-31T23:59:61Z", false}, {"2026-00-01T00:00:00Z", false}, {"2026-01-00T00:00:00Z", false},
  };
  for (const auto& [date, valid] : dates) {
    std::string error;
    auto dict = parsePropertyList(wrap(std::string("<key>a</key><date>") + date + "</date>"), &error);
    EXPECT_EQ(error, valid ? "" : std::string("line 2: malformed date '") + date + "'");
    if (!valid) continue;
    ASSERT_TRUE(dict) << date;
    EXPECT_EQ(dict->find("a")->asString(), date);
  }
}

TEST(PropertyList, ReadsEveryKindOfValue) {
  const std::string xml = R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//x//DTD PLIST 1.0//EN" "x.dtd" [ <!ENTITY e "a>b"> ]>
<!-- a comment before the document -->
<plist version="1.0">
<dict>
  <key>text</key>      <string>Tom &amp; &quot;Jerry&quot; &lt;&gt; &apos;&#65;&#x263a;<!-- x --><![CDATA[<raw>]]></string>
  <key>empty</key>     <string/>
  <key>decimal</key>   <integer>135</integer>
  <key>negative</key>  <integer>-1</integer>
  <key>hex</key>       <integer>0xE00002BC</integer>
  <key>real</key>      <real>-2.5e3</real>
  <key>yes</key>       <true/>
  <key>no</key>        <false/>
  <key>data</key>      <data>
    AAEC
    /w==
  </data>
  <key>when</key>      <date>2026-11-22T19:43:26Z</date>
  <key>list</key>      <array><integer>1</integer><dict/><array/></array>
  <key>nested</key>    <dict><key>inner</key><string>x</string></dict>
</dict>
</plist>
)";
  std::string error;
  auto dict = parsePropertyList(xml, &error);
  ASSERT_TRUE(dict) << error;
  EXPECT_EQ(dict->find("text")->asString(), "Tom & \"Jerry\" <> 'A\xE2\x98\xBA<raw>");
  EXPECT_EQ(dict->find("empty")->asString(), "");
  EXPECT_EQ(dict->find("decimal")->asNumber(), 135u);
  EXPECT_EQ(dict->find("negative")->asNumber(), UINT64_MAX);
  EXPECT_EQ(dict->find("hex")->asNumber(), 0xE00002BCu);
  EXPECT_EQ(dict->find("real")->asReal(), -2500.0);
  EXPECT_TRUE(dict->find("yes")->asBoolean());
  EXPECT_FALSE(dict->find("no")->asBoolean());
  EXPECT_EQ(dict->find("data")->asData(), (std::vector<uint8_t>{0x00, 0x01, 0x02, 0xFF}));
  EXPECT_EQ(dict->find("when")->kind(), Property::Kind::Date);
  EXPECT_EQ(dict->find("when")->asString(), "2026-11-22T19:43:26Z");
  ASSERT_EQ(dict->find("list")->asArray().size(), 3u);
  EXPECT_TRUE(dict->find("list")->asArray()[1].isDictionary());
  EXPECT_EQ(dict->find("nested")->asDictionary().find("inner")->asString(), "x");
  // Keys keep the document's order.
  EXPECT_EQ(dict->items().front().first, "text");
  EXPECT_EQ(dict->items().back().first, "nested");
}

// Every padding form of base64 data, with bits set in every position.
TEST(PropertyList, DecodesEveryPaddingForm) {
  const std::pair<const char*, std::vector<uint8_t>> cases[] = {
      {"", {}},
      {"AQID", {1, 2, 3}},
      {"AQIDBA==", {1, 2, 3, 4}},
      {"AQIDBAU=", {1, 2, 3, 4, 5}},
      {"//8=", {0xff, 0xff}},
      {"////", {0xff, 0xff, 0xff}},
  };
  for (const auto& [text, bytes] : cases) {
    auto dict = parsePropertyList(wrap(std::string("<key>a</key><data>") + text + "</data>"));
    ASSERT_TRUE(dict) << text;
    EXPECT_EQ(dict->find("a")->asData(), bytes) << text;
  }
}

// Containers nest up to 64 deep, the top dictionary included.
std::string nestedArrays(int count) {
  std::string open, close;
  for (int i = 0; i < count; ++i) open += "<array>", close += "</array>";
  return wrap("<key>a</key>" + open + close);
}

TEST(PropertyList, NestingLimit) {
  EXPECT_TRUE(parsePropertyList(nestedArrays(62)));
  EXPECT_TRUE(parsePropertyList(nestedArrays(63)));
  std::string error;
  EXPECT_FALSE(parsePropertyList(nestedArrays(64), &error));
  EXPECT_EQ(error, "line 2: containers nested too deeply");
}

TEST(PropertyList, RefusesMalformedDocuments) {
  const std::string deep = std::string(10000, '[');
  struct Case {
    const char* name;
    std::string xml;
    const char* error;
  };
  const Case cases[] = {
      {"empty document", "", "line 1: expected an element"},
      {"top level is an array", "<plist><array/></plist>", "line 1: the top level is not a dictionary"},
      {"unclosed dictionary", "<plist><dict><key>a</key><string>b</string>", "line 1: expected an element"},
      {"mismatched closing tag", wrap("<key>a</key><string>b</integer>"), "line 2: expected </string>"},
      {"key without a value", wrap("<key>a</key>"), "line 2: key 'a' has no value"},
      {"value without a key", wrap("<string>b</string>"), "line 2: expected <key> in a dictionary"},
      {"duplicate key", wrap("<key>a</key><true/><key>a</key><false/>"), "line 2: duplicate key 'a'"},
      {"unknown element", wrap("<key>a</key><number>1</number>"), "line 2: unknown element <number>"},
      {"unknown entity", wrap("<key>a</key><string>&nbsp;</string>"), "line 2: malformed entity reference"},
      {"integer with letters", wrap("<key>a</key><integer>12z</integer>"), "line 2: malformed integer '12z'"},
      {"integer too large", wrap("<key>a</key><integer>18446744073709551616</integer>"), "line 2: malformed integer '18446744073709551616'"},
      {"malformed real", wrap("<key>a</key><real>1.5.2</real>"), "line 2: malformed real '1.5.2'"},
      {"boolean with content", wrap("<key>a</key><true>yes</true>"), "line 2: a boolean has no content"},
      {"base64 short", wrap("<key>a</key><data>AAA</data>"), "line 2: malformed base64 data"},
      {"base64 data after padding", wrap("<key>a</key><data>AA==AAAA</data>"), "line 2: malformed base64 data"},
      {"base64 three paddings", wrap("<key>a</key><data>A===</data>"), "line 2: malformed base64 data"},
      {"date without zone", wrap("<key>a</key><date>2026-11-22T19:43:26</date>"), "line 2: malformed date '2026-11-22T19:43:26'"},
      {"unterminated comment", wrap("<!-- x"), "line 2: unterminated comment"},
      {"unquoted attribute", "<plist version=1.0><dict/></plist>", "line 1: unquoted attribute value"},
      {"content after the document", wrap("") + "<dict/>", "line 2: content after the top-level dictionary"},
      {"unterminated doctype", "<!DOCTYPE plist [" + deep, "line 1: unterminated document type declaration"},
  };
  for (const Case& c : cases) {
    std::string error;
    EXPECT_FALSE(parsePropertyList(c.xml, &error)) << c.name;
    EXPECT_EQ(error, c.error) << c.name;
  }
}

}  // namespace
}  // namespace tbt
