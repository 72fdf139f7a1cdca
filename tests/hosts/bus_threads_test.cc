// The calls of eight clients of the bus side by side, while the main loop replaces, resets and
// sweeps all that they are answered from. What the thread sanitizer sees of it is half of the test.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <latch>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "base/string_utils.h"
#include "hosts/bus/badge_table.h"
#include "hosts/bus/call_lanes.h"
#include "hosts/bus/description_news.h"
#include "hosts/bus/finder_calls.h"
#include "tests/support/changing_folders.h"
#include "ui/item_words.h"

namespace kelvo::test {
namespace {

using std::chrono::seconds;

constexpr seconds kLimit{60};

// Repaints go to the table, without a lock of the test's in between.
class TableFinder : public FinderController {
 public:
  void setDirectoryURLs(const std::vector<std::string>&) override {}
  void setBadgeImage(const std::optional<BadgeImage>&, const std::string&,
                     const std::string&) override {}
  void setBadgeIdentifier(const std::string& identifier, const std::string& path,
                          std::optional<bool> isDirectory) override {
    std::string_view directory;
    std::string_view name;
    if (!SplitPath(path, &directory, &name)) return;
    const ItemBadge item{name, identifier, isDirectory};
    setBadgeIdentifiers(std::string(directory), {&item, 1}, 0);
  }
  void setBadgeIdentifiers(const std::string& directory, std::span<const ItemBadge> items,
                           std::uint64_t asOf) override {
    if (table != nullptr) table->NoteRepaints(directory, items, asOf);
  }

  BadgeTable* table = nullptr;
};

// Made before the extension.
struct HasTableFinder {
  TableFinder finder_;
};

// A client, and what it has been told since it came.
struct Client {
  std::string name;
  std::map<std::string, std::map<std::string, char>> badges;      // by folder and item
  std::map<std::string, std::map<std::string, ItemWords>> words;  // but what it was told is old
  std::map<std::string, int> shown;                               // begins without their end
};

class BusThreadsTest : private HasTableFinder, public ChangingFolders {
 protected:
  static constexpr int kClients = 8;
  static constexpr int kRounds = 6;
  static constexpr int kTurns = 10;  // of the main loop, in a round

  BusThreadsTest() : ChangingFolders({"a", "b", "c"}, &finder_) {
    finder_.table = &badges_;
    for (Client& client : clients_) client.name = ":1." + std::to_string(&client - clients_.data());
  }
  ~BusThreadsTest() override { finder_.table = nullptr; }

  void onItemsChanged(const std::string& path, const CSyncStatusListResponse* list) override {
    list == nullptr ? descriptions_.NoteChange(path) : descriptions_.NoteList(*list);
    menusAbout_ += calls_.isMenuAbout(path, list != nullptr) ? 1 : 0;
  }
  // What is let go of is not owed to anybody any more.
  void onFoldersSwept(const std::vector<std::string>&) override {
    const auto keeps = [this](const std::string& directory, auto told) {
      if (extension_->isFolderOfInterest(directory)) return true;
      std::lock_guard lock(mutex_);
      for (Client& client : clients_) (client.*told).erase(directory);
      return false;
    };
    badges_.Swept([&](const std::string& folder) { return keeps(folder, &Client::badges); });
    descriptions_.Swept([&](const std::string& folder) { return keeps(folder, &Client::words); });
  }
  void OnBadges(const std::string& folder, const std::string& entries) {
    std::lock_guard lock(mutex_);
    for (Client& client : clients_) {
      std::map<std::string, char>& told = client.badges[folder];
      for (std::size_t at = 0; at < entries.size();) {
        const std::size_t end = entries.find('\0', at);
        const auto item = told.find(entries.substr(at + 1, end - at - 1));
        if (item != told.end()) item->second = entries[at];
        at = end + 1;
      }
    }
  }
  void OnDescriptions(const std::string& folder, const std::string& names) {
    std::lock_guard lock(mutex_);
    for (Client& client : clients_) {
      if (names.empty()) client.words.erase(folder);
      for (std::size_t at = 0; at < names.size(); at = names.find('\0', at) + 1) {
        client.words[folder].erase(names.c_str() + at);
      }
    }
  }

