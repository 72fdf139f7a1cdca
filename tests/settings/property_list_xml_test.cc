#include "settings/property_list_xml.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>

#include "settings/property_list_limits.h"

namespace kelvo {
namespace {

std::string Plist(const std::string& body) { return "<plist version=\"1.0\">" + body + "</plist>"; }

std::string Nested(int levels) {
  std::string text = "<plist>";
  for (int i = 0; i < levels - 1; ++i) text += "<array>";
  text += "<true/>";
  for (int i = 0; i < levels - 1; ++i) text += "</array>";
  return text + "</plist>";
}

std::string Attributes(int count) {
  std::string text = "<plist";
  for (int i = 0; i < count; ++i) text += " a" + std::to_string(i) + "='1'";
  return text + "><true/></plist>";
}

TEST(XmlPropertyListTest, ReadsEveryKindOfValue) {
  const struct {
    const char* body;
    PropertyList value;
  } kRows[] = {
      {"<string>a &lt;&amp;&gt; &#228;\n\t</string>", "a <&> \xC3\xA4\n\t"},
      {"<string><![CDATA[<b>]]>c</string>", "<b>c"},
      {"<string><!-- note --></string>", ""},
      {"<integer> -12\n</integer>", -12},
      {"<integer>+0x1F</integer>", 31},
      {"<real>2.5e-3</real>", 0.0025},
      {"<real>-Infinity</real>", -std::numeric_limits<double>::infinity()},
      {"<date>2024-02-29T23:59:59Z</date>", PropertyList::Date{730943999}},
      {"<data>\n\tAP8 Q\n\tEA==\n</data>", PropertyList::Data{std::string("\0\xFF\x10\x10", 4)}},
      {"<dict><key>a</key><integer>1</integer><key>a</key><dict/></dict>",
       PropertyList::Dictionary{{"a", PropertyList::Dictionary{}}}},
  };
  for (const auto& row : kRows) {
    std::string error;
    const auto value = ReadXmlPropertyList(Plist(row.body), &error);
    ASSERT_TRUE(value) << row.body << ": " << error;
    EXPECT_EQ(*value, row.value) << row.body;
  }
  EXPECT_TRUE(std::isnan(*ReadXmlPropertyList(Plist("<real>nan</real>"), nullptr)->AsReal()));
}

TEST(XmlPropertyListTest, RefusesWithTheReasonAndPrintsNothing) {
  const struct {
    std::string text;
    const char* reason;
  } kRows[] = {
      {"rubbish", "line 1"},
      {"<dict/>", "<dict>, not <plist>"},
      {"<plist/>", "no value"},
      {Plist("<true/><true/>"), "more than one value"},
      {Plist("<dict><key>a</key></dict>"), "no value for the key <a>"},
      {Plist("<dict><key>a</key><key>b</key><true/></dict>"), "no value for the key <a>"},
      {Plist("<dict><true/></dict>"), "without a key"},
      {Plist("<dict>a</dict>"), "text outside"},
      {Plist("<string><true/></string>"), "<true> inside <string>"},
      {Plist("\n\n<set/>"), "line 3: unknown element <set>"},
      {Plist("<x:dict xmlns:x='u'/>"), "unknown element <x:dict>"},
      {Plist("<integer>18446744073709551616</integer>"), "<integer>"},
      {Plist("<real>1,5</real>"), "<real>"},
      {Plist("<date>2023-02-29T00:00:00Z</date>"), "<date>"},
      {Plist("<data>QUJ</data>"), "<data>"},
      {Plist("<true>1</true>"), "<true>"},
      {"<plist><array><true/>", "line 1"},
      {"<plist><string>\xFF</string></plist>", "line 1"},
      {"<?xml version='1.0' encoding='no-such'?><plist><true/></plist>", "line 1"},
      {"<?xml version='1.0' encoding='EUC-JP'?>" + Plist("<string>\xFF\xFF</string>"), "line 1"},
      {"<!DOCTYPE plist [<!ENTITY a 'b'>]>" + Plist("<string>&a;</string>"), "entity <a>"},
      {"<!DOCTYPE plist [<!ENTITY % p SYSTEM 'file:///etc/passwd'> %p;]>" + Plist("<true/>"),
       "entity <p>"},
      {"<!DOCTYPE plist [<!ATTLIST plist a (b|c) 'b'>]>" + Plist("<true/>"), "attribute <a>"},
      {Attributes(40), "too many attributes"},
      {Attributes(500'000), "too long"},
      {"<!DOCTYPE plist SYSTEM 'x.dtd'>" + Plist("<string>&a;</string>"), "entity <a>"},
      {std::string(kMaxPropertyListBytes + 1, ' '), "larger than 64 MiB"},
  };
  testing::internal::CaptureStderr();
  for (const auto& row : kRows) {
    std::string error;
    EXPECT_FALSE(ReadXmlPropertyList(row.text, &error)) << row.text.substr(0, 200);
    EXPECT_NE(error.find(row.reason), std::string::npos)
        << error << " for " << row.text.substr(0, 200);
    EXPECT_EQ(error.find('\n'), std::string::npos) << error;
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(XmlPropertyListTest, IgnoresWhatFollowsTheClosingTag) {
  const std::string whole = Plist("<string>new</string>");
  for (const char* tail : {"\n", "</dict></plist>", "<plist>", "&x; <", "\xFF\xFE", "\x01"}) {
    EXPECT_EQ(ReadXmlPropertyList(whole + tail, nullptr), PropertyList("new")) << tail;
  }
}

TEST(XmlPropertyListTest, DecodesTheDeclaredEncoding) {
  EXPECT_EQ(
      ReadXmlPropertyList(
          "<?xml version='1.0' encoding='ISO-8859-1'?>" + Plist("<string>\xE4</string>"), nullptr),
      PropertyList("\xC3\xA4"));
  std::string utf16 = "\xFE\xFF";
  for (const char character : Plist("<string>a</string>")) utf16 += {'\0', character};
  EXPECT_EQ(ReadXmlPropertyList(utf16, nullptr), PropertyList("a"));
}

TEST(XmlPropertyListTest, DepthAndNumberOfValuesAreBounded) {
  EXPECT_TRUE(ReadXmlPropertyList(Nested(PropertyList::kMaxDepth), nullptr));
  std::string many = "<plist><array>";
  for (std::uint64_t i = 0; i < kMaxPropertyListValues; ++i) many += "<true/>";
  const std::pair<std::string, const char*> kRows[] = {
      {Nested(PropertyList::kMaxDepth + 1), "deeper than 256 levels"},
      {Nested(200'000), "deeper than 256 levels"},
      {many + "</array></plist>", "more than 1000000 values"}};
  for (const auto& [text, reason] : kRows) {
    std::string error;
    EXPECT_FALSE(ReadXmlPropertyList(text, &error));
    EXPECT_NE(error.find(reason), std::string::npos) << error;
  }
}

TEST(XmlPropertyListTest, WritesNothingThatXmlCannotHold) {
  for (const char* text : {"\x01", "\xFF", "\xEF\xBF\xBF", "\xED\xA0\x80"}) {
    EXPECT_FALSE(WriteXmlPropertyList(PropertyList::Array{text})) << text;
    EXPECT_FALSE(WriteXmlPropertyList(PropertyList::Dictionary{{text, 1}})) << text;
  }
  EXPECT_FALSE(WriteXmlPropertyList(PropertyList::Date{1e300}));
}

}  // namespace
}  // namespace kelvo
