#include "hosts/bus/description_news.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "tests/support/started_extension.h"

namespace kelvo::test {
namespace {

using std::chrono::milliseconds;

// What the clients of the extension's bus are told, over an Agent that the test plays.
class DescriptionNewsTest : public StartedExtension {
 protected:
  DescriptionNewsTest() {
    cache().GetStatus("/w/a");
    SendList("/w", {{.name = "a"}, {.name = "b"}, {.name = "c"}});
  }
  void onItemsChanged(const std::string& path, const CSyncStatusListResponse* list) override {
    list == nullptr ? news_.NoteChange(path) : news_.NoteList(*list);
  }
  void onFoldersSwept(const std::vector<std::string>&) override {
    news_.Swept(
        [this](const std::string& folder) { return extension_->isFolderOfInterest(folder); });
  }
  void Ask(const std::string& client, const std::vector<std::string_view>& names,
           const std::string& folder = "/w") {
    news_.Ask(client, folder);
    news_.Answer(client, folder, names, extension_->describeItems(folder, names),
                 [](const WordsOfItems&) {});
  }
  void Lock(const std::string& name, const std::string& owner) {
    SendItem("/w/" + name, {{"lock", PropertyList("1")}, {"lock_holder", PropertyList(owner)}});
  }
  // What was signalled since the last call, after half a second.
  std::vector<std::string> Signals() {
    fake_.runLoop.Advance(DescriptionNews::kSignalInterval);
    return std::exchange(signals_, {});
  }

  static constexpr std::size_t kMaxTold = 8'000;

