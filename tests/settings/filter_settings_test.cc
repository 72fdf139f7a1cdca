#include "settings/filter_settings.h"

#include <fnmatch.h>
#include <locale.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "settings/filter_categories.h"
#include "settings/property_list_xml.h"
#include "tests/support/fixture.h"

namespace kelvo {
namespace {

using namespace std::string_literals;

constexpr std::uint32_t kUnset = 99;

// The type that a name is included with; nullopt when it is not.
std::optional<std::uint32_t> TypeOf(const kelvo_FilterList& list, std::string_view name) {
  std::uint32_t type = kUnset;
  if (list.isIncluded(name, &type)) return type;
  EXPECT_TRUE(type == kUnset || type == kEmptyListFilterType) << name;
  return std::nullopt;
}

TEST(FilenameFilterTest, PatternsChooseTheirMatcher) {
  const struct {
    std::string pattern;
    std::string name;
    bool isIncluded;
  } kRows[] = {
      {"a??c",
       "a\xC3\xA4"
       "c",
       true},  // one character of two bytes
      {"a?c",
       "a\xC3\xA4"
       "c",
       false},
      {"\xC3\x84?c", "\xC3\xA4xc", false},
      {"a?c",
       "a\xFF"
       "c",
       true},
      {"\xFF?c", "\xFFxC", true},
      {"*\xC3\xA4", "\xC3\x84", false},
      {"*.x\0y"s, "a.X\0Y"s, true},
      {"a?\0"s, "ab\0"s, false},
      {"a?c", "abc\0d"s, false},
      {std::string(2000, '?'), std::string(2000, 'a'), false},
      {"*" + std::string(2000, 'a'), std::string(2001, 'A'), true},
  };
  // The process's locale plays no part.
  for (const char* locale : {"C", "C.UTF-8"}) {
    const std::string former = ::setlocale(LC_CTYPE, nullptr);
    ::setlocale(LC_CTYPE, locale);
    for (const auto& row : kRows) {
      const kelvo_FilenameFilter filter(row.pattern, 1);
      EXPECT_EQ(filter.isIncluded(row.name), row.isIncluded)
          << locale << " " << row.pattern << " " << row.name;
    }
    ::setlocale(LC_CTYPE, former.c_str());
  }
}

// Names of which about half match some pattern, in the ways in which names go wrong.
class NameSource {
 public:
  NameSource() {
    for (const FilterCategory& category : FilterCategories()) {
      for (const auto pattern : category.patterns) patterns_.emplace_back(pattern);
    }
  }

  std::string Next() {
    std::string name;
    for (const char c : patterns_[Below(patterns_.size())]) {
      if (c == '*') {
        for (std::size_t length = Below(6); length > 0; --length)
          name += kBytes[Below(kBytes.size())];
      } else {
        name += Below(3) == 0 ? static_cast<char>(::toupper(c)) : c;
      }
    }
    if (Below(3) == 0 && !name.empty()) name.erase(Below(name.size()), 1);
    if (Below(5) == 0) name += kBytes[Below(kBytes.size())];
    return name;
  }

 private:
  static constexpr std::string_view kBytes = "aZ. 019_[*\\?\xC3\xA4\xFF/";

  std::size_t Below(std::size_t limit) { return random_() % limit; }

