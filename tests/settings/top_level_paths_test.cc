#include "settings/top_level_paths.h"

#include <gtest/gtest.h>

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

}  // namespace
}  // namespace kelvo::test
