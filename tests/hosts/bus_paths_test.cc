#include "hosts/bus/bus_paths.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kelvo::test {
namespace {

using namespace std::string_literals;

TEST(BusPathsTest, PathsAndNames) {
  for (const std::string& path : {"/"s, "/a"s, "/a/b c"s, "/\xff\n:"s, "/a//b"s}) {
    EXPECT_TRUE(IsBusPath(path)) << path;
  }
  for (const std::string& path : {""s, "a"s, "a/b"s, "/a/"s, "//"s, "/a\0"s, "/a\0b"s, "\0"s}) {
    EXPECT_FALSE(IsBusPath(path)) << path;
  }
  for (const char* name : {"a", "...", ".a", "\xff"}) EXPECT_TRUE(IsItemName(name)) << name;
  for (const char* name : {"", ".", "..", "/", "a/b", "a/"}) EXPECT_FALSE(IsItemName(name)) << name;
  EXPECT_EQ("/a", ItemPath("/", "a"));
  EXPECT_EQ("/a/b", ItemPath("/a", "b"));
}

TEST(BusPathsTest, SplitsNamesThatAreEachEnded) {
  using Names = std::vector<std::string_view>;
  const std::pair<std::string, std::optional<Names>> rows[] = {
      {"", Names{}},
      {"a\0b\0a\0"s, Names{"a", "b", "a"}},
      {"\0\0x\0"s, Names{"", "", "x"}},
      {"a", std::nullopt},
      {"a\0b"s, std::nullopt},
  };
  for (const auto& [packed, expected] : rows) {
    Names names;
    EXPECT_EQ(expected.has_value(), SplitNames(packed, &names)) << packed;
    if (!expected) continue;
    EXPECT_EQ(*expected, names) << packed;
  }
}

}  // namespace
}  // namespace kelvo::test
