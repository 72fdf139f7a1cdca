#include "hosts/client/badge_store.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/fake_platform.h"

namespace kelvo {
namespace {

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
    Request request{folder, {}, ticket};
    for (std::size_t at = 0; at < names.size(); at = names.find('\0', at) + 1) {
      request.names.emplace_back(names.c_str() + at);
    }
    requests_.push_back(std::move(request));
  }
  void BadgeChanged(const std::string& folder, const std::string& name) override {
    changed_.push_back(JoinPath(folder, name));
    if (askOnChange_) store_.Lookup(changed_.back());
  }
  void WorkSoon() override { soon_ = true; }
  void WorkAfter(milliseconds delay) override { due_ = clock_.Monotonic() + delay; }

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
    if (badges.empty()) {
      store_.OnAnswer(request.folder, request.ticket, std::nullopt);
    } else {
      store_.OnAnswer(request.folder, request.ticket, badges);
    }
    Idle();
  }
  // One badge whichever way the names came.
  void AnswerAll(char badge) {
    ASSERT_FALSE(requests_.empty());
    Answer(std::string(requests_.front().names.size(), badge));
  }
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
  std::vector<Request> requests_;
};

TEST_F(BadgeStoreTest, ItemsOfOneTurnAreAskedInOneCallAndToldWhenAnswered) {
  Appear({"/w"});
  EXPECT_EQ(Ask("/w/a"), kNoBadge);
  EXPECT_EQ(Ask("/w/b"), kNoBadge);
  EXPECT_EQ(Ask("/w/a"), kNoBadge);
  EXPECT_TRUE(requests_.empty()) << "nothing is sent from inside a look-up";
  Idle();
  ASSERT_EQ(requests_.size(), 1U);
  EXPECT_EQ(requests_[0].folder, "/w");
  EXPECT_EQ(requests_[0].names, (Strings{"a", "b"}));
  EXPECT_EQ(begun_, (Strings{"/w"}));

  Answer("10");
  EXPECT_EQ(changed_, (Strings{"/w/a"})) << "an item without a badge is drawn right already";
  EXPECT_EQ(Ask("/w/a"), '1');
  EXPECT_EQ(Ask("/w/b"), kNoBadge);
  Idle();
  EXPECT_TRUE(requests_.empty()) << "what is known is not asked again";
}

TEST_F(BadgeStoreTest, OneCallOfAFolderIsUnderWayAndLaterNamesWaitForIt) {
  Appear({"/w"});
  Ask("/w/a");
  Idle();
  Ask("/w/b");
  Ask("/w/sub/c");
  Idle();
  ASSERT_EQ(requests_.size(), 2U);
  EXPECT_EQ(requests_[1].folder, "/w/sub") << "another folder does not wait";
  Answer("1");
  ASSERT_EQ(requests_.size(), 1U) << "nor is it hurried";
  Advance(BadgeStore::kPace);
  ASSERT_EQ(requests_.size(), 2U);
  EXPECT_EQ(requests_[1].names, (Strings{"b"}));
}

TEST_F(BadgeStoreTest, ALargeFolderIsAskedInParts) {
  Appear({"/w"});
  for (int i = 0; i < 5000; ++i) Ask("/w/" + std::to_string(i));
  Idle();
  ASSERT_EQ(requests_.size(), 1U);
  EXPECT_EQ(requests_[0].names.size(), BadgeStore::kNamesPerRequest);
  AnswerAll('1');
  Advance(BadgeStore::kPace);
  ASSERT_EQ(requests_.size(), 1U);
  EXPECT_EQ(requests_[0].names.size(), 5000 - BadgeStore::kNamesPerRequest);
  AnswerAll('1');
  EXPECT_EQ(changed_.size(), 5000U);
}

TEST_F(BadgeStoreTest, ManyChangesAreToldInSlices) {
  Appear({"/w"});
  for (int i = 0; i < 1000; ++i) Ask("/w/" + std::to_string(i));
  Idle();
  store_.OnAnswer("/w", requests_[0].ticket, std::string(1000, '2'));
  store_.Work();
  EXPECT_EQ(changed_.size(), BadgeStore::kTellsPerTurn);
  EXPECT_TRUE(soon_);
  Idle();
  EXPECT_EQ(changed_.size(), 1000U);
}

