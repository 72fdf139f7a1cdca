#include "cache/sync_cache.h"
#include "tests/macos/mac_fixture.h"
#include "tests/macos/stand_ins/screen.h"

namespace kelvo::test {
namespace {

using FinderHostTest = MacExtension;
using Strings = std::vector<std::string>;

Strings Titles(const std::vector<ShownLine>& lines) {
  Strings titles;
  for (const ShownLine& line : lines) {
    titles.push_back((line.enabled ? "" : "-") + line.title + (line.hasImage ? "*" : ""));
  }
  return titles;
}

const ShownLine* LineOf(const std::vector<ShownLine>& lines, const std::string& action) {
  for (const ShownLine& line : lines) {
    if (line.action == action + ":") return &line;
  }
  return nullptr;
}

TEST_F(FinderHostTest, TellsFinderFoldersAndBadgesInOrder) {
  ASSERT_TRUE(Finder::StartExtension());
  ASSERT_EQ(Finder::WatchedFolders(), std::vector<Strings>{{}}) << "none before the Agent is there";
  EXPECT_EQ(Finder::Calls(), (Strings{"setDirectoryURLs", "setBadgeImage"}));
  const std::vector<ToldBadge> badges = Finder::Registrations();
  Strings told;
  for (const ToldBadge& badge : badges) told.push_back(badge.identifier + " " + badge.label);
  EXPECT_EQ(told, (Strings{"1 in-sync", "2 dirty", "3 locked", "4 locked_me", "5 pending_unlock",
                           "6 permissions"}));
  for (const ToldBadge& badge : badges) EXPECT_GT(badge.imageWidth, 0) << badge.label;
  Finder::RequestBadge(Home("Work/a"));
  EXPECT_EQ(Finder::Badge(Home("Work/a")), "") << "nothing is known yet";
  EXPECT_TRUE(Finder::Menu({Home("Work/a")}).empty());

  StartAgent();
  ASSERT_TRUE(Finder::TurnUntil([&] { return Finder::Badge(Home("Work/a")) == "1"; }))
      << "looked up again";
  EXPECT_EQ(Finder::WatchedFolders(), (std::vector<Strings>{{}, {Home("Work")}}));
}

TEST_F(FinderHostTest, ShowsTheAgentsBadges) {
  StartConfigured();
  for (const char* name : {"a", "b", "c", "d", "e", "f", "g"}) {
    Finder::RequestBadge(Home("Work/") + name);
  }
  ASSERT_TRUE(Finder::TurnUntil([&] { return Finder::Badge(Home("Work/f")) == "6"; }));
  Strings badges;
  for (const char* name : {"a", "b", "c", "d", "e", "f", "g"}) {
    badges.push_back(Finder::Badge(Home("Work/") + name));
  }
  EXPECT_EQ(badges, (Strings{"1", "2", "3", "4", "5", "6", ""}));

  Finder::BeginObserving(Home("Work/deep/sub"));
  ASSERT_TRUE(Finder::TurnUntil(
      [&] { return AgentHeard("sync_request status-list " + Home("Work/deep/sub")) > 0; }));
  EXPECT_TRUE(CSyncCache::m_Instance.load()->IsObserved(Home("Work/deep/sub")));
  Finder::EndObserving(Home("Work/deep/sub"));
  EXPECT_FALSE(CSyncCache::m_Instance.load()->IsObserved(Home("Work/deep/sub")));
  Finder::RequestBadge("");
  Finder::BeginObserving("");
}

TEST_F(FinderHostTest, OffersAMenuAndPerformsWhatIsChosen) {
  if (!Screen::Open()) GTEST_SKIP() << "no display";
  StartConfigured();
  Finder::RequestBadge(Home("Work/a"));
  ASSERT_TRUE(Finder::TurnUntil([&] { return Finder::Badge(Home("Work/a")) == "1"; }));
  const std::vector<ShownLine> menu = Finder::Menu({Home("Work/a")});
  EXPECT_EQ(Titles(menu), (Strings{"Open Kelvo Here*", "Add Comment", "Copy Team Link",
                                   "Lock for Me*", "-Last Modified by: Me", "-Modify"}));
  for (const ShownLine& line : menu) {
    EXPECT_TRUE(line.action.empty() || Finder::Answers(line)) << line.action;
  }
  const std::vector<ShownLine> locked = Finder::Menu({Home("Work/d")});
  EXPECT_TRUE(Finder::Menu({Home("Elsewhere/a")}).empty());
  EXPECT_TRUE(Finder::Menu({Home("Work/a"), ""}).empty());
  EXPECT_TRUE(Finder::Menu({}).empty());

  const ShownLine* copy = LineOf(menu, "copyLinkButtonPressed");
  ASSERT_NE(copy, nullptr);
  EXPECT_TRUE(Finder::Choose(*copy)) << "of a menu that is not the last";
  ASSERT_TRUE(Finder::TurnUntil([&] { return AgentHeard("show_message") == 1; }));
  EXPECT_NE(TheFakes().pasteboard.text.value_or("").find("/filelink/"), std::string::npos);

  ShownLine stranger = *copy;
  for (const long tag : {0L, -1L, 1L << 40, menu[4].tag}) {
    stranger.tag = tag;
    EXPECT_TRUE(Finder::Choose(stranger)) << "which does nothing";
  }
  const ShownLine* unlock = LineOf(locked, "unlockButtonPressed");
  ASSERT_NE(unlock, nullptr);
  EXPECT_TRUE(Finder::Choose(*unlock));
  ASSERT_TRUE(
      Finder::TurnUntil([&] { return AgentHeard("sync_request unlock " + Home("Work/d")) == 1; }));
  EXPECT_EQ(AgentHeard("show_message"), 1u);
}

}  // namespace
}  // namespace kelvo::test
