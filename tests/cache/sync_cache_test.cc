#include "cache/sync_cache.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>

#include "base/logger.h"
#include "tests/support/started_extension.h"

namespace kelvo::test {
namespace {

using std::chrono::seconds;
using Paths = std::vector<std::string>;

class SyncCacheTest : public StartedExtension {
 protected:
  std::string Status(const std::string& path) {
    return std::to_string(static_cast<int>(cache().GetStatus(path)));
  }
};

TEST(BadgeStatusTest, FirstRuleThatHoldsWins) {
  const struct {
    int status, lock, denied;
    BadgeStatus badge;
  } kRows[] = {
      {0, 0, 0, BadgeStatus::kInSync},        {-1, 0, 0, BadgeStatus::kDirty},
      {0, 1, 0, BadgeStatus::kLocked},        {1, 2, 0, BadgeStatus::kLockedForMe},
      {1, 3, 0, BadgeStatus::kPendingUnlock}, {7, -1, 0, BadgeStatus::kDirty},
      {0, 1, 5, BadgeStatus::kPermissions},   {1, 2, 99, BadgeStatus::kPermissions},
      {0, 0, -1, BadgeStatus::kPermissions},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(DeriveBadgeStatus(sync::ESyncItemStatus{row.status}, sync::ESyncItemLock{row.lock},
                                sync::EPermissionsDenied{row.denied}),
              row.badge)
        << row.status << " " << row.lock << " " << row.denied;
  }
}

TEST_F(SyncCacheTest, MissAsksOncePerFiveSecondsUntilTheListComes) {
  EXPECT_EQ(Status("/w/a"), "0");
  EXPECT_EQ(NewRequests(), (Paths{"/w", "/w/a"}));
  for (int i = 0; i < 100; ++i) EXPECT_EQ(Status("/w/b" + std::to_string(i)), "0");
  EXPECT_EQ(cache().GetItem("/w/b").status, BadgeStatus::kNone);
  fake_.runLoop.Advance(seconds(5));
  EXPECT_EQ(Status("/w/b"), "0");
  EXPECT_EQ(NewRequests(), Paths{});
  fake_.runLoop.Advance(seconds(1));
  EXPECT_EQ(cache().GetItem("/w/b").status, BadgeStatus::kNone);
  EXPECT_EQ(NewRequests(), (Paths{"/w", "/w/b"})) << "the look-up of all fields asks like any";

  SendList("/w", {{.name = "a"}, {.name = "b", .status = 1}});
  EXPECT_EQ(Badge("/w/a"), "1");
  EXPECT_EQ(Badge("/w/b"), "2");
  EXPECT_EQ(Status("/w/b"), "2");
  EXPECT_EQ(Status("/w/unlisted"), "0");
  EXPECT_EQ(NewRequests(), Paths{}) << "a listed folder asks for nothing";
}

TEST_F(SyncCacheTest, PathsOfEveryShape) {
  for (const char* path : {"", "/w/", "a/"}) EXPECT_EQ(Status(path), "0");
  EXPECT_EQ(NewRequests(), Paths{});
  EXPECT_EQ(Status("/"), "0");
  EXPECT_EQ(NewRequests(), (Paths{"", "/"}));
  SendList("", {{.name = "top", .type = 2}});
  EXPECT_EQ(Status("/top"), "1");
  EXPECT_EQ(Status("/w/\xff"), "0");
  EXPECT_EQ(NewRequests(), Paths{}) << "a name that is not text cannot be said to the Agent";
  EXPECT_FALSE(cache().IsAwaited("/w"));
}

TEST_F(SyncCacheTest, ListReplacesItemsWholesaleAlsoWhenItIsCut) {
  SendList("/w", {{.name = "b"}, {.name = "a"}, {.name = "gone"}});
  ASSERT_EQ(fake_.finder.badges.size(), 3u) << "also for a folder that nobody asked for";
  EXPECT_EQ(fake_.finder.badges[0].path, "/w/a");
  EXPECT_EQ(fake_.finder.badges[2].path, "/w/gone");
  SendList("/w", {{.name = "a", .permissions = 1044, .denied = 7, .itemId = 3}});
  EXPECT_EQ(Status("/w/gone"), "0");
  EXPECT_EQ(Badge("/w/a"), "6");
  EXPECT_EQ(cache().GetPermissions("/w/a"), sync::EItemPermissions::PERM_VIEW);
  EXPECT_EQ(cache().GetDenied("/w/a"), sync::EPermissionsDenied::ACCESS_DENIED);
  const std::string text = ListText({{.name = "a", .status = 1}, {.name = "b"}});
  SendListText("/w", text.substr(0, text.size() - 6));
  EXPECT_EQ(Badge("/w/a"), "2");
  EXPECT_EQ(LogCount("SyncStatusListResponse exception: "), 1);
  SendListText("/v", "not a count");
  EXPECT_FALSE(cache().IsListed("/v"));
}

TEST_F(SyncCacheTest, RepaintsInSlicesWhateverBecomesOfTheFolder) {
  CSyncStatusListResponse response(nullptr, "/w",
                                   std::make_shared<const std::string>(
                                       ListText({{.name = "ab"}, {.name = "a"}, {.name = "b"}})));
  ListRepaint repaint = cache().StoreList(PrepareList(response));
  EXPECT_EQ(Status("/w/b"), "1");
  repaint.Next(1);
  EXPECT_EQ(Badge("/w/a"), "1");
  EXPECT_EQ(Badge("/w/ab"), "(none)");
  SendList("/w", {{.name = "c"}});
  repaint.Next(2);
  EXPECT_EQ(repaint.Left(), 0u);
  EXPECT_EQ(Badge("/w/ab"), "") << "as the cache has it by then";
  EXPECT_EQ(Badge("/w/b"), "");
}

TEST_F(SyncCacheTest, ALongListIsRepaintedInTurnsWhileTheAgentWaits) {
  std::vector<ListRecord> records(40'000);
  for (std::size_t i = 0; i < records.size(); ++i) records[i].name = std::to_string(i);
  const std::string text = ListText(records);  // prepared aside, as it is large
  SendListText("/w", text.substr(0, text.size() - 6));
  fake_.runLoop.RunPosted();
  EXPECT_EQ(LogCount("SyncStatusListResponse exception: "), 1);
  SendListText("/w", text);
  fake_.runLoop.RunPosted();
  EXPECT_EQ(fake_.finder.current.size(), records.size());
  EXPECT_FALSE(fake_.transport.paused);

  std::size_t first = 0;
  fake_.finder.current.clear();
  fake_.finder.before = [&] {
    fake_.clock.Turn(seconds(1));
    fake_.runLoop.Post([&] {
      first = fake_.finder.current.size();
      EXPECT_TRUE(fake_.transport.paused);
      cache().RefreshAll();
    });
  };
  SendListText("/w", text);
  fake_.runLoop.RunPosted();
  EXPECT_GT(first, 0u);
  EXPECT_LT(first, 100u) << "items, when each may take long";
  EXPECT_EQ(fake_.finder.current.size(), first + 1) << "and the folder, which is forgotten";
  EXPECT_FALSE(fake_.transport.paused);
}

TEST_F(SyncCacheTest, MuchIsFreedByTheWorkerIfThereIsOne) {
  std::vector<ListRecord> records(20'000);
  for (std::size_t i = 0; i < records.size(); ++i) records[i].name = std::to_string(i);
  const std::string text = ListText(records);
  const std::function<void()> ways[] = {[&] { SendList("/w", {}); }, [&] { cache().RefreshAll(); },
                                        [&] {
                                          SendItem("/w/x", {{"status", "3"}});
                                        },
                                        [&] { fake_.runLoop.Advance(seconds(1800)); }};
  fake_.messageQueue.Hold(true);
  for (const bool refuse : {false, true}) {
    fake_.messageQueue.Refuse(refuse);
    for (const auto& drop : ways) {
      auto shared = std::make_shared<const std::string>(text);
      const std::weak_ptr<const std::string> kept = shared;
      CSyncStatusListResponse response(nullptr, "/w", std::move(shared));
      (void)cache().StoreList(PrepareList(response));
      response = CSyncStatusListResponse(nullptr, "", std::make_shared<const std::string>("0:"));
      drop();
      EXPECT_EQ(kept.expired(), refuse) << &drop - ways;
      fake_.messageQueue.RunAll();
      EXPECT_TRUE(kept.expired()) << &drop - ways;
    }
  }
}

TEST_F(SyncCacheTest, ResetForgetsAllAndRepaintsTheFolders) {
  SendList("/w", {{.name = "a"}});
  SendList("/w/d", {{.name = "b"}});
  fake_.finder.badges.clear();
  fake_.transport.DeliverEvent("sync_response", {{"command", "reset-status"}});
  EXPECT_EQ(NewRequests(), (Paths{"", "/w", "/w", "/w/d"}));
  ASSERT_EQ(fake_.finder.badges.size(), 2u);
  EXPECT_EQ(fake_.finder.badges[1].path, "/w/d");
  EXPECT_FALSE(cache().IsListed("/w"));
  const std::size_t before = fake_.transport.Events("sync-lists").size();
  fake_.transport.DeliverEvent("sync_error", {{"error", "0"}});
  EXPECT_EQ(fake_.transport.Events("sync-lists").size(), before + 1);
}

TEST_F(SyncCacheTest, BeyondItsSizeItForgetsWhatWasLookedAtTheLongestAgo) {
  constexpr std::size_t kMostBytes = std::size_t{1} << 20;
  CSyncApi api(fake_.runLoop, fake_.settingsQueue);
  CSyncCache small(fake_.runLoop, fake_.clock, nullptr, kMostBytes);
  small.Initialize(nullptr, &api);
  const auto store = [&](const std::string& folder) {
    CSyncStatusListResponse response(nullptr, folder,
                                     std::make_shared<const std::string>(ListText(
                                         {{.name = "a", .modifiedBy = std::string(5000, 'm')}})));
    (void)small.StoreList(PrepareList(response));
    fake_.clock.Turn(seconds(1));
  };
  const auto folder = [](std::size_t i) { return "/w/" + std::to_string(i); };
  const auto listed = [&](std::size_t count) {
    std::size_t kept = 0;
    for (std::size_t i = 0; i < count; ++i) kept += small.IsListed(folder(i)) ? 1 : 0;
    return kept;
  };
  small.AddObservedPath(folder(0));
  for (std::size_t i = 0; i < 100; ++i) store(folder(i));
  EXPECT_EQ(listed(100), 100U) << "not before it is full";
  for (std::size_t i = 100; i < 1000; ++i) {
    store(folder(i));
    small.GetStatus(folder(1) + "/a");
  }
  EXPECT_LE(listed(1000) * 5000, kMostBytes + kMostBytes / 8);
  EXPECT_GE(listed(1000) * 5000, kMostBytes / 2);
  EXPECT_TRUE(small.IsListed(folder(0)) && small.IsListed(folder(1)) &&
              small.IsListed(folder(999)));
  EXPECT_GT(LogCount("folders are forgotten"), 0);

  // Nor does it grow by queries, or by ever new items, be they in a folder that is shown.
  for (std::size_t i = 0; i < 3000; ++i) {
    small.GetStatus("/x" + folder(i) + "/a");
    fake_.clock.Turn(seconds(1));
  }
  EXPECT_FALSE(small.IsAwaited("/x" + folder(0)));
  for (int i = 0; i < 10'000 && small.IsListed(folder(0)); ++i) {
    small.UpdateItem(folder(0) + "/" + std::to_string(i), "", i, {}, {}, "", 0, "", {}, {}, false);
  }
  EXPECT_FALSE(small.IsListed(folder(0)));
}

TEST_F(SyncCacheTest, SweepDropsWhatNobodyLooksAt) {
  SendList("/old", {{.name = "a"}});
  SendList("/shown", {{.name = "a"}});
  extension_->beginObservingDirectoryAtURL("/shown");
  SetLogLevel(kLogDebug);
  fake_.runLoop.Advance(seconds(590));
  cache().GetStatus("/lost/a");
  fake_.runLoop.Advance(seconds(20));  // first sweep: only what waited in vain
  EXPECT_FALSE(cache().IsAwaited("/lost"));
  EXPECT_TRUE(cache().IsListed("/old"));
  fake_.runLoop.Advance(seconds(600));
  EXPECT_FALSE(cache().IsListed("/old"));
  EXPECT_EQ(LogCount("Folder cache expired /old (last access "), 1);
  EXPECT_TRUE(cache().IsListed("/shown")) << "an observed folder never expires";
  extension_->endObservingDirectoryAtURL("/shown");
  fake_.runLoop.Advance(seconds(600));
  EXPECT_FALSE(cache().IsListed("/shown"));
}

}  // namespace
}  // namespace kelvo::test
