#include "hosts/bus/bus_paths.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace kelvo::test {
namespace {

using namespace std::string_literals;

TEST(BusPathsTest, AcceptsAbsolutePathsWithoutASlashAtTheEnd) {
  for (const std::string& path : {"/"s, "/a"s, "/a/b c"s, "/\xff\n:"s, "/a//b"s}) {
    EXPECT_TRUE(IsBusPath(path)) << path;
  }
  for (const std::string& path : {""s, "a"s, "a/b"s, "/a/"s, "//"s, "/a\0"s, "/a\0b"s, "\0"s}) {
    EXPECT_FALSE(IsBusPath(path)) << path;
  }
}

TEST(BusPathsTest, NamesOfItems) {
  for (const char* name : {"a", "...", ".a", "a:b\n", "\xff"})
    EXPECT_TRUE(IsItemName(name)) << name;
  for (const char* name : {"", ".", "..", "/", "a/b", "a/"}) EXPECT_FALSE(IsItemName(name)) << name;
}

TEST(BusPathsTest, SplitsNamesThatAreEachEnded) {
  struct Row {
    std::string packed;
    std::optional<std::vector<std::string_view>> names;
  };
  const Row rows[] = {
      {"", {{}}},
      {"a\0"s, {{"a"}}},
      {"a\0b\0a\0"s, {{"a", "b", "a"}}},
      {"\0"s, {{""}}},
      {"\0\0x\0"s, {{"", "", "x"}}},
      {"a", std::nullopt},
      {"a\0b"s, std::nullopt},
  };
  for (const Row& row : rows) {
    std::vector<std::string_view> names;
    EXPECT_EQ(row.names.has_value(), SplitNames(row.packed, &names)) << row.packed;
    if (row.names) {
      EXPECT_EQ(*row.names, names) << row.packed;
    }
  }
}

TEST(BusPathsTest, JoinsFolderAndName) {
  EXPECT_EQ("/a", ItemPath("/", "a"));
  EXPECT_EQ("/a/b", ItemPath("/a", "b"));
}

}  // namespace
}  // namespace kelvo::test
