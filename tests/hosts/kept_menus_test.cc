#include "hosts/bus/kept_menus.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "tests/support/fake_platform.h"

namespace kelvo::test {
namespace {

using std::chrono::minutes;
using State = ChosenLine::State;

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
  clock_.Turn(minutes(1) - std::chrono::milliseconds(1));
  EXPECT_EQ(State::kReady, StateOf("c", second));
  clock_.Turn(std::chrono::milliseconds(1));
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
