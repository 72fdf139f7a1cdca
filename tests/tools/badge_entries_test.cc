#include "tools/finder/badge_entries.h"

#include <gtest/gtest.h>

namespace kelvo::finder {
namespace {

using std::string_literals::operator""s;

TEST(BadgeEntriesTest, UnpacksOnlyWhatIsWhole) {
  const struct {
    std::string packed;
    bool whole;
    std::vector<BadgeEntry> entries;
  } kRows[] = {
      {"", true, {}},
      {"1a\0"s, true, {{'1', "a"}}},
      {"1a\0003b c\xff\0000d\0"s, true, {{'1', "a"}, {'3', "b c\xff"}, {'0', "d"}}},
      {"1a\0002"s, false, {}},
      {"\0"s, false, {}},
  };
  for (const auto& row : kRows) {
    const auto entries = UnpackEntries(row.packed);
    ASSERT_EQ(entries.has_value(), row.whole);
    if (row.whole) {
      EXPECT_EQ(*entries, row.entries);
    }
  }
}

TEST(BadgeEntriesTest, RequestsStayBelowTheLimitAndLoseNoName) {
  const auto requests = PackNames({"aa", "bb", "a name beyond the limit", "c"}, 6);
  ASSERT_EQ(requests.size(), 3u);
  EXPECT_EQ(requests[0].packed, "aa\0bb\0"s);
  EXPECT_EQ(requests[1].packed, "a name beyond the limit\0"s);
  EXPECT_EQ(requests[2].packed, "c\0"s);
}

}  // namespace
}  // namespace kelvo::finder
