#include "hosts/bus/badge_table.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "hosts/bus/bus_paths.h"
#include "tests/support/fake_platform.h"

namespace kelvo::test {
namespace {

using std::chrono::milliseconds;

// A table over a cache that the test writes. What is told, by reply or by signal, is kept in the
// order in which it was handed out.
class BadgeTableTest : public ::testing::Test {
 protected:
  struct Told {
    std::string to;  // the client, or "*" for a signal
    std::map<std::string, char> badges;
    std::size_t bytes = 0;
  };

  std::string Ask(const std::string& client, const std::vector<std::string>& names) {
    const std::vector<std::string_view> views(names.begin(), names.end());
    table_.Ask(client, folder_, views);
    return Answer(client, names);
  }
  std::string Answer(const std::string& client, const std::vector<std::string>& names) {
    const std::vector<std::string_view> views(names.begin(), names.end());
    std::string answer;
    table_.Answer(client, folder_, views, [&](const std::string& badges) {
      answer = badges;
      Told told{client, {}};
      for (std::size_t i = 0; i < names.size(); ++i) told.badges[names[i]] = badges[i];
      told_.push_back(std::move(told));
    });
    return answer;
  }
  // The cache has news of the item and repaints it.
  void Change(const std::string& name, char badge, bool isDirectory = false) {
    cache_[ItemPath(folder_, name)] = badge;
    Repaint(name, isDirectory);
  }
  void Repaint(const std::string& name, bool isDirectory = false) {
    const std::string path = ItemPath(folder_, name);
    table_.NoteRepaint(path, Read(path, isDirectory), isDirectory);
  }
  char Read(const std::string& path, bool isDirectory) {
    auto found = cache_.find(path);
    if (found == cache_.end()) return '0';
    return found->second == '1' && !isDirectory && !greenCheckmarks_ ? '0' : found->second;
  }
  void Signal(const std::string& folder, const std::string& entries) {
    EXPECT_EQ(folder_, folder);
    Told told{"*", {}, folder.size() + entries.size()};
    for (std::size_t at = 0; at < entries.size();) {
      const std::size_t end = entries.find('\0', at);
      ASSERT_NE(std::string::npos, end);
      told.badges[entries.substr(at + 1, end - at - 1)] = entries[at];
      at = end + 1;
    }
    told_.push_back(std::move(told));
  }
  std::vector<Told> Signals() const {
    std::vector<Told> signals;
    for (const Told& told : told_) {
      if (told.to == "*") signals.push_back(told);
    }
    return signals;
  }

  using Badges = std::map<std::string, char>;

