#include "settings/xml_document.h"

#include <gtest/gtest.h>

#include "settings/value_utilities.h"

namespace kelvo::test {
namespace {

std::string Repeated(const std::string& text, int count) {
  std::string all;
  for (int i = 0; i < count; ++i) all += text;
  return all;
}

std::string TextOf(const std::string& xml) {
  std::string error;
  const XmlDocument document = ParseXmlDocument(xml, &error);
  return document == nullptr ? "ERROR " + error
                             : NodeText(reinterpret_cast<const xmlNode*>(document.get()));
}

TEST(XmlDocumentTest, TakesTextAndNothingThatStandsForText) {
  const struct {
    std::string xml;
    const char* text;
  } kCases[] = {
      {"<a> x &amp; &#233;<b>1<c/>2</b><!-- no --><?no no?>3 </a>", " x & \u00e9123 "},
      {"<a>1<![CDATA[<2&]]><![CDATA[3]]></a>", "1<2&3"},
      {"<?xml version='1.0' encoding='ISO-8859-1'?><a>\xE9</a>", "\u00e9"},
      {"<!DOCTYPE a [<!ENTITY e 'text'>]><a b='&e;'>1&e;2</a>", "12"},
      {"<!DOCTYPE a [<!ENTITY e SYSTEM '/etc/passwd'>]><a>1&e;2</a>", "12"},
      {"<!DOCTYPE a [<!ENTITY % p '<!ENTITY e \"x\">'>%p;]><a>12</a>", "12"},
      {"<!DOCTYPE a SYSTEM 'http://127.0.0.1:1/a.dtd'><a>12</a>", "12"},
  };
  for (const auto& c : kCases) EXPECT_EQ(c.text, TextOf(c.xml)) << c.xml;
}

TEST(XmlDocumentTest, SaysWhyATextIsRefused) {
  const struct {
    std::string xml;
    const char* reason;
  } kCases[] = {
      {"", "empty"},
      {"<a>", "Premature end"},
      {"<a/><b/>", "Extra content"},
      {"<a>\n&unknown;</a>", "line 2: Entity 'unknown' not defined"},
      {std::string("<a>\0</a>", 8), "line 1"},
      {"<a>\xFF</a>", "line 1"},
      {Repeated("<a>", 300) + Repeated("</a>", 300), "depth"},
      {"<a" + std::string(300'000, ' ') + "/>", "too long"},
      {"<a>" + std::string(65 << 20, ' ') + "</a>", "larger than 64 MiB"},
      {"<a>" + Repeated("<b/>", 2'000'001) + "</a>", "too many elements"},
  };
  for (const auto& c : kCases) {
    const std::string text = TextOf(c.xml);
    EXPECT_TRUE(text.starts_with("ERROR ")) << c.xml.substr(0, 60);
    EXPECT_NE(std::string::npos, text.find(c.reason)) << text;
  }
}

TEST(XmlDocumentTest, HostileTextsTakeNeitherTimeNorMemory) {
  std::string laughs = "<!DOCTYPE a [<!ENTITY e0 'ha'>";
  for (int i = 1; i < 30; ++i) {
    const std::string former = "&e" + std::to_string(i - 1) + ";";
    laughs += "<!ENTITY e" + std::to_string(i) + " '" + Repeated(former, 10) + "'>";
  }
  laughs += "]><a b='&e29;'>&e29;</a>";
  std::string defaults = "<!DOCTYPE a [";
  for (int i = 0; i < 900; ++i) defaults += "<!ATTLIST a n" + std::to_string(i) + " CDATA 'x'>";
  defaults += "]><a>" + Repeated("<a/>", 2000) + "</a>";

  EXPECT_EQ("", TextOf(laughs));
  EXPECT_EQ("ERROR too many attributes", TextOf(defaults));
  EXPECT_EQ("ERROR too many namespaces", TextOf(Repeated("<a xmlns:x='u' xmlns:y='u'>", 200)));
  EXPECT_EQ(std::string(200'000, 'x'), TextOf("<a>" + Repeated("<![CDATA[x]]>", 200'000) + "</a>"));
}

}  // namespace
}  // namespace kelvo::test
