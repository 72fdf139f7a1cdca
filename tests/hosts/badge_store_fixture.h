#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "hosts/client/badge_store.h"
#include "tests/support/fake_platform.h"

namespace kelvo {

using std::chrono::milliseconds;
using std::chrono_literals::operator""s;
using std::chrono_literals::operator""ms;
using Strings = std::vector<std::string>;

// A bus and a main loop that a test turns by hand.
class BadgeStoreTest : public ::testing::Test, public BadgeStore::Surroundings {
 protected:
  struct Request {
    std::string folder;
    Strings names;
    std::uint64_t ticket;
  };

  void BeginObserving(const std::string& folder) override { begun_.push_back(folder); }
  void EndObserving(const std::string& folder) override { ended_.push_back(folder); }
  void RequestBadges(const std::string& folder, const std::string& names,
                     std::uint64_t ticket) override {
    requests_.push_back({folder, Split(names), ticket});
  }
  void DescribeItems(const std::string& folder, const std::string& names,
                     std::uint64_t ticket) override {
    describes_.push_back({folder, Split(names), ticket});
  }
  void BadgeChanged(const std::string& folder, const std::string& name) override {
    changed_.push_back(JoinPath(folder, name));
    if (askOnChange_) store_.Lookup(changed_.back());
  }
  void WorkSoon() override { soon_ = true; }
  void WorkAfter(milliseconds delay) override { due_ = clock_.Monotonic() + delay; }

  static Strings Split(const std::string& names) {
    Strings split;
    for (std::size_t at = 0; at < names.size(); at = names.find('\0', at) + 1) {
      split.emplace_back(names.c_str() + at);
    }
    return split;
  }

  // Turns the loop until it is idle.
  void Idle() {
    for (int turns = 0; soon_; ++turns) {
      ASSERT_LT(turns, 1000) << "the store never comes to rest";
      soon_ = false;
      store_.Work();
    }
  }
  void Advance(milliseconds step) {
    const milliseconds end = clock_.Monotonic() + step;
    Idle();
    while (due_ && *due_ <= end) {
      clock_.Turn(std::max(0ms, *due_ - clock_.Monotonic()));
      due_.reset();
      store_.Work();
      Idle();
    }
    clock_.Turn(end - clock_.Monotonic());
  }

  // Answers the oldest request that waits; "" fails it.
  void Answer(const std::string& badges) {
    ASSERT_FALSE(requests_.empty());
    const Request request = requests_.front();
    requests_.erase(requests_.begin());
    store_.OnAnswer(request.folder, request.ticket,
                    badges.empty() ? std::nullopt : std::optional(badges));
    Idle();
  }
  void AnswerAll(char badge) { Answer(std::string(requests_.at(0).names.size(), badge)); }
  void Signal(const std::string& folder, const std::vector<std::pair<char, std::string>>& entries) {
    std::string packed;
    for (const auto& [badge, name] : entries) packed += badge + name + '\0';
    store_.OnBadgesChanged(folder, packed);
    Idle();
  }
  char Ask(const std::string& path) { return store_.Lookup(path).badge; }
  // As a file manager that keeps an object of the file.
  BadgeStore::Item* Show(const std::string& path) {
    BadgeStore::Item* item = store_.Lookup(path).item;
    store_.Retain(item);
    return item;
  }
  void Appear(const Strings& directories) {
    store_.ExtensionAppeared(directories);
    Idle();
  }
  // A shown file with a badge.
  BadgeStore::Item* ShowWithBadge(const std::string& path, char badge) {
    BadgeStore::Item* item = Show(path);
    Advance(BadgeStore::kPace);
    AnswerAll(badge);
    Ask(path);
    changed_.clear();
    return item;
  }

  test::FakeClock clock_;
  BadgeStore store_{clock_, *this};
  bool askOnChange_ = false;
  bool soon_ = false;
  std::optional<milliseconds> due_;
  Strings begun_, ended_, changed_;
  std::vector<Request> requests_, describes_;
};

}  // namespace kelvo