TEST_F(BadgeStoreTest, NothingOutsideTheWatchedFoldersIsAsked) {
  const Strings outside = {"/", "", "w/a", "/w2/a", "/v/a", "/w/", "/w/..", "/w/."};
  Appear({"/w", "/home/me/Work"});
  for (const std::string& path : outside) EXPECT_EQ(Ask(path), kNoBadge) << path;
  Ask("/home/me/other");
  Idle();
  EXPECT_TRUE(requests_.empty());
  EXPECT_TRUE(begun_.empty());

  Ask("/home/me/Work");  // its own badge, through its parent, which is not observed
  Idle();
  ASSERT_EQ(requests_.size(), 1U);
  EXPECT_EQ(requests_[0].folder, "/home/me");
  EXPECT_EQ(requests_[0].names, (Strings{"Work"}));
  EXPECT_TRUE(begun_.empty());
  Answer("1");
  Advance(70s);  // nobody pushes the changes of a folder that is not observed
  EXPECT_TRUE(requests_.empty()) << "the folder is shown no longer";
}

TEST_F(BadgeStoreTest, TheRootMayBeWatched) {
  Appear({"/"});
  Ask("/a");
  Ask("/b/c");
  Idle();
  ASSERT_EQ(requests_.size(), 2U);
  EXPECT_EQ(begun_.size(), 2U);
}

TEST_F(BadgeStoreTest, AWatchedFolderInItsParentIsAskedOnceAMinute) {
  Appear({"/home/me/Work"});
  ShowWithBadge("/home/me/Work", '1');
  Advance(59s);
  EXPECT_TRUE(requests_.empty());
  Advance(2s);
  ASSERT_EQ(requests_.size(), 1U);
  Answer("2");
  EXPECT_EQ(changed_, (Strings{"/home/me/Work"}));
}

TEST_F(BadgeStoreTest, AnswersAndSignalsCountInTheOrderOfTheirArrival) {
  Appear({"/w"});
  Show("/w/a");
  Idle();
  Signal("/w", {{'2', "a"}});
  EXPECT_EQ(Ask("/w/a"), '2');
  Answer("3");
  EXPECT_EQ(Ask("/w/a"), '3');
  Signal("/w", {{'1', "a"}, {'5', "never asked for"}});
  EXPECT_EQ(Ask("/w/a"), '1');
  EXPECT_EQ(Ask("/w/never asked for"), kNoBadge);
  Signal("/elsewhere", {{'1', "a"}});
}

TEST_F(BadgeStoreTest, SeveralChangesOfATurnAreToldOnce) {
  Appear({"/w"});
  ShowWithBadge("/w/a", '1');
  const std::string toAndFro("2a\0001a\0", 6);
  store_.OnBadgesChanged("/w", toAndFro);
  Idle();
  EXPECT_TRUE(changed_.empty()) << "it is drawn with that badge";
  const std::string twice("2a\0003a\0", 6);
  store_.OnBadgesChanged("/w", twice);
  Idle();
  EXPECT_EQ(changed_, (Strings{"/w/a"}));
}

TEST_F(BadgeStoreTest, MalformedEntriesAreIgnored) {
  Appear({"/w"});
  ShowWithBadge("/w/a", '1');
  for (const std::string& entries :
       {std::string(), std::string("2"), std::string("2a"), std::string("2\0", 2)}) {
    store_.OnBadgesChanged("/w", entries);
    Idle();
    EXPECT_EQ(Ask("/w/a"), '1');
  }
  for (const char badge : {'x', '\0'}) {
    Signal("/w", {{'1', "a"}, {badge, "a"}});
    EXPECT_EQ(Ask("/w/a"), kNoBadge) << "an unknown badge is none";
  }
}

TEST_F(BadgeStoreTest, AnAnswerOfTheWrongLengthIsAFailureAndTriedAgain) {
  Appear({"/w"});
  Show("/w/a");
  Idle();
  Answer("11");
  EXPECT_EQ(Ask("/w/a"), kNoBadge);
  Advance(6s);
  EXPECT_TRUE(requests_.empty());
  Advance(2s);
  Answer("");
  Advance(13s);
  EXPECT_TRUE(requests_.empty()) << "later each time";
  Advance(2s);
  Answer("4");
  EXPECT_EQ(Ask("/w/a"), '4');
}

