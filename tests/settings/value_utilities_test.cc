#include "settings/value_utilities.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace kelvo {
namespace {

TEST(ValueUtilitiesTest, NumbersAreScannedFromTheStart) {
  const struct {
    const char* text;
    std::int64_t wide;
    std::int32_t narrow;
  } kRows[] = {
      {"", 0, 0},
      {" \n42abc", 42, 42},
      {"+7", 7, 7},
      {"- 7", 0, 0},
      {"4294967296", 4294967296, INT32_MAX},
      {"-99999999999999999999", INT64_MIN, INT32_MIN},
      {"99999999999999999999", INT64_MAX, INT32_MAX},
  };
  for (const auto& row : kRows) {
    const std::string text = row.text;
    EXPECT_EQ(LongLongValue(&text), row.wide) << text;
    EXPECT_EQ(IntValue(&text), row.narrow) << text;
  }
  EXPECT_EQ(LongLongValue(nullptr), 0);
  EXPECT_EQ(IntValue(nullptr), 0);
}

TEST(ValueUtilitiesTest, SizesStepAtPowersOfAThousand) {
  const struct {
    std::int64_t bytes;
    const char* text;
  } kRows[] = {
      {-1, "---"},
      {0, "0 B"},
      {999, "999 B"},
      {1000, "1.0 KB"},
      {999'999, "1000.0 KB"},
      {1'000'000, "1.0 MB"},
      {1'000'000'000, "1.0 GB"},
      {INT64_MAX, "9223372036.9 GB"},
  };
  for (const auto& row : kRows) EXPECT_EQ(FileSizeString(row.bytes), row.text);
  EXPECT_EQ(HexEncodeBytes("\x00\x7F\xFE", 3), "007ffe");
}

TEST(ValueUtilitiesTest, EscapesBecomeUtf16Units) {
  const struct {
    const char* text;
    std::string unescaped;
  } kRows[] = {
      {"a%41;b", "aAb"},
      {"50%", "50%"},
      {"%%41;", std::string(1, '\0')},  // "%41" begins with no hex digit
      {"%e4;%20AC;", "\xC3\xA4\xE2\x82\xAC"},
      {"%;", std::string(1, '\0')},
      {"%10041;", "A"},  // cut to 16 bits
      {"%000000041;", "A"},
      {"%0000000041;", "%0000000041;"},  // ten digits before the end
      {"%123456789%41;", "%123456789A"},
      {"%D83D;%DE00;", "\xF0\x9F\x98\x80"},
      {"%D83D;x%DE00;", "\xEF\xBF\xBDx\xEF\xBF\xBD"},
      {"%D83D;%D83D;%DE00;", "\xEF\xBF\xBD\xF0\x9F\x98\x80"},
      {"\xC3\xA4%\xC3\xA4;", "\xC3\xA4" + std::string(1, '\0')},
      {"\xFF%41;",
       "\xFF"
       "A"},
  };
  for (const auto& row : kRows) EXPECT_EQ(UnescapeString(row.text), row.unescaped) << row.text;
  EXPECT_EQ(UnescapeString(std::nullopt), std::nullopt);
}

TEST(ValueUtilitiesTest, PathsStartWithWholeComponentsInAnyCase) {
  const struct {
    const char* path;
    const char* prefix;
    bool starts;
  } kRows[] = {
      {"/Users/a/Docs", "/users/a", true},
      {"/Users/ab", "/Users/a", false},
      {"/Users", "/Users/a", false},
      {"/a", "/", true},
      {"/a/b", "/a/", false},
      {"/a//b", "/a/", true},
      {"/a", "", true},
      {"a", "", false},
      {"/\xC3\x84rger/x", "/\xC3\xA4rger", true},        // A with diaeresis
      {"/\xCE\xA3\xCF\x82", "/\xCF\x83\xCF\x83", true},  // sigmas, also the final one
      {"/\xD0\x96\xD0\x81", "/\xD0\xB6\xD1\x91", true},  // Cyrillic
      {"/\xC3\x97", "/\xC3\xB7", false},                 // times and division signs
      {"/\xC4\xB0", "/\xC4\xB1", false},                 // dotted and dotless i
      {"/\xC3", "/\xC3", true},                          // not UTF-8
      {"/\xC3\xA4", "/\xC3", false},                     // a prefix that ends inside a letter
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(StartsWithPath(row.path, row.prefix), row.starts) << row.path << " " << row.prefix;
  }
}

}  // namespace
}  // namespace kelvo