  std::string folder_ = "/w";
  bool greenCheckmarks_ = true;
  std::map<std::string, char> cache_;
  std::vector<Told> told_;
  FakeClock clock_;
  FakeRunLoop runLoop_{clock_};
  BadgeTable table_{
      runLoop_, clock_,
      [this](const std::string& path, bool isDirectory) { return Read(path, isDirectory); },
      [this](const std::string& folder, const std::string& entries) { Signal(folder, entries); }};
};

TEST_F(BadgeTableTest, AnswersByNameInOrderAndKeepsOnlyNamesOfItems) {
  cache_ = {{"/w/a", '1'}, {"/w/b", '2'}};
  EXPECT_EQ("2101000", Ask("c", {"b", "a", "", "a", ".", "..", "a/b"}));
  EXPECT_EQ(2U, table_.Size());
}

TEST_F(BadgeTableTest, ItemsOfTheRootFolderAreFound) {
  folder_ = "/";
  Ask("c", {"a"});
  Change("a", '1');
  runLoop_.RunPosted();
  ASSERT_EQ(1U, Signals().size());
  EXPECT_EQ((Badges{{"a", '1'}}), Signals()[0].badges);
}

TEST_F(BadgeTableTest, SignalsOnlyWhatWasAskedForAndDiffers) {
  Ask("c", {"a", "b"});
  Change("a", '2');
  Repaint("b");
  Change("unasked", '1');
  runLoop_.Advance(milliseconds{1000});
  ASSERT_EQ(1U, Signals().size());
  EXPECT_EQ((Badges{{"a", '2'}}), Signals()[0].badges);
}

TEST_F(BadgeTableTest, GathersNamesAndTellsTheLatestBadge) {
  Ask("c", {"a", "b"});
  Change("a", '2');
  Change("b", '2');
  Change("a", '1');
  Change("b", '0');  // back to what was told: nothing to tell
  runLoop_.RunPosted();
  ASSERT_EQ(1U, Signals().size());
  EXPECT_EQ((Badges{{"a", '1'}}), Signals()[0].badges);
}

TEST_F(BadgeTableTest, SignalsAtOnceAfterQuietElseFiftyMillisecondsAfterTheLast) {
  Ask("c", {"a"});
  Change("a", '1');
  EXPECT_TRUE(Signals().empty());  // not before the turn ends
  runLoop_.RunPosted();
  EXPECT_EQ(1U, Signals().size());

  runLoop_.Advance(milliseconds{20});
  Change("a", '2');
  runLoop_.Advance(milliseconds{29});
  EXPECT_EQ(1U, Signals().size());
  Change("a", '3');
  runLoop_.Advance(milliseconds{1});
  ASSERT_EQ(2U, Signals().size());
  EXPECT_EQ('3', Signals()[1].badges.at("a"));

  runLoop_.Advance(milliseconds{50});
  Change("a", '4');
  runLoop_.RunPosted();
  EXPECT_EQ(3U, Signals().size());
}

// A file manager in the middle of a storm of changes must not be kept from the last one.
TEST_F(BadgeTableTest, StormOfChangesEndsWithTheLastOneTold) {
  Ask("c", {"a"});
  for (int i = 0; i < 200; ++i) {
    Change("a", static_cast<char>('1' + i % 6));
    runLoop_.Advance(milliseconds{1});
  }
  runLoop_.Advance(milliseconds{50});
  EXPECT_LE(Signals().size(), 6U);
  EXPECT_EQ(cache_["/w/a"], Signals().back().badges.at("a"));
}

TEST_F(BadgeTableTest, ChangeBetweenQuestionAndAnswerIsInTheAnswer) {
  table_.Ask("c", "/w", {"a"});
  Change("a", '1');
  EXPECT_EQ("1", Answer("c", {"a"}));
  runLoop_.Advance(milliseconds{1000});
  EXPECT_TRUE(Signals().empty());
}

TEST_F(BadgeTableTest, AnswerNewerThanWhatOthersWereToldIsSignalled) {
  Ask("first", {"a"});
  cache_["/w/a"] = '2';  // its repaint has not come yet
  EXPECT_EQ("2", Ask("second", {"a"}));
  Repaint("a");
  runLoop_.RunPosted();
  ASSERT_EQ(1U, Signals().size());
  EXPECT_EQ((Badges{{"a", '2'}}), Signals()[0].badges);
}

TEST_F(BadgeTableTest, AnswerNewerThanWhatTheSameClientWasToldIsEnough) {
  Ask("only", {"a"});
  cache_["/w/a"] = '2';
  EXPECT_EQ("2", Ask("only", {"a"}));
  Repaint("a");
  runLoop_.RunPosted();
  EXPECT_TRUE(Signals().empty());
}

TEST_F(BadgeTableTest, DirectoriesAreReadAsSuch) {
  greenCheckmarks_ = false;
  cache_ = {{"/w/d", '1'}, {"/w/f", '1'}};
  table_.Ask("c", "/w", {"d", "f"});
  Repaint("d", true);
  Repaint("f", false);
  EXPECT_EQ("10", Answer("c", {"d", "f"}));
}

TEST_F(BadgeTableTest, ItemsLeaveWithTheLastClientThatAskedForThem) {
  Ask("first", {"a", "b"});
  Ask("second", {"b"});
  Change("a", '1');
  Change("b", '1');
  table_.ClientGone("first");
  EXPECT_EQ(1U, table_.Size());
  runLoop_.RunPosted();
  ASSERT_EQ(1U, Signals().size());
  EXPECT_EQ((Badges{{"b", '1'}}), Signals()[0].badges);
  table_.ClientGone("second");
  EXPECT_EQ(0U, table_.Size());
}

// More clients than there are bits: those that share the last one are kept apart all the same.
TEST_F(BadgeTableTest, ManyClientsLoseNothing) {
  const auto name = [](int client) { return "c" + std::to_string(client); };
  for (int i = 0; i < 70; ++i) Ask(name(i), {"a"});
  cache_["/w/a"] = '1';
  EXPECT_EQ("1", Ask(name(69), {"a"}));
  for (int i = 0; i < 69; ++i) table_.ClientGone(name(i));
  runLoop_.RunPosted();
  EXPECT_EQ(1U, Signals().size());
  EXPECT_EQ(1U, table_.Size());
  table_.ClientGone(name(69));
  EXPECT_EQ(0U, table_.Size());

  Ask("late", {"a"});
  table_.ClientGone("late");
  EXPECT_EQ(0U, table_.Size());
}

TEST_F(BadgeTableTest, SweepTakesFoldersOfNoInterestButNotThoseBeingAnswered) {
  Ask("c", {"a"});
  folder_ = "/x";
  Ask("c", {"b"});
  folder_ = "/";
  Ask("c", {"x"});
  table_.Ask("c", "/answering", {"z"});
  std::set<std::string> asked;
  table_.Swept([&](const std::string& directory) {
    asked.insert(directory);
    return directory == "/x";
  });
  EXPECT_EQ((std::set<std::string>{"/w", "/x", ""}), asked);
  EXPECT_EQ(2U, table_.Size());

  folder_ = "/x";
  Change("b", '1');
  runLoop_.RunPosted();
  EXPECT_EQ(1U, Signals().size());
}

TEST_F(BadgeTableTest, TenThousandBadgesTakeFewSignalsOfBoundedSize) {
  std::vector<std::string> names;
  for (int i = 0; i < 10'000; ++i) names.push_back(std::to_string(i) + std::string(240, 'x'));
  Ask("c", names);
  for (const std::string& name : names) Change(name, '1');
  runLoop_.Advance(milliseconds{100});
  std::size_t told = 0;
  for (const Told& signal : Signals()) {
    told += signal.badges.size();
    EXPECT_LE(signal.bytes, std::size_t{1} << 20);
  }
  EXPECT_EQ(names.size(), told);
  EXPECT_EQ(3U, Signals().size());
}

}  // namespace
}  // namespace kelvo::test
