// The small parts of the extension's object on the bus.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "hosts/bus/bus_paths.h"
#include "hosts/bus/kept_menus.h"
#include "hosts/bus/paced_signal.h"
#include "tests/support/fake_platform.h"

namespace kelvo::test {
namespace {

using namespace std::string_literals;
using std::chrono::milliseconds;
using std::chrono::minutes;
using State = ChosenLine::State;

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

TEST(PacedSignalTest, EmitsAtOnceThenAtMostOnceAnIntervalAndLosesNoRequest) {
  FakeClock clock;
  FakeRunLoop loop(clock);
  int emitted = 0;
  PacedSignal signal(loop, clock, milliseconds{500}, [&] { ++emitted; });
  signal.Request();
  EXPECT_EQ(1, emitted);
  signal.Request();
  loop.Advance(milliseconds{300});
  signal.Request();
  loop.Advance(milliseconds{199});
  EXPECT_EQ(1, emitted);
  loop.Advance(milliseconds{1});
  EXPECT_EQ(2, emitted);
  loop.Advance(milliseconds{10'000});
  EXPECT_EQ(2, emitted);
  signal.Request();
  EXPECT_EQ(3, emitted);
}

FinderMenu ThreeLines() {
  FinderMenu menu;
  menu.menu.insertItem({.title = "Do", .action = {"do"}, .enabled = true}, 0);
  menu.menu.insertItem({.title = "Told"}, 1);
  menu.menu.insertItem({.title = "Off", .action = {"off"}}, 2);
  menu.menu.insertItem({.separator = true}, 3);
  return menu;
}

class KeptMenusTest : public ::testing::Test {
 protected:
  std::uint32_t Keep(const std::string& client, const std::vector<std::string>& items = {"/w/a"}) {
    menus_.Begin(client, items);
    return menus_.Keep(client, ThreeLines());
  }
  State StateOf(const std::string& client, std::uint32_t serial, std::uint32_t index = 0) {
    return menus_.LineOf(client, serial, index).state;
  }

  FakeClock clock_;
  KeptMenus menus_{clock_, std::numeric_limits<std::uint32_t>::max() - 1};
};

TEST_F(KeptMenusTest, LinesAreChosenFromMenusOfTheClientAlone) {
  const std::uint32_t first = Keep(":1.1");
  const std::uint32_t second = Keep(":1.2");
  EXPECT_EQ(std::numeric_limits<std::uint32_t>::max(), first);
  EXPECT_EQ(1U, second) << "0 is no serial";
  const ChosenLine line = menus_.LineOf(":1.1", first, 0);
  EXPECT_EQ(State::kReady, line.state);
  EXPECT_EQ("do", line.action.name);
  for (const std::uint32_t index : {1U, 2U, 3U}) {
    EXPECT_EQ(State::kDisabled, StateOf(":1.1", first, index)) << index;
  }
  EXPECT_EQ(State::kStale, StateOf(":1.1", first, 4));
  EXPECT_EQ(State::kStale, StateOf(":1.1", second));
  EXPECT_EQ(State::kStale, StateOf(":1.1", 0));
  EXPECT_EQ(State::kStale, StateOf(":1.3", first));
  menus_.ClientGone(":1.1");
  EXPECT_EQ(State::kStale, StateOf(":1.1", first));
  EXPECT_EQ(State::kReady, StateOf(":1.2", second));
}

TEST_F(KeptMenusTest, SixteenMenusAreKeptForTenMinutes) {
  const std::uint32_t oldest = Keep("c");
  std::uint32_t second = Keep("c");
  for (int i = 0; i < 14; ++i) Keep("c");
  for (int i = 0; i < 20; ++i) {
    menus_.Begin("c", {"/elsewhere/x"});
    menus_.KeepNothing("c");
    Keep("d");
  }
  EXPECT_EQ(State::kReady, StateOf("c", oldest)) << "menus that came out empty take no place";
  clock_.Turn(minutes(9));
  const std::uint32_t young = Keep("c");
  EXPECT_EQ(State::kStale, StateOf("c", oldest));
  clock_.Turn(minutes(1) - milliseconds(1));
  EXPECT_EQ(State::kReady, StateOf("c", second));
  clock_.Turn(milliseconds(1));
  EXPECT_EQ(State::kStale, StateOf("c", second));
  EXPECT_EQ(State::kReady, StateOf("c", young));
}

TEST_F(KeptMenusTest, ChangesOfItsItemsAreAMenusBusiness) {
  EXPECT_FALSE(menus_.IsAbout("", false));
  menus_.Begin("c", {"/w/a", "/w/b", "/v/a", "/top", ""});  // while it is built, too
  const struct {
    const char* path;
    bool item;
    bool list;
  } rows[] = {
      {"/w/a", true, true},   {"/w/b", true, true},     {"/v/a", true, true}, {"/top", true, true},
      {"/w", false, true},    {"/v", false, true},      {"/", false, true},   {"", true, true},
      {"/v/b", false, false}, {"/w/a/x", false, false}, {"/u", false, false},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(row.item, menus_.IsAbout(row.path, false)) << row.path;
    EXPECT_EQ(row.list, menus_.IsAbout(row.path, true)) << row.path;
  }
  menus_.KeepNothing("c");
  Keep("d", {"/w/a"});
  menus_.ClientGone("c");
  EXPECT_TRUE(menus_.IsAbout("/w", true));
  EXPECT_FALSE(menus_.IsAbout("/w/b", false));
  for (int i = 0; i < 16; ++i) Keep("d", {"/other"});
  EXPECT_FALSE(menus_.IsAbout("/w/a", true)) << "its menu was the seventeenth";
  clock_.Turn(minutes(10));
  EXPECT_FALSE(menus_.IsAbout("", false));
}

}  // namespace
}  // namespace kelvo::test
