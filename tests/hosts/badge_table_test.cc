#include "hosts/bus/badge_table.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "hosts/bus/bus_paths.h"
#include "tests/support/fake_platform.h"

namespace kelvo::test {
namespace {

using std::chrono::milliseconds;

using Badges = std::map<std::string, char>;

// A table over a cache that the test writes.
class BadgeTableTest : public ::testing::Test {
 protected:
  std::string Ask(const std::string& client, const std::vector<std::string>& names) {
    const std::vector<std::string_view> views(names.begin(), names.end());
    EXPECT_TRUE(table_.Ask(client, folder_, views));
    return Answer(client, names);
  }
  std::string Answer(const std::string& client, const std::vector<std::string>& names) {
    const std::vector<std::string_view> views(names.begin(), names.end());
    std::string answer;
    table_.Answer(client, folder_, views, [&](const std::string& badges) { answer = badges; });
    return answer;
  }
  // The cache has news of the item and repaints it.
  void Change(const std::string& name, char badge) {
    Renewed()[ItemPath(folder_, name)] = badge;
    Repaint(name);
  }
  void Repaint(const std::string& name, bool isDirectory = false) {
    const bool mustLook = BadgeIn(folder_, name) == '1' && !greenCheckmarks_;
    const std::optional<bool> looked = mustLook ? std::optional(isDirectory) : std::nullopt;
    const FinderController::ItemBadge badge{name, *Read(folder_, {name, looked}), looked};
    table_.NoteRepaints(folder_ == "/" ? "" : folder_, {&badge, 1}, changes_);
  }
  char BadgeIn(const std::string& folder, std::string_view name) {
    const auto found = cache_.find(ItemPath(folder, name));
    return found == cache_.end() ? '0' : found->second;
  }
  std::optional<std::string> Read(const std::string& folder, const KnownItem& item) {
    const char badge = BadgeIn(folder, item.name);
    const bool depends = badge == '1' && !greenCheckmarks_;
    if (depends && !item.isDirectory) return std::nullopt;
    return badge == '0' || (depends && !*item.isDirectory) ? "" : std::string(1, badge);
  }
  BadgeTable::Identifiers ReadAll(const std::string& directory,
                                  const std::vector<KnownItem>& items) {
    ++reads_;
    BadgeTable::Identifiers identifiers;
    for (const KnownItem& item : items) {
      identifiers.push_back(Read(directory.empty() ? "/" : directory, item));
    }
    return identifiers;
  }
  // The cache, to be changed.
  Badges& Renewed() {
    ++changes_;
    return cache_;
  }
  void SwitchGreenOff() {
    ++changes_;
    greenCheckmarks_ = false;
  }
  void Signal(const std::string& folder, const std::string& entries) {
    EXPECT_EQ(folder_, folder);
    EXPECT_LE(folder.size() + entries.size(), std::size_t{1} << 20);
    Badges& badges = signals_.emplace_back();
    for (std::size_t at = 0; at < entries.size();) {
      const std::size_t end = entries.find('\0', at);
      ASSERT_NE(std::string::npos, end);
      badges[entries.substr(at + 1, end - at - 1)] = entries[at];
      at = end + 1;
    }
  }
  // What is signalled at the end of the turn.
  std::vector<Badges> TurnEnds() {
    signals_.clear();
    runLoop_.RunPosted();
    return signals_;
  }