  std::mt19937 random_{20240607};
  std::vector<std::string> patterns_;
};

TEST(FilterListTest, AnswersAsAskingFnmatchForOnePatternAfterAnother) {
  kelvo_FilterList list(true);
  std::vector<std::pair<std::string, std::uint32_t>> plain;
  // The first of all that match decides, also between the two kinds of comparison.
  for (const char* pattern : {"a*", "?Z*.pdf", "*9.PDF"}) {
    list.addFilter(pattern, kIncludeFilterType);
    plain.emplace_back(pattern, kIncludeFilterType);
  }
  for (const FilterCategory& category : FilterCategories()) {
    list.addFilters(category.type, category.patterns);
    for (const auto pattern : category.patterns) plain.emplace_back(pattern, category.type);
  }
  NameSource names;
  int included = 0;
  constexpr int kNames = 100'000;
  for (int i = 0; i < kNames; ++i) {
    const std::string name = names.Next();
    std::optional<std::uint32_t> expected;
    for (const auto& [pattern, type] : plain) {
      if (::fnmatch(pattern.c_str(), name.c_str(), FNM_CASEFOLD) == 0) {
        expected = type;
        break;
      }
    }
    ASSERT_EQ(TypeOf(list, name), expected) << name;
    if (expected) ++included;
  }
  EXPECT_GT(included, kNames / 4);
  EXPECT_LT(included, kNames * 9 / 10);
}

class FilterSettingsTest : public test::Fixture {
 protected:
  kelvo_FilterSettings Loaded(const PropertyList::Dictionary& values) {
    WriteFile(Home("account/filter_info.plist"), WriteXmlPropertyList(values).value());
    kelvo_FilterSettings settings(Home("account"));
    EXPECT_TRUE(settings.load());
    return settings;
  }
};

TEST_F(FilterSettingsTest, SelectionDecidesTypes) {
  const PropertyList::Array patterns{"report*", 5, PropertyList::Dictionary{}, "*.PDF", "a?c"};
  const struct {
    PropertyList::Dictionary values;
    std::string name;
    std::optional<std::uint32_t> type;
  } kRows[] = {
      {{}, "any", 0},
      {{{"all", PropertyList::Array{}}}, "any", 0},
      {{{"all", false}}, "any", 0},  // an empty list
      {{{"all", true}, {"include", patterns}}, "any", 0},
      {{{"all", false}, {"images", true}}, "Photo.JPG", 3},
      {{{"all", false}, {"images", true}}, "notes.txt", std::nullopt},
      {{{"all", false}, {"images", "yes"}, {"music", 0}}, "x.mp3", std::nullopt},
      {{{"all", false}, {"documents", true}, {"include", patterns}}, "report.pdf", 1},
      {{{"all", false}, {"documents", true}, {"include", patterns}}, "REPORT", 8},
      {{{"all", false}, {"include", patterns}}, "5", std::nullopt},
      {{{"all", false}, {"include", "x"}}, "y", 0},
      {{{"all", false}, {"video", true}, {"include", PropertyList::Array{""}}}, "any", 8},
  };
  for (std::size_t i = 0; i < std::size(kRows); ++i) {
    EXPECT_EQ(TypeOf(Loaded(kRows[i].values).includeFilterList(), kRows[i].name), kRows[i].type)
        << i;
  }
}

TEST_F(FilterSettingsTest, ExcludePatternsAreAddedAndTakenAway) {
  kelvo_FilterSettings settings = Loaded({{"exclude", "no array"}});
  EXPECT_EQ(TypeOf(settings.excludeFilterList(), "any"), std::nullopt);
  settings.removeExcludeFilter("no array");
  for (const char* pattern : {"*.tmp", "~*", "*.tmp", "\x01", "\xFF"}) {
    settings.addExcludeFilter(pattern);
  }
  EXPECT_EQ(LogCount("no exclude pattern"), 2);
  EXPECT_EQ(settings.excludeFilters(), (std::vector<std::string>{"*.tmp", "~*", "*.tmp"}));
  EXPECT_EQ(TypeOf(settings.excludeFilterList(), "a.TMP"), 9u);
  settings.removeExcludeFilter("*.tmp");
  EXPECT_EQ(settings.excludeFilters(), std::vector<std::string>{"~*"});
}

TEST_F(FilterSettingsTest, KeepsTheKeysItDoesNotKnow) {
  kelvo_FilterSettings settings = Loaded({{"theirs", 1}, {"max_file_size", std::int64_t{1} << 40}});
  EXPECT_EQ(settings.maxFileSize(), INT32_MAX);
  EXPECT_EQ(settings.minFileSize(), 50);
  EXPECT_TRUE(settings.fileSizeFiltering());
  settings.setMaxFileSize(7);
  EXPECT_TRUE(settings.store());
  kelvo_FilterSettings again(Home("account"));
  EXPECT_TRUE(again.load());
  EXPECT_TRUE(again.isEqualToAgentSettings(settings));
  const auto stored = ReadXmlPropertyList(ReadFile(Home("account/filter_info.plist")), nullptr);
  EXPECT_EQ(stored, PropertyList(PropertyList::Dictionary{{"theirs", 1}, {"max_file_size", 7}}));
  // What does not parse changes nothing.
  WriteFile(Home("account/filter_info.plist"), "<plist><dict>");
  EXPECT_TRUE(again.load());
  EXPECT_TRUE(again.isEqualToAgentSettings(settings));
}

}  // namespace
}  // namespace kelvo
