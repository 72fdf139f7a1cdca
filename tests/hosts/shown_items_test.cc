#include "hosts/dolphin/shown_items.h"

#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "tests/hosts/badge_store_fixture.h"

namespace kelvo {
namespace {

using std::chrono_literals::operator""min;

// Dolphin with some views, each with the badges that it draws, over a store on a bus by hand.
class ShownItemsTest : public BadgeStoreTest, private ShownItems::Surroundings {
 protected:
  using View = std::map<std::string, BadgeByte>;

  ShownItemsTest() { store_.ExtensionAppeared({"/w"}); }

  void Open(View& view, const std::string& path) {
    views_.insert(&view);
    view[path] = Ask(path);
  }
  void Close(View& view) { views_.erase(&view); }

  // As the Agent says from now on.
  void Push(const std::string& folder, const std::string& name, BadgeByte badge) {
    agent_[JoinPath(folder, name)] = badge;
    store_.OnBadgesChanged(folder, badge + name + '\0');
  }
  void Advance(milliseconds time) {
    Idle();
    for (const milliseconds end = clock_.Monotonic() + time; clock_.Monotonic() < end;) {
      clock_.Turn(500ms);
      if (Due(due_)) store_.Work();
      if (Due(doubtDue_)) shown_.Doubt();
      Idle();
    }
  }
  void Idle() {
    for (int turns = 0; std::exchange(soon_, false); ++turns) {
      ASSERT_LT(turns, 10000);
      store_.Work();
      shown_.Work();
      for (const auto& [folder, names, ticket] : std::exchange(requests_, {})) {
        std::string badges;
        for (const std::string& name : names) {
          badges += agent_.emplace(JoinPath(folder, name), '1').first->second;
        }
        store_.OnAnswer(folder, ticket, badges);
      }
    }
  }

  std::set<std::string> observed_;
  std::size_t tells_ = 0;
  ShownItems shown_{clock_, *this};

 private:
  BadgeByte Ask(const std::string& path) {
    const BadgeStore::Answer answer = store_.Lookup(path);
    shown_.Asked(path, answer.item, answer.badge);
    return answer.badge;
  }
  bool Due(std::optional<milliseconds>& due) {
    if (!due || *due > clock_.Monotonic()) return false;
    due.reset();
    return true;
  }

  void BeginObserving(const std::string& folder) override { observed_.insert(folder); }
  void EndObserving(const std::string& folder) override { observed_.erase(folder); }
  void BadgeChanged(const std::string& folder, const std::string& name) override {
    shown_.Tell(JoinPath(folder, name));
  }
  void Retain(BadgeStore::Item* item) override { store_.Retain(item); }
  void Release(BadgeStore::Item* item) override { store_.Release(item); }
  void TellViews(const std::string& path) override {
    ++tells_;
    for (View* view : views_) {
      const auto at = view->find(path);
      if (at != view->end()) at->second = Ask(path);
    }
  }
  void WorkSoon() override { soon_ = true; }  // the one of both
  void DoubtAfter(milliseconds pause) override { doubtDue_ = clock_.Monotonic() + pause; }

  std::set<View*> views_;
  std::map<std::string, BadgeByte> agent_;
  std::optional<milliseconds> doubtDue_;
};

TEST_F(ShownItemsTest, BadgesReachAWindowThatLiesIdleForHours) {
  View view;
  for (int i = 0; i < 1000; ++i) Open(view, "/w/" + std::to_string(i));
  Advance(1min);
  EXPECT_EQ(view["/w/999"], '1');
  Advance(180min);
  for (const char* name : {"0", "500", "999"}) Push("/w", name, '3');
  Idle();
  EXPECT_EQ(view["/w/0"], '3');
  EXPECT_EQ(view["/w/500"], '3');
  EXPECT_EQ(view["/w/999"], '3');
}

TEST_F(ShownItemsTest, WhatNoViewShowsIsForgottenAndItsFolderObservedNoLonger) {
  View left;
  View stays;
  Open(stays, "/w/a");
  for (int i = 0; i < 1000; ++i) Open(left, "/w/big/" + std::to_string(i));
  Open(stays, "/w/deleted");
  Advance(30min);
  EXPECT_EQ(shown_.size(), 1002u);
  Close(left);
  stays.erase("/w/deleted");
  tells_ = 0;
  Advance(12min);
  EXPECT_EQ(shown_.size(), 1u);
  EXPECT_EQ(observed_, std::set<std::string>{"/w"});
  EXPECT_LT(tells_, 1020u) << "each is doubted once, what stays once a minute";
  Push("/w", "a", '2');
  Idle();
  EXPECT_EQ(stays["/w/a"], '2');
}

TEST_F(ShownItemsTest, ABadgeThatANewViewSeesFirstReachesTheOther) {
  View first;
  View second;
  Open(first, "/w/a");
  Advance(1min);
  Push("/w", "a", '4');
  Open(second, "/w/a");  // before the store can tell
  EXPECT_EQ(first["/w/a"], '1');
  Idle();
  EXPECT_EQ(first["/w/a"], '4');
  EXPECT_EQ(second["/w/a"], '4');
}

}  // namespace
}  // namespace kelvo