  std::string folder_ = "/w";
  bool greenCheckmarks_ = true;
  Badges cache_;
  std::uint64_t changes_ = 1;
  std::vector<Badges> signals_;
  int reads_ = 0;
  FakeClock clock_;
  FakeRunLoop runLoop_{clock_};
  BadgeTable table_{
      runLoop_,
      clock_,
      [this](const std::string& directory, const std::vector<KnownItem>& items) {
        return ReadAll(directory, items);
      },
      [this](const std::string& folder, const std::string& entries) { Signal(folder, entries); },
      [this] { return changes_; },
      kMostBytes};
  static constexpr std::size_t kMostBytes = std::size_t{4} << 20;
};

TEST_F(BadgeTableTest, AnswersByNameInOrderAndKeepsOnlyNamesOfItems) {
  cache_ = {{"/w/a", '1'}, {"/w/b", '2'}};
  EXPECT_EQ("2101000", Ask("c", {"b", "a", "", "a", ".", "..", "a/b"}));
  EXPECT_EQ(2U, table_.Size());
}

TEST_F(BadgeTableTest, WhatMayHaveChangedSinceItsRepaintIsReadAgain) {
  cache_ = {{"/w/a", '1'}, {"/w/b", '1'}};
  Ask("c", {"a", "b"});
  reads_ = 0;
  Change("a", '2');
  EXPECT_EQ((std::vector<Badges>{{{"a", '2'}}}), TurnEnds());
  EXPECT_EQ(0, reads_);
  runLoop_.Advance(BadgeTable::kSignalInterval);
  Change("a", '3');
  Renewed()["/w/a"] = '4';
  Change("b", '2');
  EXPECT_EQ((std::vector<Badges>{{{"a", '4'}, {"b", '2'}}}), TurnEnds());
  runLoop_.Advance(BadgeTable::kSignalInterval);
  Change("a", '5');
  Renewed()["/w/a"] = '6';
  EXPECT_EQ((std::vector<Badges>{{{"a", '6'}}}), TurnEnds());
}

TEST_F(BadgeTableTest, SignalsTheLatestOfWhatWasAskedForAndDiffers) {
  for (const char* folder : {"/", "/w"}) {
    folder_ = folder;
    Ask("c", {"a", "b", "same"});
    Change("a", '2');
    Change("b", '2');
    Change("a", '1');
    Change("b", '0');  // back to what was told
    Repaint("same");
    Change("unasked", '1');
    EXPECT_EQ((std::vector<Badges>{{{"a", '1'}}}), TurnEnds());
  }
}

TEST_F(BadgeTableTest, SignalsAtOnceAfterQuietElseFiftyMillisecondsAfterTheLast) {
  Ask("c", {"a"});
  Change("a", '1');
  EXPECT_TRUE(signals_.empty()) << "not before the turn ends";
  EXPECT_EQ(1U, TurnEnds().size());

  runLoop_.Advance(milliseconds{20});
  Change("a", '2');
  runLoop_.Advance(milliseconds{29});
  EXPECT_EQ(1U, signals_.size());
  Change("a", '3');
  runLoop_.Advance(milliseconds{1});
  ASSERT_EQ(2U, signals_.size());
  EXPECT_EQ((Badges{{"a", '3'}}), signals_[1]);

  runLoop_.Advance(milliseconds{50});
  Change("a", '4');
  EXPECT_EQ(1U, TurnEnds().size());
}

TEST_F(BadgeTableTest, ChangeBetweenQuestionAndAnswerIsInTheAnswer) {
  EXPECT_TRUE(table_.Ask("c", "/w", {"a"}));
  Change("a", '1');
  EXPECT_EQ("1", Answer("c", {"a"}));
  runLoop_.Advance(milliseconds{1000});
  EXPECT_TRUE(signals_.empty());
}

TEST_F(BadgeTableTest, AnswerNewerThanWhatOthersWereToldIsSignalled) {
  Ask("first", {"a"});
  for (const char* asking : {"first", "second"}) {
    Renewed()["/w/a"] = asking == std::string("first") ? '1' : '2';  // its repaint has not come yet
    Ask(asking, {"a"});
    Repaint("a");
    EXPECT_EQ(asking == std::string("first") ? 0U : 1U, TurnEnds().size());
  }
}

TEST_F(BadgeTableTest, DirectoriesAreReadAsSuch) {
  SwitchGreenOff();
  cache_ = {{"/w/d", '1'}, {"/w/f", '1'}};
  EXPECT_TRUE(table_.Ask("c", "/w", {"d", "f"}));
  Repaint("d", true);
  Repaint("f", false);
  EXPECT_EQ("10", Answer("c", {"d", "f"}));
}

// Until a repaint has looked at the disk, the item stays what it was told to be.
TEST_F(BadgeTableTest, WhatDependsOnALookAtTheDiskWaitsForTheRepaintThatLooks) {
  cache_ = {{"/w/d", '1'}, {"/w/f", '1'}};
  EXPECT_EQ("11", Ask("first", {"d", "f"}));
  SwitchGreenOff();
  EXPECT_EQ("110", Ask("second", {"d", "f", "none"}));
  Renewed()["/w/none"] = '1';
  EXPECT_EQ("0", Ask("first", {"none"}));
  Repaint("d", true);
  Repaint("f", false);
  Repaint("none", true);
  EXPECT_EQ(std::vector<Badges>({{{"f", '0'}, {"none", '1'}}}), TurnEnds());
}

// More clients than there are bits: those that share the last one are kept apart all the same.
TEST_F(BadgeTableTest, ItemsLeaveWithTheLastClientThatAskedForThem) {
  for (const int clients : {2, 70}) {
    const auto name = [](int client) { return "c" + std::to_string(client); };
    for (int i = 0; i < clients; ++i) Ask(name(i), {"a"});
    Ask(name(0), {"b"});
    Change("a", static_cast<char>('0' + clients % 7));
    Change("b", static_cast<char>('0' + clients % 7));
    for (int i = 0; i < clients - 1; ++i) table_.ClientGone(name(i));
    EXPECT_EQ(1U, table_.Size());
    runLoop_.Advance(milliseconds{50});
    EXPECT_EQ((Badges{{"a", cache_["/w/a"]}}), signals_.back());
    table_.ClientGone(name(clients - 1));
    EXPECT_EQ(0U, table_.Size());
  }
}

TEST_F(BadgeTableTest, SweepTakesFoldersOfNoInterestButNotThoseBeingAnswered) {
  Ask("c", {"a"});
  folder_ = "/x";
  Ask("c", {"b"});
  folder_ = "/";
  Ask("c", {"x"});
  EXPECT_TRUE(table_.Ask("c", "/answering", {"z"}));
  std::set<std::string> asked;
  table_.Swept([&](const std::string& directory) {
    asked.insert(directory);
    return directory == "/x";
  });
  EXPECT_EQ((std::set<std::string>{"/w", "/x", ""}), asked);
  EXPECT_EQ(2U, table_.Size());

  folder_ = "/x";
  Change("b", '1');
  EXPECT_EQ(1U, TurnEnds().size());
}

TEST_F(BadgeTableTest, TenThousandBadgesTakeFewSignalsOfBoundedSize) {
  std::vector<std::string> names;
  for (int i = 0; i < 10'000; ++i) names.push_back(std::to_string(i) + std::string(240, 'x'));
  Ask("c", names);
  for (const std::string& name : names) Change(name, '1');
  runLoop_.Advance(milliseconds{100});
  std::size_t told = 0;
  for (const Badges& signal : signals_) told += signal.size();
  EXPECT_EQ(names.size(), told);
  EXPECT_EQ(3U, signals_.size());
}

TEST_F(BadgeTableTest, ManyNewsAreSignalledInTurnsOnWhichNewerOnesWait) {
  std::vector<std::string> names(40'000);
  for (std::size_t i = 0; i < names.size(); ++i) names[i] = std::to_string(i);
  Ask("c", names);
  for (const std::string& name : names) Change(name, '2');
  runLoop_.Post([&] {
    EXPECT_EQ(1U, signals_.size());
    Change(names[0], '3');
  });
  std::size_t signalled = 0;
  for (const Badges& badges : TurnEnds()) signalled += badges.size();
  EXPECT_EQ(signalled, names.size());
  signals_.clear();
  runLoop_.Advance(BadgeTable::kSignalInterval);
  EXPECT_EQ((std::vector<Badges>{{{names[0], '3'}}}), signals_);
}

TEST_F(BadgeTableTest, ANameThatWaitedForSomebodyWhoLeftIsNoNewsForOthers) {
  cache_ = {{"/w/x", '1'}, {"/w/y", '1'}};
  EXPECT_EQ("11", Ask("first", {"x", "y"}));
  EXPECT_EQ("1", Ask("second", {"y"}));
  Change("x", '2');
  table_.ClientGone("first");
  const std::vector<std::string_view> names = {"x"};
  EXPECT_TRUE(table_.Ask("third", folder_, names));
  EXPECT_EQ(std::vector<Badges>(), TurnEnds());
}

TEST_F(BadgeTableTest, ALateRepaintThatDidNotLookUndoesNoLook) {
  cache_ = {{"/w/f", '1'}};
  EXPECT_EQ("1", Ask("first", {"f"}));
  SwitchGreenOff();
  Repaint("f", false);
  const FinderController::ItemBadge late{"f", "1", std::nullopt};  // from before
  table_.NoteRepaints("/w", {&late, 1});
  EXPECT_EQ(std::vector<Badges>({{{"f", '0'}}}), TurnEnds());
}

TEST_F(BadgeTableTest, AClientAsksForOnlySoMuch) {
  std::vector<std::string_view> names = {"a", "b"};
  std::size_t folders = 0;
  const auto ask = [&](const char* client) {
    const std::string folder = "/" + std::to_string(folders);
    if (!table_.Ask(client, folder, names)) return false;
    table_.Answer(client, folder, names, [](const std::string&) {});
    return true;
  };
  for (; folders < 100'000 && ask("greedy"); ++folders) {
  }
  EXPECT_GT(folders, 1000U);
  EXPECT_LT(folders, kMostBytes / 500);
  EXPECT_TRUE(ask("other"));
  folders = 1;
  EXPECT_TRUE(ask("greedy")) << "what it has asked for already";
  names.push_back("c");
  EXPECT_FALSE(ask("greedy"));
  table_.Swept([](const std::string& directory) { return directory != "/2"; });
  EXPECT_TRUE(ask("greedy")) << "now that one is let go";
  folders = 2;
  EXPECT_TRUE(ask("greedy"));
  folders = 3;
  EXPECT_FALSE(ask("greedy"));
  table_.ClientGone("greedy");
  EXPECT_TRUE(ask("greedy"));
}

}  // namespace
}  // namespace kelvo::test