  void AskBadges(Client& client, const std::string& folder) {
    calls_.requestBadges(client.name, folder, Views(), [&](const std::string& badges) {
      std::this_thread::yield();  // a newer signal must not come first
      std::lock_guard lock(mutex_);
      for (std::size_t i = 0; i < names_.size(); ++i) client.badges[folder][names_[i]] = badges[i];
    });
  }
  void AskWords(Client& client, const std::string& folder) {
    calls_.describeItems(client.name, folder, Views(), [&](const WordsOfItems& items) {
      std::this_thread::yield();
      std::lock_guard lock(mutex_);
      for (std::size_t i = 0; i < names_.size(); ++i) {
        client.words[folder][names_[i]] = items.descriptions[items.which[i]];
      }
    });
  }
  void AskMenu(const Client& client, const std::string& folder) {
    const auto began = fake_.clock.Monotonic();
    const KeptMenu menu = calls_.menuForItems(client.name, 0, {folder + "/" + names_[0]}, done_);
    if (menu.serial == 0) return;
    ++menus_;
    using State = ChosenLine::State;
    const State own = calls_.lineOfMenu(client.name, menu.serial, 0).state;
    const bool isYoung = fake_.clock.Monotonic() - began < KeptMenus::kKeptFor;
    EXPECT_TRUE(own != State::kStale || !isYoung);
    EXPECT_EQ(State::kStale, calls_.lineOfMenu("another", menu.serial, 0).state);
  }
  void Observe(Client& client, const std::string& folder, bool begin) {
    int& shown = client.shown[folder];
    if (begin) {
      ++shown;
      calls_.beginObservingDirectory(client.name, folder);
    } else {
      shown = std::max(0, shown - 1);
      calls_.endObservingDirectory(client.name, folder);
    }
  }
  void Leave(Client& client) {
    calls_.clientGone(client.name);
    std::lock_guard lock(mutex_);
    client = {client.name + "'", {}, {}, {}};
  }

  // What eight threads do, each for its client and beginning elsewhere.
  void CallOnAndOn(Client& client, std::size_t start) {
    for (std::size_t i = start; !done_; ++i) {
      const std::string& folder = folders_[i / 4 % folders_.size()];
      const bool leaves = i % 16 == 15;
      const bool opensMenu = i % 4 == 0;
      const auto over = std::make_shared<std::latch>(3 + leaves + opensMenu);
      const auto run = [&](auto lane, const std::function<void()>& call) {
        (lanes_.*lane)(client.name, [call, over] {
          call();
          over->count_down();
        });
      };
      run(&CallLanes::Run, [&] { Observe(client, folder, i % 3 != 0); });
      run(&CallLanes::Run, [&] { AskBadges(client, folder); });
      if (opensMenu) run(&CallLanes::RunMenu, [&] { AskMenu(client, folder); });
      run(&CallLanes::Run, [&] { AskWords(client, folder); });
      if (leaves) run(&CallLanes::RunMenu, [&] { Leave(client); });
      over->wait();
      ++rounds_;
    }
  }

