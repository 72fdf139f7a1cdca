#include "settings/application_bundle.h"

#include <cstdlib>
#include <string>
#include <vector>

#include "base/user_languages.h"
#include "settings/property_list_xml.h"
#include "tests/support/fixture.h"

namespace kelvo {
namespace {

class ApplicationBundleTest : public test::Fixture {
 protected:
  static std::string Xml(const PropertyList::Dictionary& texts) {
    return WriteXmlPropertyList(texts).value();
  }
  void WriteTable(const std::string& language, const PropertyList::Dictionary& texts) {
    WriteFile(Home("bundle/" + language + ".lproj/Localizable.strings"), Xml(texts));
  }
  Bundle Make(const std::vector<std::string>& languages) const {
    return Bundle(Home("bundle"), languages);
  }
};

TEST_F(ApplicationBundleTest, TakesTheMostWantedTextWithTheRightSpecifiers) {
  WriteTable("Base", {{"a", "base %@"}, {"b", "base b"}});
  WriteTable("de", {{"a", "deutsch %@"}, {"b", "deutsch b"}, {"number", 5}});
  WriteTable("pt-BR", {{"a", "brasil %d"}});
  WriteTable("pt", {{"a", "portugues %@"}});
  const struct {
    std::vector<std::string> languages;
    const char* a;
  } kRows[] = {
      {{}, "base %@"},
      {{"de_CH", "de"}, "deutsch %@"},
      {{"fr", "de"}, "deutsch %@"},
      {{"en_GB", "de"}, "base %@"},
      {{"pt_BR"}, "portugues %@"},  // the regional text takes a number
      {{"../de", "/de"}, "base %@"},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(Make(row.languages).localizedString("a", "%@ in code"), row.a);
  }
  EXPECT_EQ(Make({"de"}).localizedString("number", "code"), "code");
  EXPECT_EQ(Make({"de"}).localizedString("missing", "code"), "code");

  // Variants of a language take what their readers read.
  for (const char* language : {"Base", "zh_CN", "pt_BR"}) WriteTable(language, {{"a", language}});
  const std::pair<std::vector<std::string>, const char*> kVariants[] = {
      {{"zh_CN", "zh"}, "zh_CN"}, {{"zh_Hans_CN", "zh"}, "zh_CN"}, {{"zh-Hans"}, "zh_CN"},
      {{"zh_SG", "zh"}, "zh_CN"}, {{"zh_TW", "zh"}, "Base"},       {{"zh_HK", "zh"}, "Base"},
      {{"pt", "pt_BR"}, "pt_BR"}};
  for (const auto& [languages, a] : kVariants) {
    EXPECT_EQ(Make(languages).localizedString("a", "code"), a) << languages[0];
  }
}

TEST_F(ApplicationBundleTest, BrokenTablesCostOneLogLineAndLeaveTheBaseTexts) {
  WriteTable("Base", {{"a", "base %@"}, {"b", "base b"}});
  const std::string whole = Xml({{"a", "deutsch %@"}, {"b", "deutsch b"}});
  const std::string beginning = "<plist><dict><key>b</key><string>";
  const struct {
    const char* what;
    std::string bytes;
  } kRows[] = {
      {"the old form", "\"b\" = \"deutsch b\";"},
      {"nothing", ""},
      {"the first half", whole.substr(0, whole.size() / 2)},
      {"no dictionary", WriteXmlPropertyList(PropertyList::Array{"deutsch b"}).value()},
      {"no texts", Xml({{"a", 5}, {"b", PropertyList::Array{"b"}}})},
      {"other values", Xml({{"a", "deutsch %d"}, {"b", "b %@"}})},
      {"no UTF-8", beginning + "\xff</string></dict></plist>"},
      {"65 MiB", beginning + std::string(65u << 20, 'x') + "</string></dict></plist>"},
  };
  int lines = 0;
  for (const auto& row : kRows) {
    WriteFile(Home("bundle/de.lproj/Localizable.strings"), row.bytes);
    const Bundle bundle = Make({"de", "fr"});
    EXPECT_EQ(bundle.localizedString("a", "%@ in code"), "base %@") << row.what;
    EXPECT_EQ(bundle.localizedString("b", "code"), "base b") << row.what;
    EXPECT_EQ(LogCount("de.lproj"), ++lines) << row.what;
  }
  EXPECT_EQ(LogCount("fr.lproj"), 0);
}

TEST_F(ApplicationBundleTest, LanguagesComeFromTheEnvironment) {
  const struct {
    const char* values[4];  // LANGUAGE, LC_ALL, LC_MESSAGES, LANG
    std::vector<std::string> languages;
  } kRows[] = {
      {{"", "", "", "de_CH.UTF-8@euro"}, {"de_CH", "de"}},
      {{"", "", "fr", "de"}, {"fr"}},
      {{"", "it_IT", "fr", "de"}, {"it_IT", "it"}},
      {{"sv:de_AT::de:x/y", "", "", "en_GB.UTF-8"}, {"sv", "de_AT", "de"}},
      {{"sv", "C.UTF-8", "", "de"}, {}},
      {{"sv", "", "", "POSIX"}, {}},
  };
  const char* const kNames[] = {"LANGUAGE", "LC_ALL", "LC_MESSAGES", "LANG"};
  for (const auto& row : kRows) {
    for (int i = 0; i < 4; ++i) ::setenv(kNames[i], row.values[i], 1);
    EXPECT_EQ(PreferredLanguages(), row.languages) << row.values[0] << "," << row.values[3];
  }
  for (const char* name : kNames) ::unsetenv(name);
}

}  // namespace
}  // namespace kelvo
