#include <gtest/gtest.h>

#include <string>

#include "platform/plist.h"

namespace tbt {
namespace {

std::string wrap(const std::string& body) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>" + body + "</dict></plist>";
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

TEST(PropertyList, RefusesMalformedDocuments) {
  const std::string deep = std::string(10000, '[');
  std::string nested;
  for (int i = 0; i < 10000; ++i) nested += "<array>";
  const std::pair<const char*, std::string> cases[] = {
      {"empty document", ""},
      {"top level is an array", "<plist><array/></plist>"},
      {"unclosed dictionary", "<plist><dict><key>a</key><string>b</string>"},
      {"mismatched closing tag", wrap("<key>a</key><string>b</integer>")},
      {"key without a value", wrap("<key>a</key>")},
      {"value without a key", wrap("<string>b</string>")},
      {"duplicate key", wrap("<key>a</key><true/><key>a</key><false/>")},
      {"unknown element", wrap("<key>a</key><number>1</number>")},
      {"unknown entity", wrap("<key>a</key><string>&nbsp;</string>")},
      {"null character reference", wrap("<key>a</key><string>&#0;</string>")},
      {"integer with letters", wrap("<key>a</key><integer>12z</integer>")},
      {"empty integer", wrap("<key>a</key><integer/>")},
      {"integer too large", wrap("<key>a</key><integer>18446744073709551616</integer>")},
      {"negative integer too small", wrap("<key>a</key><integer>-9223372036854775809</integer>")},
      {"bare 0x", wrap("<key>a</key><integer>0x</integer>")},
      {"malformed real", wrap("<key>a</key><real>1.5.2</real>")},
      {"boolean with content", wrap("<key>a</key><true>yes</true>")},
      {"base64 bad character", wrap("<key>a</key><data>AA*A</data>")},
      {"base64 short", wrap("<key>a</key><data>AAA</data>")},
      {"base64 data after padding", wrap("<key>a</key><data>AA==AAAA</data>")},
      {"malformed date", wrap("<key>a</key><date>2026-13-01T00:00:00Z</date>")},
      {"date without zone", wrap("<key>a</key><date>2026-11-22T19:43:26</date>")},
      {"unterminated comment", wrap("<!-- x")},
      {"unquoted attribute", "<plist version=1.0><dict/></plist>"},
      {"content after the document", wrap("") + "<dict/>"},
      {"unterminated doctype", "<!DOCTYPE plist [" + deep},
      {"nesting too deep", wrap("<key>a</key>" + nested)},
  };
  for (const auto& [name, xml] : cases) {
    std::string error;
    EXPECT_FALSE(parsePropertyList(xml, &error)) << name;
    EXPECT_FALSE(error.empty()) << name;
    EXPECT_EQ(error.find('\n'), std::string::npos) << name;
  }
}

}  // namespace
}  // namespace tbt
