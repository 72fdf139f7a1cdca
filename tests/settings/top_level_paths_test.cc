#include "settings/top_level_paths.h"

#include <gtest/gtest.h>

#include <random>

namespace kelvo::test {
namespace {

using Paths = std::vector<std::string>;

PropertyList::Array Included(const Paths& paths) {
  PropertyList::Array rows;
  for (const std::string& path : paths) rows.push_back(PropertyList::Array{path, true});
  return rows;
}

TEST(TopLevelPathsTest, KeepsWhatIsInsideNoOtherFolder) {
  const struct {
    Paths rows;
    Paths expected;
  } kCases[] = {
      {{"/Users/a/Docs", "/Users/a"}, {"/Users/a"}},
      {{"/Users/a", "/Users/a/Docs", "/Users/ab", "/users/a/x"},
       {"/Users/a", "/Users/ab", "/users/a/x"}},
      {{"/", "/Volumes/Backup", "/Users"}, {"/", "/Volumes/Backup"}},
      {{"/Volumes/B", "/Volumesx", "/"}, {"/Volumes/B", "/"}},
      {{"/Volumes", "/", "/Volumes/B"}, {"/Volumes", "/"}},
      {{"/a", "/b", "/a"}, {"/b", "/a"}},
      {{"/", "/b", "/Volumes/B", "/"}, {"/Volumes/B", "/"}},
      {{"/a-b", "/a/b", "/a.b", "/a"}, {"/a-b", "/a.b", "/a"}},
      {{"", "/a", "a"}, {"", "a"}},
      {{"/a", "/", ""}, {""}},
      {{}, {}},
  };
  for (const auto& c : kCases) {
    EXPECT_EQ(c.expected, TopLevelPaths(Included(c.rows))) << ::testing::PrintToString(c.rows);
  }
}

TEST(TopLevelPathsTest, OtherRowsCountForNothing) {
  using Row = PropertyList::Array;
  PropertyList::Array rows{Row{"/a", false},
                           Row{"/b"},
                           Row{},
                           "/c",
                           Row{7, true},
                           Row{"/d", 1},
                           Row{"/e", "true"},
                           Row{"/f", true, 3},
                           PropertyList::Dictionary{}};
  EXPECT_EQ(Paths{"/f"}, TopLevelPaths(rows));
  RemoveTopLevelPath(rows, "/");
  EXPECT_EQ((PropertyList::Array{Row{"/b"}, Row{}, "/c", Row{7, true}, PropertyList::Dictionary{}}),
            rows);
}

TEST(TopLevelPathsTest, RemovesAFolderWithEverythingInIt) {
  const struct {
    const char* path;
    Paths left;
  } kCases[] = {
      {"/Users", {"/Usersx", "/Volumes", "/Volumes/Disk/a", "/Volumesx"}},
      {"/", {"/Volumes", "/Volumes/Disk/a"}},
      {"/Volumes/Disk", {"/Users", "/Users/a", "/Usersx", "/Volumes", "/Volumesx"}},
      {"/users", {"/Users", "/Users/a", "/Usersx", "/Volumes", "/Volumes/Disk/a", "/Volumesx"}},
  };
  for (const auto& c : kCases) {
    PropertyList::Array rows =
        Included({"/Users", "/Users/a", "/Usersx", "/Volumes", "/Volumes/Disk/a", "/Volumesx"});
    RemoveTopLevelPath(rows, c.path);
    EXPECT_EQ(Included(c.left), rows) << c.path;
  }
}

bool IsInside(const std::string& a, const std::string& b) {
  return a.starts_with(b) && (a == b || a[b.size()] == '/' || b == "/");
}

// Each row against every entry, in order.
Paths OneByOne(const Paths& rows) {
  Paths result;
  for (const std::string& row : rows) {
    bool covered = false;
    for (std::size_t i = 0; i < result.size() && !covered;) {
      const std::string& entry = result[i];
      const bool removed = IsInside(entry, row) && !(row == "/" && IsInside(entry, "/Volumes"));
      covered = !IsInside(entry, row) && IsInside(row, entry) &&
                !(entry == "/" && IsInside(row, "/Volumes"));
      if (removed) {
        result.erase(result.begin() + static_cast<std::ptrdiff_t>(i));
      } else {
        ++i;
      }
    }
    if (!covered) result.push_back(row);
  }
  return result;
}

TEST(TopLevelPathsTest, AgreesWithComparingEachWithEach) {
  std::mt19937 random(20);
  const Paths parts{"/", "/Volumes", "/a", "/b", "a", "/a-", "//"};
  for (int round = 0; round < 5'000; ++round) {
    Paths rows(random() % 8);
    for (std::string& row : rows) {
      for (auto part = random() % 4; part > 0; --part) row += parts[random() % parts.size()];
    }
    ASSERT_EQ(OneByOne(rows), TopLevelPaths(Included(rows))) << ::testing::PrintToString(rows);
  }
}

TEST(TopLevelPathsTest, ManyRowsTakeNoQuadraticTime) {
  constexpr int kRows = 20'000;
  Paths rows;
  for (int i = 0; i < kRows; ++i) rows.push_back("/Volumes/" + std::to_string(i));
  for (int i = 0; i < kRows; ++i) rows.push_back("/");
  rows.push_back(std::string(1 << 20, '/'));
  EXPECT_EQ(kRows + 1U, TopLevelPaths(Included(rows)).size());
}

}  // namespace
}  // namespace kelvo::test
