#include "settings/application_bundle.h"

#include <cstdlib>
#include <string>
#include <vector>

#include "settings/property_list_xml.h"
#include "tests/support/fixture.h"

namespace kelvo {
namespace {

class ApplicationBundleTest : public test::Fixture {
 protected:
  void WriteTable(const std::string& language, const PropertyList::Dictionary& texts) {
    WriteFile(Home("bundle/" + language + ".lproj/Localizable.strings"),
              WriteXmlPropertyList(texts).value());
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
  WriteFile(Home("bundle/de.lproj/Localizable.strings"), "\"b\" = \"old form\";");
  EXPECT_EQ(Make({"de", "fr"}).localizedString("b", "code"), "base b");
  EXPECT_EQ(LogCount("de.lproj"), 1);
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