TEST_F(BadgeStoreTest, WhatWasShownBeforeTheExtensionCameIsAskedThen) {
  Show("/w/a");
  Show("/w/sub/b");
  Show("/v/c");
  Advance(200s);
  EXPECT_TRUE(requests_.empty());
  Appear({"/w"});
  EXPECT_EQ(requests_.size(), 2U);
  EXPECT_EQ(begun_.size(), 2U);
}

TEST_F(BadgeStoreTest, AFolderWithoutAnyBadgeIsAskedAgainEverMoreSlowly) {
  Appear({"/w"});
  Show("/w/a");
  Show("/w/b");
  Idle();
  Answer("00");
  for (const milliseconds pause : {7s, 14s, 28s, 56s, 60s, 60s}) {
    Advance(pause - 100ms);
    ASSERT_TRUE(requests_.empty()) << pause.count();
    Advance(100ms);
    ASSERT_EQ(requests_.size(), 1U) << pause.count();
    EXPECT_EQ(requests_[0].names.size(), 2U);
    Answer("00");
  }
  Signal("/w", {{'1', "a"}});
  Advance(1000s);
  EXPECT_TRUE(requests_.empty()) << "one badge is enough";
}

TEST_F(BadgeStoreTest, AnAgentThatConnectsMakesShownFoldersAskAgain) {
  Appear({"/w"});
  ShowWithBadge("/w/a", '1');
  store_.AgentConnected();
  Idle();
  ASSERT_EQ(requests_.size(), 1U);
  EXPECT_EQ(begun_.size(), 1U) << "observed it is already";
  Answer("0");
  EXPECT_EQ(changed_, (Strings{"/w/a"}));
  EXPECT_EQ(Ask("/w/a"), kNoBadge);
}

TEST_F(BadgeStoreTest, WhatIsQueuedIsAskedOnceAndOnlyWhileItIsWatched) {
  Appear({"/w"});
  Ask("/w/a");
  store_.AgentConnected();
  Idle();
  ASSERT_EQ(requests_.size(), 1U);
  EXPECT_EQ(requests_[0].names, (Strings{"a"}));
  Ask("/w/sub/b");
  store_.SetDirectories({"/v"});
  Idle();
  EXPECT_EQ(requests_.size(), 1U);
}

TEST_F(BadgeStoreTest, BadgesOutliveARestartOfTheExtensionWithoutFlicker) {
  Appear({"/w"});
  ShowWithBadge("/w/a", '1');
  store_.ExtensionVanished();
  Advance(3s);
  EXPECT_EQ(Ask("/w/a"), '1');
  Appear({});  // not configured yet
  store_.SetDirectories({"/w"});
  Idle();
  EXPECT_EQ(begun_.size(), 2U);
  AnswerAll('0');  // it knows nothing yet
  EXPECT_EQ(Ask("/w/a"), '1');
  EXPECT_TRUE(changed_.empty());
  Signal("/w", {{'2', "a"}});
  EXPECT_EQ(Ask("/w/a"), '2');
  Advance(30s);
  EXPECT_EQ(Ask("/w/a"), '2') << "confirmed by the returned one";
}

TEST_F(BadgeStoreTest, BadgesGoWhenTheExtensionStaysAwayOrDoesNotConfirmThem) {
  askOnChange_ = true;
  Appear({"/w"});
  ShowWithBadge("/w/a", '1');
  store_.ExtensionVanished();
  Advance(9s);
  EXPECT_TRUE(changed_.empty());
  Advance(1s);
  EXPECT_EQ(changed_, (Strings{"/w/a"}));
  EXPECT_EQ(Ask("/w/a"), kNoBadge);

  Appear({"/w"});
  AnswerAll('1');
  changed_.clear();
  store_.ExtensionVanished();
  Advance(5s);
  Appear({"/w"});
  AnswerAll('0');
  Advance(14s);
  EXPECT_TRUE(changed_.empty());
  Advance(1s);
  EXPECT_EQ(changed_, (Strings{"/w/a"}));
}

TEST_F(BadgeStoreTest, AnswersOfAFormerExtensionAreIgnored) {
  Appear({"/w"});
  Show("/w/a");
  Idle();
  const std::uint64_t former = requests_[0].ticket;
  store_.ExtensionVanished();
  Appear({"/w"});
  store_.OnAnswer("/w", former, "6");
  EXPECT_EQ(Ask("/w/a"), kNoBadge);
  ASSERT_EQ(requests_.size(), 2U);
}

