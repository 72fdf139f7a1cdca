#include "base/string_utils.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <limits>

#include "base/format_text.h"
#include "base/time_utils.h"
#include "tests/support/fixture.h"

namespace kelvo {
namespace {

TEST(SplitPathTest, SplitsAtTheLastSlash) {
  const struct {
    const char* path;
    bool answer;
    const char* directory;
    const char* name;
  } rows[] = {
      {"/a/b", true, "/a", "b"},   {"/x", true, "", "x"},         {"a", true, "", "a"},
      {"/", true, "", ""},         {"//x", true, "/", "x"},       {"a/b/c", true, "a/b", "c"},
      {"", false, "kept", "kept"}, {"a/", false, "kept", "kept"}, {"//", false, "kept", "kept"},
  };
  for (const auto& row : rows) {
    std::string directory = "kept";
    std::string name = "kept";
    EXPECT_EQ(SplitPath(row.path, &directory, &name), row.answer) << row.path;
    EXPECT_EQ(directory, row.directory) << row.path;
    EXPECT_EQ(name, row.name) << row.path;
  }
  std::string path = "/a rather long folder name/name", name;
  ASSERT_TRUE(SplitPath(path, &path, &name));
  EXPECT_EQ(path, "/a rather long folder name");
}

TEST(LastPathComponentTest, SlashesAtTheEndDoNotCount) {
  const std::pair<const char*, const char*> rows[] = {{"/a/b", "b"}, {"/a/b//", "b"}, {"a", "a"},
                                                      {"/", "/"},    {"//", "/"},     {"", ""}};
  for (const auto& [path, name] : rows) EXPECT_EQ(LastPathComponent(path), name) << path;
}

using ExpandTildeTest = test::Fixture;

TEST_F(ExpandTildeTest, OnlyTheFirstCharacterCounts) {
  EXPECT_EQ(ExpandTildeInPath("~/x"), home_ + "/x");
  EXPECT_EQ(ExpandTildeInPath("~ann/x"), home_ + "ann/x");
  EXPECT_EQ(ExpandTildeInPath("/~/x"), "/~/x");
  EXPECT_EQ(ExpandTildeInPath(""), "");
  unsetenv("HOME");
  EXPECT_EQ(ExpandTildeInPath("~/x"), "/x");
}

// The second form is what ToValidUtf8 makes of the first; equal when it is valid.
TEST(Utf8Test, TellsValidFromBrokenWhereverItLies) {
  const std::string mark = "\xEF\xBF\xBD";
  const std::pair<std::string, std::string> rows[] = {
      {"", ""},
      {"plain", "plain"},
      {"\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80", "\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80"},
      {"\xED\x9F\xBF\xEE\x80\x80\xF4\x8F\xBF\xBF", "\xED\x9F\xBF\xEE\x80\x80\xF4\x8F\xBF\xBF"},
      {"\xC0\xAF", mark + mark},                        // overlong
      {"\xE0\x9F\xBF", mark + mark + mark},             // overlong
      {"\xED\xA0\x80", mark + mark + mark},             // surrogate
      {"\xF4\x90\x80\x80", mark + mark + mark + mark},  // above U+10FFFF
      {"\xE2\x82"
       "a",
       mark + "a"},  // cut short: one mistake
      {"\xF0\x9F\x98", mark},
  };
  for (const auto& [text, repaired] : rows) {
    // Before, across and behind the blocks that are looked at in one step.
    for (const std::size_t before : {0, 1, 5, 7, 8, 13}) {
      const std::string head(before, 'x');
      for (const char* tail : {"", "y", "yyyyyyyyyyyyyyyy"}) {
        const std::string whole = head + text + tail;
        EXPECT_EQ(IsValidUtf8(whole), text == repaired) << whole;
        EXPECT_EQ(ToValidUtf8(whole), head + repaired + tail);
      }
    }
  }
  EXPECT_FALSE(IsValidUtf8(std::string_view("\xC3\xA9", 1)));
  EXPECT_TRUE(IsValidUtf8(std::string_view("a\0b", 3)));
  EXPECT_EQ(ToValidUtf8(std::string_view("a\0\xFF", 3)), "a");
}

TEST(FormatTextTest, FillsWhatItKnowsAndKeepsTheRest) {
  const std::int64_t large = std::numeric_limits<std::int64_t>::min();
  const struct {
    const char* format;
    std::vector<FormatArgument> arguments;
    const char* expected;
  } rows[] = {
      {"Locked by: %@ at %s", {"Ann", "noon"}, "Locked by: Ann at noon"},
      {"%2$@ locks %1$@, %2$@!", {"a.txt", "Ann"}, "Ann locks a.txt, Ann!"},
      {"%d %i %u %ld %lu %lld %qd", {1, 2, 3, 4, 5, 6, large}, "1 2 3 4 5 6 -9223372036854775808"},
      {"%.1f KB, %.0f, %f", {1.25, 2.5, -0.5}, "1.2 KB, 2, -0.500000"},
      {"%5d|%-5d|%05d", {42, 42, -42}, "   42|42   |-0042"},
      {"%@", {"%@ %n 100%%"}, "%@ %n 100%%"},
      // No argument of that kind.
      {"%d %@ %@", {"text", std::int64_t{1}}, "%d %@ %@"},
      {"%3$@", {"a", "b"}, "%3$@"},
      // What nobody may ask for.
      {"%n%p%x%c %*d", {"a", "b", "c", "d", 5}, "%n%p%x%c %*d"},
      {"%0$@ %100$@ %18446744073709551617$@", {"a"}, "%0$@ %100$@ %18446744073709551617$@"},
      {"%999999999999999999999d", {5}, "5"},
      {"%.999999999999999999999f", {0.5}, "0.500000"},
      {"%", {"a"}, "%"},
      {"%1$%@", {"a"}, "%1$a"},
      {"%l%@", {"a"}, "%la"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(FormatText(row.format, row.arguments), row.expected) << row.format;
  }
  EXPECT_EQ(FormatText("%.20f", {std::numeric_limits<double>::max()}).size(), 309u + 21u);
}

TEST(DateToStringTest, ModeZeroIsLocalTime) {
  const struct {
    const char* zone;
    std::int64_t time;
    int mode;
    const char* expected;
  } rows[] = {
      {"UTC0", 0, 0, "1970-01-01 00:00:00"},
      {"XYZ-5:30", 0, 0, "1970-01-01 05:30:00"},
      {"XYZ8", 1'700'000'000, 0, "2023-11-14 14:13:20"},
      {"UTC0", -1, 0, "1969-12-31 23:59:59"},
      {"UTC0", 0, 1, "0"},
      {"UTC0", 1'700'000'000, -7, "1700000000"},
      {"UTC0", -1, 1, "18446744073709551615"},
      {"UTC0", std::numeric_limits<std::int64_t>::max(), 0, "9223372036854775807"},
  };
  for (const auto& row : rows) {
    setenv("TZ", row.zone, 1);
    EXPECT_EQ(DateToString(row.time, row.mode), row.expected) << row.zone;
  }
  unsetenv("TZ");
}

}  // namespace
}  // namespace kelvo
