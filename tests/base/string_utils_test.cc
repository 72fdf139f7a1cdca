#include "base/string_utils.h"

#include <gtest/gtest.h>
#include <stdlib.h>

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

}  // namespace
}  // namespace kelvo
