// The file manager's operations from many threads while all that they read is replaced. What the
// thread sanitizer sees of it is half of the test.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "core/known_item.h"
#include "tests/support/changing_folders.h"
#include "ui/item_words.h"
#include "ui/notification_preferences.h"

namespace kelvo::test {
namespace {

using std::chrono::seconds;

class ThreadsTest : public ChangingFolders {
 protected:
  static constexpr int kThreads = 8;
  static constexpr int kRounds = 8;
  static constexpr int kTurns = 40;  // of the main loop, in a round

  ThreadsTest() : ChangingFolders({"a", "b", "c", "d"}) {}

  // What eight threads do, each beginning elsewhere.
  void AskOnAndOn(std::size_t thread) {
    const std::vector<std::string_view> views(names_.begin(), names_.end());
    std::vector<KnownItem> items;
    for (std::string_view name : views) items.push_back({name, std::nullopt});
    for (std::size_t i = thread; !done_; ++i) {
      const std::string& folder = folders_[i / 6 % folders_.size()];
      switch (i % 6) {
        case 0:
          extension_->beginObservingDirectoryAtURL(folder);
          break;
        case 1:
          extension_->requestBadgeIdentifiers(folder, views);
          break;
        case 2:
          for (const std::string& name : names_) {
            extension_->requestBadgeIdentifierForURL(folder + "/" + name);
          }
          break;
        case 3:
          known_ += extension_->knownBadgeIdentifiers(folder, items).size();
          known_ += extension_->describeItems(folder, views).which.size();
          break;
        case 4:
          if (extension_->menuForMenuKind(0, {folder + "/" + names_[0]}, done_)) ++menus_;
          break;
        default:
          if (i % 5 != 0) extension_->endObservingDirectoryAtURL(folder);
      }
    }
  }

  void Disturb(int turn) {
    switch (turn % 7) {
      case 0:
        return ChangeFolder(turn);
      case 1:
        return ChangeItem(turn);
      case 2:
        return fake_.runLoop.Advance(seconds(901));
      case 3:
        return SwitchGreenCheckmarks(turn % 2 == 0);
      case 4:
        return fake_.transport.DeliverEvent(
            "sync_error", {{"error", "9"}, {"path", PropertyList(Home("Work"))}, {"mpf", "1"}});
      case 5:
        SetShowLockNotification(false);
        fake_.transport.DeliverEvent("reset_show_dialog");
        return fake_.transport.DeliverEvent("sync_response", {{"command", "reset-status"}});
      default:
        return fake_.clock.SetWallClock(fake_.clock.Now() + (turn % 2 == 0 ? 4000 : -4000));
    }
  }

  void SwitchGreenCheckmarks(bool on) {
    hasGreen_ = on;
    WriteUserInfo(on ? "" : "<key>show_green_checkmarks</key><false/>");
    Configure();
  }

  void ExpectBadgesOf(int turn) {
    const std::vector<ListRecord> records = Records(turn);
    for (const std::string& folder : folders_) {
      for (const ListRecord& record : records) {
        const char* const expected = record.denied != 0   ? "6"
                                     : record.lock != 0   ? "3"
                                     : record.status != 0 ? "2"
                                     : hasGreen_          ? "1"
                                                          : "";
        EXPECT_EQ(Badge(folder + "/" + record.name), expected) << folder << " " << record.name;
      }
    }
  }

  bool hasGreen_ = true;
  std::atomic<bool> done_{false};
  std::atomic<int> menus_{0};
  std::atomic<std::size_t> known_{0};
};

TEST_F(ThreadsTest, WhateverHappensMeanwhileTheLastBadgesAreRight) {
  fake_.settingsQueue.Hold(true);
  for (int round = 0; round < kRounds && !HasFailure(); ++round) {
    done_ = false;
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < kThreads; ++i) threads.emplace_back([this, i] { AskOnAndOn(i); });
    std::atomic<bool> isOver{false};
    std::thread worker([this, &isOver] {
      for (; !isOver; std::this_thread::yield()) fake_.settingsQueue.RunAll();
    });
    const int end = (round + 1) * kTurns;
    for (int turn = round * kTurns; turn < end; ++turn) {
      Answer(turn);
      Disturb(turn);
    }
    SwitchGreenCheckmarks(round % 2 == 0);
    isOver = true;
    worker.join();
    fake_.settingsQueue.RunAll();
    fake_.runLoop.RunPosted();
    // The threads are still asking, and may have in hand what was true before.
    for (const std::string& folder : folders_) SendList(folder, Records(end));
    done_ = true;
    for (std::thread& thread : threads) thread.join();
    ExpectBadgesOf(end);
    fake_.finder.badges.clear();
  }
  EXPECT_GT(known_, 0u);
  EXPECT_GT(menus_, 0);
}

}  // namespace
}  // namespace kelvo::test