  std::vector<std::string> signals_;
  DescriptionNews news_{
      fake_.runLoop, fake_.clock,
      [this](const std::string& folder, const std::vector<std::string_view>& names) {
        return extension_->describeItems(folder, names);
      },
      [this](const std::string& folder, const std::string& names) {
        std::string& line = signals_.emplace_back(folder + ": " + names);
        std::replace(line.begin(), line.end(), '\0', ' ');
      },
      kMaxTold};
};

using Lines = std::vector<std::string>;

TEST_F(DescriptionNewsTest, TellsOfNewWordsInFoldersThatWereAskedAboutTwiceASecond) {
  Lock("a", "Eve");
  EXPECT_EQ(Lines{}, Signals()) << "nobody has asked";
  Ask("one", {"a", "b"});
  Lock("a", "Eve");
  SendItem("/x/a");
  SendItem("/w");
  EXPECT_EQ(Lines{}, Signals()) << "nothing new";

  Lock("a", "Bob");
  EXPECT_EQ(Lines{}, signals_) << "not before the turn ends";
  fake_.runLoop.RunPosted();
  EXPECT_EQ(Lines{"/w: a "}, std::exchange(signals_, {}));
  Lock("b", "Bob");
  Lock("a", "Eve");
  Lock("a", "Bob");
  fake_.runLoop.Advance(milliseconds{499});
  EXPECT_EQ(Lines{}, signals_);
  fake_.runLoop.Advance(milliseconds{1});
  EXPECT_EQ(Lines{"/w: b "}, std::exchange(signals_, {}));

  const ListRecord ofBob = {.name = "a", .lock = 1, .lockHolder = "Bob"};
  const ListRecord ofEve = {.name = "b", .lock = 1, .lockHolder = "Eve"};
  SendList("/w", {ofBob, ofEve});
  EXPECT_EQ(Lines{"/w: b "}, Signals());
  SendList("/w", {ofBob, ofEve, {.name = "new"}});
  EXPECT_EQ(Lines{}, Signals()) << "a list that says of a and b what is known";
  SendList("/w", {ofEve});
  EXPECT_EQ(Lines{"/w: "}, Signals()) << "something is missing";
  Ask("one", {"a", "b"});
  SendList("/w", {ofEve});
  EXPECT_EQ(Lines{}, Signals()) << "as it was";
  cache().OnSyncStatusReset();
  news_.NoteChange({});
  EXPECT_EQ(Lines{"/w: "}, Signals());
}

TEST_F(DescriptionNewsTest, FloodOfNewsTakesTwoSignals) {
  Ask("one", {"a"});
  Lock("a", "Eve");
  fake_.runLoop.RunPosted();
  for (int i = 0; i < 5000; ++i) news_.NoteChange("/w/" + std::to_string(i));
  EXPECT_EQ((Lines{"/w: a ", "/w: "}), Signals());
  for (std::size_t i = 0; i < DescriptionNews::kMaxNames; ++i) {
    news_.NoteChange("/w/" + std::to_string(i));
  }
  const Lines signals = Signals();
  ASSERT_EQ(1U, signals.size());
  EXPECT_EQ(DescriptionNews::kMaxNames + 1, std::ranges::count(signals[0], ' ')) << "each named";
}

TEST_F(DescriptionNewsTest, ListsOfLargeFoldersAreComparedInTurns) {
  std::vector<ListRecord> records;
  for (int i = 0; i < 6'000; ++i) records.push_back({.name = "n" + std::to_string(i)});
  SendList("/w", records);
  std::vector<std::string_view> names;
  for (const ListRecord& record : records) names.push_back(record.name);
  Ask("one", names);
  const auto change = [&](std::size_t from, std::size_t to, const std::string& owner) {
    for (std::size_t i = from; i < to; ++i) {
      records[i].lock = 1;
      records[i].lockHolder = owner;
    }
    SendList("/w", records);
  };
  change(0, 0, "");
  EXPECT_EQ(Lines{}, Signals()) << "the same list";
  change(5'999, 6'000, "Eve");
  EXPECT_EQ(Lines{"/w: n5999 "}, Signals());

  // What comes between two turns.
  change(7, 8, "Eve");
  fake_.runLoop.Post([&] {
    Ask("one", {"n7", "n5998", "never there"});
    Lock("n9", "Bob");
  });
  EXPECT_EQ(Lines{"/w: n9 "}, Signals()) << "somebody has asked for the other";
  change(9, 10, "Bob");
  fake_.runLoop.Post([&] {
    Ask("two", {"n3"});
    change(11, 12, "Bob");
  });
  EXPECT_EQ(Lines{"/w: n11 "}, Signals()) << "the newer list";
  records.erase(records.begin() + 5'000);
  change(0, 0, "");
  fake_.runLoop.Post([&] { Ask("two", {"n5000"}); });
  EXPECT_EQ(Lines{"/w: "}, Signals()) << "the other client has not been told that it is missing";
  Ask("one", names);
  change(0, DescriptionNews::kMaxNames + 1, "Ann");
  EXPECT_EQ(Lines{"/w: "}, Signals());

  Ask("one", names);
  for (int i = 0; i < 20; ++i) change(0, 0, "");
  EXPECT_EQ(Lines{}, Signals()) << "the same again, before the first was looked at";
  int lists = 0;
  const std::function<void()> sendAgain = [&] {
    change(0, 0, "");
    if (signals_.empty() && ++lists < 20) fake_.runLoop.Post(sendAgain);
  };
  Lock("n9", "Zoe");
  sendAgain();
  EXPECT_EQ(Lines{"/w: "}, Signals()) << "no list is ever compared to its end";
}

TEST_F(DescriptionNewsTest, NothingIsKeptOfWhatNobodyHasAskedAbout) {
  Ask("one", {"a"});
  Lock("b", "Eve");
  EXPECT_EQ(Lines{"/w: b "}, Signals());
  EXPECT_EQ(1U, news_.Told());
}

TEST_F(DescriptionNewsTest, WhatAReplyDoesNotContainIsToldAfterIt) {
  Ask("one", {"a"});
  // Read before the change, and handed out after its signal.
  news_.Ask("one", "/w");
  const WordsOfItems old = extension_->describeItems("/w", {"a"});
  Lock("a", "Eve");
  EXPECT_EQ(Lines{"/w: a "}, Signals());
  news_.Answer("one", "/w", {"a"}, old, [](const WordsOfItems&) {});
  EXPECT_EQ(Lines{"/w: a "}, Signals());
  Ask("one", {"a"});
  EXPECT_EQ(Lines{}, Signals());

  // The same with a list: which items it concerns is known only when the reply is handed out.
  news_.Ask("one", "/w");
  const WordsOfItems older = extension_->describeItems("/w", {"b"});
  SendList("/w", {{.name = "a", .lock = 1, .lockHolder = "Ann"},
                  {.name = "b", .lock = 1, .lockHolder = "Bob"}});
  EXPECT_EQ(Lines{"/w: a "}, Signals());
  news_.Answer("one", "/w", {"b"}, older, [](const WordsOfItems&) {});
  EXPECT_EQ(Lines{"/w: b "}, Signals());

  // What is news for this client another one has been told already.
  Ask("one", {"a"});
  cache().UpdateItem("/w/a", "", 0, sync::ESyncItemStatus{1}, {}, "", 0, "", {}, {}, false);
  Ask("two", {"a"});
  news_.NoteChange("/w/a");
  EXPECT_EQ(Lines{"/w: a "}, Signals());
  news_.NoteChange("/w/a");
  EXPECT_EQ(Lines{}, Signals());
}

TEST_F(DescriptionNewsTest, FoldersLeaveWithTheirClientsTheSweepAndTheLimit) {
  Ask("one", {"a", "", "b"});
  Ask("two", {"a"});
  Ask("two", {"a"}, "/gone");
  EXPECT_EQ(3U, news_.Told());
  cache().AddObservedPath("/w");
  fake_.runLoop.Advance(std::chrono::seconds{1200});
  EXPECT_EQ(1U, news_.Folders());
  news_.ClientGone("one");
  EXPECT_EQ(1U, news_.Folders());
  news_.ClientGone("two");
  EXPECT_EQ(0U, news_.Folders());
  EXPECT_EQ(0U, news_.Told());

  cache().AddObservedPath("/v");
  SendList("/v", {{.name = "a"}});
  for (std::size_t i = 0; i < DescriptionNews::kFoldersPerClient + 9; ++i) {
    Ask("one", {"a"}, i == 4 ? "/w" : i == 5 ? "/v" : "/f" + std::to_string(i));
    if (i == 9) Ask("one", {"a"}, "/w");
  }
  EXPECT_EQ(DescriptionNews::kFoldersPerClient, news_.Folders());
  Lock("a", "Bob");
  SendList("/v", {});
  EXPECT_EQ(Lines{"/w: a "}, Signals()) << "asked about again since, unlike the other";
}

TEST_F(DescriptionNewsTest, TheSweepSparesWhatIsBeingAnsweredAndMakesRoom) {
  const auto sweepAll = [this] { news_.Swept([](const std::string&) { return false; }); };
  for (std::size_t i = 0; i < DescriptionNews::kFoldersPerClient; ++i) {
    Ask("one", {}, "/f" + std::to_string(i));
  }
  sweepAll();
  EXPECT_EQ(0U, news_.Folders());
  Ask("one", {"b"}, "/v");
  news_.Ask("one", "/w");
  EXPECT_EQ(2U, news_.Folders()) << "those that were swept count no more";
  sweepAll();
  news_.Answer("one", "/w", {"a"}, extension_->describeItems("/w", {"a"}),
               [](const WordsOfItems&) {});
  EXPECT_EQ(1U, news_.Folders());
  Lock("a", "Bob");
  EXPECT_EQ(Lines{"/w: a "}, Signals());
}

TEST_F(DescriptionNewsTest, WhereTooMuchWasToldAllNewsIsTold) {
  std::vector<std::string> names;
  for (std::size_t i = 0; i <= kMaxTold; ++i) names.push_back(std::to_string(i));
  const std::vector<std::string_view> views(names.begin(), names.end());
  news_.Ask("one", "/w");
  news_.Answer("one", "/w", views, {{{}}, std::vector<std::uint32_t>(views.size())},
               [](const WordsOfItems&) {});
  EXPECT_EQ(0U, news_.Told());
  for (int i = 0; i < 2; ++i) {
    news_.NoteChange("/w/7");
    EXPECT_EQ(Lines{"/w: 7 "}, Signals());
  }
  SendList("/w", {{.name = "a"}});
  EXPECT_EQ(Lines{"/w: "}, Signals());
  Ask("one", {"a"});
  SendItem("/w/a");
  EXPECT_EQ(Lines{}, Signals()) << "no longer too much";
}

}  // namespace
}  // namespace kelvo::test
