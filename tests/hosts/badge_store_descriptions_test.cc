#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "hosts/client/item_descriptions.h"
#include "hosts/client/item_labels.h"
#include "tests/hosts/badge_store_fixture.h"

namespace kelvo {
namespace {

using Numbers = std::vector<std::uint32_t>;

// The file manager shows two files of the watched folder, with badges and descriptions.
class BadgeStoreDescriptionsTest : public BadgeStoreTest {
 protected:
  BadgeStoreDescriptionsTest() {
    Appear({"/w"});
    for (const char* path : {"/w/a", "/w/b"}) Show(path);
    Idle();
    Answer("10");
    Describe({0, 0});
    for (const char* path : {"/w/a", "/w/b"}) Ask(path);
    changed_.clear();
    Advance(BadgeStore::kPace);
  }

  // Answers the oldest call that waits; of `descriptions`, the first one is 0.
  void Describe(const Numbers& which,
                std::vector<ItemDescription> descriptions = {
                    {"In sync", "", "Modify"}, {"Locked", "Eve", "Modify"}, {}}) {
    ASSERT_FALSE(describes_.empty());
    const Request request = describes_.front();
    describes_.erase(describes_.begin());
    const DescribedItems answer{std::move(descriptions), which};
    store_.OnDescribed(request.folder, request.ticket, which.empty() ? nullptr : &answer);
  }
  void SignalDescriptions(const std::string& names) {
    store_.OnDescriptionsChanged("/w", names);
    Advance(BadgeStore::kPace);
  }
  std::string Text(const std::string& path) {
    const ItemDescription& text = *store_.Lookup(path).description;
    return text.state + "," + text.lockOwner + "," + text.permission;
  }
  Strings Described() { return describes_.empty() ? Strings() : describes_.front().names; }
};

TEST_F(BadgeStoreDescriptionsTest, FollowBadgesAndSignalsAndAreToldOnlyWhenTheyChange) {
  EXPECT_EQ(Text("/w/b"), "In sync,,Modify") << "without a badge, too";
  EXPECT_EQ(store_.Lookup("/w/a").description, store_.Lookup("/w/b").description);
  EXPECT_EQ(Text("/elsewhere/a") + Text("no path"), ",,,,");
  ASSERT_TRUE(describes_.empty());

  Signal("/w", {{'3', "a"}, {'0', "b"}});
  ASSERT_EQ(Described(), (Strings{"a"})) << "the other badge is what it was";
  EXPECT_EQ(changed_, (Strings{"/w/a"})) << "a badge waits for no description";
  Ask("/w/a");
  const ItemDescription* const former = store_.Lookup("/w/a").description;
  Describe({1});
  EXPECT_EQ(former->state, "In sync") << "valid until Work";
  Idle();
  EXPECT_EQ(changed_.size(), 2U);
  EXPECT_EQ(Text("/w/a"), "Locked,Eve,Modify");
  EXPECT_EQ(Text("/w/b"), "In sync,,Modify");

  SignalDescriptions(std::string("b\0never asked for\0cut", 21));
  EXPECT_EQ(Described(), (Strings{"b"}));
  Describe({0});
  SignalDescriptions("");
  EXPECT_EQ(Described().size(), 2U) << "all of the folder";
  Describe(Described()[0] == "a" ? Numbers{1, 0} : Numbers{0, 1});
  Advance(100s);
  EXPECT_EQ(changed_.size(), 2U) << "nothing new was said";
  EXPECT_TRUE(describes_.empty());
}

TEST_F(BadgeStoreDescriptionsTest, OneCallIsUnderWayAndAnAnswerClearsNoNewerNeed) {
  SignalDescriptions(std::string("a\0", 2));
  const Request underWay = describes_.at(0);
  SignalDescriptions(std::string("a\0", 2));
  Show("/w/c");
  Advance(BadgeStore::kPace);
  EXPECT_EQ(describes_.size(), 1U);
  ASSERT_EQ(requests_.size(), 1U) << "badges do not wait for it";
  Answer("1");
  EXPECT_EQ(changed_, (Strings{"/w/c"}));
  Describe({0});
  Idle();
  EXPECT_EQ(Described(), (Strings{"a", "c"})) << "that answer may be older than the signal";
  const DescribedItems late{{{"late", "", ""}}, Numbers{0}};
  store_.OnDescribed("/w", underWay.ticket, &late);
  EXPECT_EQ(Text("/w/a"), "In sync,,Modify");

  Describe({0, 0});
  store_.OnDescriptionsChanged("/w", std::string("b\0", 2));
  Idle();
  EXPECT_TRUE(describes_.empty()) << "nor is it hurried";
  Advance(BadgeStore::kPace);
  EXPECT_EQ(Described(), (Strings{"b"}));
}

TEST_F(BadgeStoreDescriptionsTest, GoWithAFolderThatIsWatchedNoMore) {
  SignalDescriptions("");
  store_.SetDirectories({"/v"});
  Idle();
  EXPECT_EQ(changed_.size(), 2U);
  Describe({1, 1});
  SignalDescriptions("");
  EXPECT_EQ(Text("/w/a") + Text("/w/b"), ",,,,");
  EXPECT_TRUE(describes_.empty());
}

TEST_F(BadgeStoreDescriptionsTest, AnAgentThatConnectsEndsThePausesAfterFailures) {
  SignalDescriptions("");
  Describe({});
  Show("/w/c");
  Advance(BadgeStore::kPace);
  Answer("");
  ASSERT_TRUE(describes_.empty() && requests_.empty());
  store_.AgentConnected();
  Idle();
  EXPECT_EQ(requests_.size(), 1U);
  EXPECT_EQ(Described().size(), 3U);
}

TEST_F(BadgeStoreDescriptionsTest, TheBadgesOfALargeFolderComeFirst) {
  constexpr std::size_t kFiles = 3 * BadgeStore::kNamesPerRequest;
  for (std::size_t i = 0; i < kFiles; ++i) Ask("/w/large/" + std::to_string(i));
  std::size_t asked = 0;
  for (Idle(); describes_.empty(); Advance(BadgeStore::kPace)) {
    asked += requests_.at(0).names.size();
    AnswerAll('1');
  }
  for (const Request& underWay : requests_) asked += underWay.names.size();
  EXPECT_EQ(asked, kFiles);
}

TEST_F(BadgeStoreDescriptionsTest, AnswersThatDoNotFitAreIgnoredAndAskedForMoreSlowly) {
  SignalDescriptions("");
  const std::pair<Numbers, std::vector<ItemDescription>> rows[] = {
      {{}, {}}, {{0}, {{}}}, {{0, 0, 0}, {{}}}, {{0, 2}, {{}, {}}}};
  milliseconds pause = 7s;
  for (const auto& [which, descriptions] : rows) {
    Describe(which, descriptions);
    EXPECT_EQ(Text("/w/a"), "In sync,,Modify");
    Advance(pause - 100ms);
    ASSERT_TRUE(describes_.empty());
    Advance(100ms);
    ASSERT_EQ(Described().size(), 2U);
    pause = std::min<milliseconds>(2 * pause, 60s);
  }
}

TEST_F(BadgeStoreDescriptionsTest, GoWithTheExtensionAfterTheGrace) {
  askOnChange_ = true;
  store_.ExtensionVanished();
  Advance(5s);
  Appear({"/w"});
  Describe({2, 2});  // it knows nothing yet
  Advance(14s);
  EXPECT_EQ(Text("/w/a"), "In sync,,Modify");
  Advance(1s);
  EXPECT_EQ(Text("/w/a"), ",,");
  EXPECT_EQ(changed_.size(), 2U) << "badge and text at once";
}

TEST_F(BadgeStoreDescriptionsTest, AnExtensionThatCannotDescribeIsAskedNoMoreUntilItReturns) {
  SignalDescriptions("");
  store_.CannotDescribe();
  Idle();
  EXPECT_EQ(changed_.size(), 2U);
  EXPECT_EQ(Text("/w/a"), ",,");
  describes_.clear();
  SignalDescriptions("");
  Signal("/w", {{'2', "a"}});
  EXPECT_TRUE(describes_.empty());
  store_.ExtensionVanished();
  Appear({"/w"});
  EXPECT_EQ(Described().size(), 2U);
}

TEST(DescriptionPoolTest, ForgetsWhatNobodyHolds) {
  DescriptionPool pool;
  const DescriptionPool::Ptr held = pool.Intern({"held", "", ""});
  const std::weak_ptr<const ItemDescription> left = pool.Intern({"left", "", ""});
  pool.Prune();
  EXPECT_FALSE(left.expired()) << "not for so few";
  for (int i = 0; i < 100; ++i) pool.Intern({std::to_string(i), "", ""});
  pool.Prune();
  EXPECT_TRUE(left.expired());
  EXPECT_EQ(pool.Intern({"held", "", ""}), held);
}

TEST(ItemLabelsTest, AreInTheFirstOfTheLanguagesThatThereIs) {
  const std::pair<Strings, const char*> rows[] = {{{"de_AT", "de"}, "Gesperrt von"},
                                                  {{"pt_PT", "pt", "fr"}, "Verrouillé par"},
                                                  {{"pt_BR", "pt"}, "Bloqueado por"},
                                                  {{"zh_SG", "zh", "de"}, "锁定者"},
                                                  {{"zh_TW", "zh"}, "Locked by"},
                                                  {{"en_GB", "de"}, "Locked by"},
                                                  {{}, "Locked by"}};
  for (const auto& [languages, title] : rows) {
    EXPECT_STREQ(ItemLabelsIn(languages).lockOwner.title, title);
  }
}

}  // namespace
}  // namespace kelvo