  void Disturb(int turn) {
    switch (turn % 5) {
      case 0:
        return ChangeFolder(turn);
      case 1:
        return ChangeItem(turn);
      case 2:
        return fake_.runLoop.Advance(turn % 3 == 0 ? seconds(901) : seconds(1));
      case 3:
        return fake_.transport.DeliverEvent("sync_response", {{"command", "reset-status"}});
      default:
        return fake_.runLoop.Advance(BadgeTable::kSignalInterval);
    }
  }
  // Of each item the last change, while the threads are asking and may have in hand what was true
  // before; signalled at once.
  void ChangeAll(int round) {
    for (std::size_t i = 0; i < names_.size(); ++i) {
      for (const std::string& folder : folders_) {
        SendItem(folder + "/" + names_[i],
                 {{"status", (round + i) % 2 == 0 ? "1" : "0"},
                  {"lock", i % 3 == 0 ? "1" : "0"},
                  {"lock_holder", PropertyList("user " + std::to_string(round))}});
      }
      std::this_thread::yield();
      fake_.runLoop.Advance(DescriptionNews::kSignalInterval);
    }
  }
  // Turns the loop until so many rounds of calls are over.
  void LetThemCall(int turn, int rounds) {
    const auto limit = std::chrono::steady_clock::now() + kLimit;
    const int end = rounds_ + rounds;
    while (rounds_ < end && std::chrono::steady_clock::now() < limit) {
      Answer(turn);
      std::this_thread::yield();
    }
  }
  // What is told is compared with what is known, after everything has been signalled.
  void ExpectTruth() {
    const std::vector<std::string_view> views = Views();
    for (const std::string& folder : folders_) {
      const WordsOfItems items = extension_->describeItems(folder, views);
      bool isShown = false;
      for (Client& client : clients_) {
        isShown = isShown || client.shown[folder] > 0;
        compared_[0] += client.badges[folder].size();
        compared_[1] += client.words[folder].size();
        for (const auto& [name, badge] : client.badges[folder]) {
          const KnownItem item{name, std::nullopt};
          const auto known = extension_->knownBadgeIdentifiers(folder, {&item, 1});
          EXPECT_EQ(badge, BadgeOfIdentifier(known[0].value_or("?")))
              << client.name << " " << folder << " " << name;
        }
        for (std::size_t i = 0; i < views.size(); ++i) {
          const auto told = client.words[folder].find(names_[i]);
          if (told == client.words[folder].end()) continue;
          EXPECT_EQ(told->second, items.descriptions[items.which[i]])
              << client.name << " " << folder << " " << names_[i];
        }
      }
      EXPECT_EQ(isShown, cache().IsObserved(folder)) << folder;
    }
  }
  std::vector<std::string_view> Views() const { return {names_.begin(), names_.end()}; }

  std::atomic<bool> done_{false};
  std::atomic<int> rounds_{0};
  std::atomic<int> menus_{0};
  int menusAbout_ = 0;
  std::array<std::size_t, 2> compared_{};  // badges, words
  std::mutex mutex_;
  std::array<Client, kClients> clients_;  // what was told: mutex_
  BadgeTable badges_{
      fake_.runLoop, fake_.clock,
      [this](const std::string& directory, const std::vector<KnownItem>& items) {
        return extension_->knownBadgeIdentifiers(directory, items);
      },
      [this](const std::string& folder, const std::string& entries) { OnBadges(folder, entries); },
      [this] { return extension_->badgeChanges(); }};
  DescriptionNews descriptions_{
      fake_.runLoop, fake_.clock,
      [this](const std::string& folder, const std::vector<std::string_view>& names) {
        return extension_->describeItems(folder, names);
      },
      [this](const std::string& folder, const std::string& names) {
        OnDescriptions(folder, names);
      }};
  FinderCalls calls_{*extension_, badges_, descriptions_, fake_.clock,
                     [](const std::string&) { return std::make_unique<FakePasteboard>(); }};
  CallLanes lanes_{fake_.runLoop};
};

TEST_F(BusThreadsTest, WhateverHappensMeanwhileClientsHaveBeenToldTheTruth) {
  for (int round = 0; round < kRounds && !HasFailure(); ++round) {
    done_ = false;
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < clients_.size(); ++i) {
      threads.emplace_back([this, i] { CallOnAndOn(clients_[i], i); });
    }
    for (int turn = round * kTurns; turn < (round + 1) * kTurns; ++turn) {
      Disturb(turn);
      LetThemCall(turn, 2);
    }
    for (const std::string& folder : folders_) SendList(folder, Records(round));
    LetThemCall(round, kClients);
    ChangeAll(round);
    done_ = true;
    for (std::thread& thread : threads) thread.join();
    fake_.runLoop.Advance(seconds(2));
    ExpectTruth();
  }
  EXPECT_TRUE(lanes_.Finish(kLimit));
  EXPECT_GT(compared_[0], 0U);
  EXPECT_GT(compared_[1], 0U);
  EXPECT_GT(menus_, 0);
  EXPECT_GT(menusAbout_, 0);
}

}  // namespace
}  // namespace kelvo::test