TEST_F(BadgeStoreTest, WatchedFoldersMayComeAndGo) {
  askOnChange_ = true;
  Appear({"/w"});
  ShowWithBadge("/w/a", '1');
  Show("/v/b");
  store_.SetDirectories({"/v"});
  Idle();
  EXPECT_EQ(ended_, (Strings{"/w"}));
  EXPECT_EQ(begun_, (Strings{"/w", "/v"}));
  EXPECT_EQ(changed_, (Strings{"/w/a"}));
  EXPECT_EQ(Ask("/w/a"), kNoBadge);
  ASSERT_EQ(requests_.size(), 1U);
  EXPECT_EQ(requests_[0].folder, "/v");
  Signal("/w", {{'1', "a"}});
  EXPECT_EQ(Ask("/w/a"), kNoBadge);
}

TEST_F(BadgeStoreTest, AFolderIsObservedWhileItsFilesLiveOrWereAskedForLately) {
  Appear({"/w"});
  BadgeStore::Item* item = ShowWithBadge("/w/a", '1');
  Advance(1000s);
  EXPECT_TRUE(ended_.empty()) << "the file manager still has the file";
  store_.Release(item);
  Advance(59s);
  EXPECT_EQ(Ask("/w/a"), '1') << "back again soon";
  Advance(59s);
  EXPECT_TRUE(ended_.empty());
  Advance(2s);
  EXPECT_EQ(ended_, (Strings{"/w"}));
  EXPECT_FALSE(store_.HasFolders());
  EXPECT_EQ(Ask("/w/a"), kNoBadge) << "forgotten: nobody told of changes meanwhile";
  Idle();
  EXPECT_EQ(begun_.size(), 2U);
  EXPECT_EQ(requests_.size(), 1U);
}

TEST_F(BadgeStoreTest, NewsOfAFolderThatIsForgottenInThatTurnIsNotTold) {
  Appear({"/w"});
  store_.Release(ShowWithBadge("/w/a", '1'));
  clock_.Turn(61s);
  store_.OnBadgesChanged("/w", std::string("2a\0", 3));
  Idle();
  EXPECT_TRUE(changed_.empty());
  EXPECT_FALSE(store_.HasFolders());
}

TEST_F(BadgeStoreTest, AFileManagerThatKeepsEveryFileDoesNotHaveEveryFolderObserved) {
  Appear({"/w"});
  const auto file = [](std::size_t i) { return "/w/" + std::to_string(i) + "/f"; };
  constexpr std::size_t kFolders = BadgeStore::kMaxIdle + 3;
  for (std::size_t i = 0; i < kFolders; ++i) {
    ShowWithBadge(file(i), '1');
    Advance(1s);
  }
  EXPECT_TRUE(ended_.empty());
  Advance(70s);
  Ask("/w/new/f");
  Advance(1s);
  EXPECT_EQ(ended_.size(), 3U);
  EXPECT_EQ(begun_.size(), kFolders + 1);
  EXPECT_EQ(changed_.size(), 3U) << "those in sight are asked for again";

  requests_.clear();
  EXPECT_EQ(Ask(file(0)), '1') << "what was known, until the answer";
  Idle();
  EXPECT_EQ(begun_.size(), kFolders + 2);
  ASSERT_EQ(requests_.size(), 1U);
  Answer("2");
  EXPECT_EQ(Ask(file(0)), '2');
}

TEST_F(BadgeStoreTest, FilesThatComeAndGoInAShownFolderAreForgotten) {
  Appear({"/w"});
  ShowWithBadge("/w/stays", '1');
  BadgeStore::Item* gone = ShowWithBadge("/w/gone", '1');
  store_.Release(gone);
  Advance(130s);
  EXPECT_EQ(Ask("/w/stays"), '1');
  EXPECT_EQ(Ask("/w/gone"), kNoBadge);
  EXPECT_TRUE(ended_.empty());
}

TEST_F(BadgeStoreTest, NewIconsMakeEveryBadgeDrawnAgain) {
  Appear({"/w"});
  ShowWithBadge("/w/a", '1');
  Show("/w/none");
  Idle();
  Answer("0");
  store_.TellAll();
  Idle();
  EXPECT_EQ(changed_, (Strings{"/w/a"}));
  store_.TellAll();
  Ask("/w/a");
  Idle();
  EXPECT_EQ(changed_.size(), 1U) << "it was asked for already";
}

}  // namespace
}  // namespace kelvo
