#include "hosts/client/badge_store.h"

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "tests/hosts/badge_store_fixture.h"

namespace kelvo {
namespace {

// The file manager shows a file of the one watched folder, with a badge.
class ShownBadgeTest : public BadgeStoreTest {
 protected:
  ShownBadgeTest() {
    Appear({"/w"});
    item_ = ShowWithBadge("/w/a", '1');
  }
  BadgeStore::Item* item_;
};

TEST_F(BadgeStoreTest, ItemsOfOneTurnAreAskedInOneCallAndToldWhenAnswered) {
  Appear({"/w"});
  for (const char* path : {"/w/a", "/w/b", "/w/a"}) EXPECT_EQ(Ask(path), kNoBadge);
  EXPECT_TRUE(requests_.empty()) << "nothing is sent from inside a look-up";
  Idle();
  ASSERT_EQ(requests_.size(), 1U);
  EXPECT_EQ(requests_[0].folder, "/w");
  EXPECT_EQ(requests_[0].names, (Strings{"a", "b"}));
  EXPECT_EQ(begun_, (Strings{"/w"}));

  Ask("/w/later");
  Ask("/w/sub/c");
  Idle();
  ASSERT_EQ(requests_.size(), 2U);
  EXPECT_EQ(requests_[1].folder, "/w/sub") << "only a call of the same folder is waited for";
  Answer("10");
  EXPECT_EQ(changed_, (Strings{"/w/a"})) << "an item without a badge is drawn right already";
  EXPECT_EQ(Ask("/w/a"), '1');
  EXPECT_EQ(Ask("/w/b"), kNoBadge);
  Idle();
  ASSERT_EQ(requests_.size(), 1U) << "nor is it hurried";
  Advance(BadgeStore::kPace);
  ASSERT_EQ(requests_.size(), 2U);
  EXPECT_EQ(requests_[1].names, (Strings{"later"})) << "what is known is not asked again";
}

TEST_F(BadgeStoreTest, ALargeFolderIsAskedInPartsAndToldInSlices) {
  Appear({"/w"});
  for (int i = 0; i < 5000; ++i) Ask("/w/" + std::to_string(i));
  Idle();
  ASSERT_EQ(requests_.size(), 1U);
  EXPECT_EQ(requests_[0].names.size(), BadgeStore::kNamesPerRequest);
  const std::uint64_t ticket = requests_[0].ticket;
  requests_.clear();
  store_.OnAnswer("/w", ticket, std::string(BadgeStore::kNamesPerRequest, '2'));
  store_.Work();
  EXPECT_EQ(changed_.size(), BadgeStore::kTellsPerTurn);
  Idle();
  EXPECT_EQ(changed_.size(), BadgeStore::kNamesPerRequest);
  Advance(BadgeStore::kPace);
  ASSERT_EQ(requests_.size(), 1U);
  AnswerAll('1');
  EXPECT_EQ(changed_.size(), 5000U);
}

TEST_F(BadgeStoreTest, NothingOutsideTheWatchedFoldersIsAsked) {
  Appear({"/w", "/home/me/Work"});
  for (const char* path :
       {"/", "", "w/a", "/w2/a", "/v/a", "/w/", "/w/..", "/w/.", "/home/me/other"}) {
    EXPECT_EQ(Ask(path), kNoBadge) << path;
  }
  Idle();
  EXPECT_TRUE(requests_.empty());
}

TEST_F(BadgeStoreTest, TheRootMayBeWatched) {
  Appear({"/"});
  for (const char* path : {"/a", "/b/c"}) Ask(path);
  Idle();
  EXPECT_EQ(requests_.size(), 2U);
  EXPECT_EQ(begun_.size(), 2U);
}

TEST_F(BadgeStoreTest, ASignalIsNotMisledByNamesWhoseHashesLookAlike) {
  constexpr int kNames = 200'000;  // the larger a folder, the shorter the pieces of hash
  const auto badge = [](int i) { return static_cast<char>('1' + i % 9); };
  Appear({"/w"});
  std::string news;
  for (int i = 0; i < kNames; ++i) {
    if (i % 2 == 0) Ask("/w/" + std::to_string(i));
    news.append(1, badge(i)).append(std::to_string(i)).push_back('\0');
  }
  store_.OnBadgesChanged("/w", news);
  for (int i = 0; i < kNames; i += 2) ASSERT_EQ(Ask("/w/" + std::to_string(i)), badge(i));
}

// Through its parent, which is not observed: nobody tells of changes there.
TEST_F(BadgeStoreTest, AWatchedFoldersOwnBadgeIsAskedOnceAMinuteWhileItIsShown) {
  Appear({"/home/me/Work"});
  BadgeStore::Item* item = ShowWithBadge("/home/me/Work", '1');
  Advance(59s);
  EXPECT_TRUE(requests_.empty());
  Advance(2s);
  ASSERT_EQ(requests_.size(), 1U);
  EXPECT_EQ(requests_[0].folder, "/home/me");
  EXPECT_EQ(requests_[0].names, (Strings{"Work"}));
  Answer("2");
  EXPECT_EQ(changed_, (Strings{"/home/me/Work"}));
  EXPECT_TRUE(begun_.empty());
  store_.Release(item);
  Advance(130s);
  requests_.clear();
  Advance(200s);
  EXPECT_TRUE(requests_.empty());
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

TEST_F(ShownBadgeTest, SeveralChangesOfATurnAreToldOnce) {
  Signal("/w", {{'2', "a"}, {'1', "a"}});
  EXPECT_TRUE(changed_.empty()) << "it is drawn with that badge";
  Signal("/w", {{'2', "a"}, {'3', "a"}});
  EXPECT_EQ(changed_, (Strings{"/w/a"}));
}

TEST_F(ShownBadgeTest, MalformedEntriesAreIgnored) {
  for (const std::string& entries :
       {std::string(), std::string("2"), std::string("2a"), std::string("2\0", 2)}) {
    store_.OnBadgesChanged("/w", entries);
    EXPECT_EQ(Ask("/w/a"), '1');
  }
  for (const char badge : {'x', '\0'}) {
    Signal("/w", {{'1', "a"}, {badge, "a"}});
    EXPECT_EQ(Ask("/w/a"), kNoBadge) << "an unknown badge is none";
  }
}

TEST_F(BadgeStoreTest, AFailureOrAFolderWithoutAnyBadgeIsAskedAgainEverMoreSlowly) {
  Appear({"/w"});
  for (const char* path : {"/w/a", "/w/b"}) Show(path);
  Idle();
  const std::pair<const char*, milliseconds> rows[] = {{"111", 7s}, {"", 14s},   {"00", 28s},
                                                       {"00", 56s}, {"00", 60s}, {"00", 60s}};
  for (const auto& [answer, pause] : rows) {
    Answer(answer);
    EXPECT_EQ(Ask("/w/a"), kNoBadge);
    Advance(pause - 100ms);
    ASSERT_TRUE(requests_.empty()) << pause.count();
    Advance(100ms);
    ASSERT_EQ(requests_.size(), 1U) << pause.count();
    EXPECT_EQ(requests_[0].names.size(), 2U);
  }
  Answer("01");
  Advance(1000s);
  EXPECT_TRUE(requests_.empty()) << "one badge is enough";
}

TEST_F(BadgeStoreTest, WhatWasShownBeforeTheExtensionCameIsAskedThen) {
  for (const char* path : {"/w/a", "/w/sub/b", "/v/c"}) Show(path);
  Advance(200s);
  EXPECT_TRUE(requests_.empty());
  Appear({"/w"});
  EXPECT_EQ(requests_.size(), 2U);
  EXPECT_EQ(begun_.size(), 2U);
}

TEST_F(ShownBadgeTest, AnAgentThatConnectsMakesShownFoldersAskAgain) {
  Ask("/w/queued");
  store_.AgentConnected();
  Idle();
  ASSERT_EQ(requests_.size(), 1U) << "what is queued is asked once";
  EXPECT_EQ(requests_[0].names.size(), 2U);
  EXPECT_EQ(begun_.size(), 1U) << "observed it is already";
  AnswerAll('0');
  EXPECT_EQ(changed_, (Strings{"/w/a"}));
  EXPECT_EQ(Ask("/w/a"), kNoBadge);
}

TEST_F(ShownBadgeTest, BadgesOutliveARestartOfTheExtensionWithoutFlicker) {
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
  Advance(30s);
  EXPECT_EQ(Ask("/w/a"), '2') << "confirmed by the returned one";
}

TEST_F(ShownBadgeTest, BadgesGoWhenTheExtensionStaysAwayOrDoesNotConfirmThem) {
  askOnChange_ = true;
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
  store_.ExtensionVanished();
  Appear({"/w"});
  store_.OnAnswer("/w", requests_[0].ticket, "6");
  EXPECT_EQ(Ask("/w/a"), kNoBadge);
  ASSERT_EQ(requests_.size(), 2U);
}

TEST_F(ShownBadgeTest, WatchedFoldersMayComeAndGo) {
  askOnChange_ = true;
  Show("/v/b");
  Ask("/w/queued");
  store_.SetDirectories({"/v"});
  Idle();
  EXPECT_EQ(ended_, (Strings{"/w"}));
  EXPECT_EQ(begun_, (Strings{"/w", "/v"}));
  EXPECT_EQ(changed_, (Strings{"/w/a"}));
  ASSERT_EQ(requests_.size(), 1U);
  EXPECT_EQ(requests_[0].folder, "/v");
  Signal("/w", {{'1', "a"}});
  EXPECT_EQ(Ask("/w/a"), kNoBadge);
}

TEST_F(ShownBadgeTest, AFolderIsObservedWhileItsFilesLiveOrWereAskedForLately) {
  Advance(1000s);
  EXPECT_TRUE(ended_.empty()) << "the file manager still has the file";
  store_.Release(item_);
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

TEST_F(ShownBadgeTest, NewsOfAFolderThatIsForgottenInThatTurnIsNotTold) {
  store_.Release(item_);
  clock_.Turn(61s);
  Signal("/w", {{'2', "a"}});
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

TEST_F(BadgeStoreTest, FilesOfALargeFolderKeepItemAndBadgeWhileOthersComeAndGo) {
  Appear({"/w"});
  std::map<std::string, std::pair<BadgeStore::Item*, char>> kept;
  std::minstd_rand random;
  for (char badge = '1'; badge <= '6'; ++badge) {
    for (int i = 0; i < 3000; ++i) {
      const std::string name = std::to_string(random() % 9000) + std::string(i % 50, 'n');
      BadgeStore::Item* const item = Show("/w/" + name);
      const auto [at, isNew] = kept.try_emplace(name, item, kNoBadge);
      if (!isNew) store_.Release(item);
      ASSERT_EQ(at->second.first, item);
      ASSERT_EQ(Ask("/w/" + name), at->second.second);
    }
    std::vector<std::pair<char, std::string>> news = {{badge, "never asked for"}};
    for (auto& [name, known] : kept) {
      if (random() % 2 == 0) known.second = news.emplace_back(badge, name).first;
    }
    Signal("/w", news);
    Strings gone;
    std::erase_if(kept, [&](const auto& entry) {
      if (random() % 8 < static_cast<unsigned>(badge - '0')) return false;
      store_.Release(entry.second.first);
      gone.push_back("/w/" + entry.first);
      return true;
    });
    Advance(2 * BadgeStore::kLinger + 1s);
    for (const std::string& path : gone) ASSERT_EQ(Ask(path), kNoBadge);
    for (const auto& [name, known] : kept) ASSERT_EQ(Ask("/w/" + name), known.second);
    Advance(2 * BadgeStore::kLinger + 1s);
  }
}

TEST_F(ShownBadgeTest, FilesMayGoWhileTheyAreAskedOrWaitForIt) {
  store_.OnDescribed("/w", describes_.at(0).ticket, nullptr);  // "a" waits with the next one
  Ask("/w/asked");
  Advance(BadgeStore::kFirstRetry);
  Ask("/w/waiting");
  Advance(130s);
  AnswerAll('2');
  store_.OnDescribed("/w", describes_.at(1).ticket, nullptr);
  Advance(BadgeStore::kLastRetry);
  EXPECT_TRUE(requests_.empty());
  EXPECT_EQ(describes_.at(1).names, Strings({"a", "asked"}));
  EXPECT_EQ(describes_.at(2).names, Strings({"a"}));
  EXPECT_EQ(Ask("/w/asked"), kNoBadge);
}

TEST_F(ShownBadgeTest, NewIconsMakeEveryBadgeDrawnAgain) {
  ShowWithBadge("/w/none", '0');
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
