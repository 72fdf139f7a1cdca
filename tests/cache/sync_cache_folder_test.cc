#include "cache/sync_cache_folder.h"

#include <gtest/gtest.h>

#include <limits>

namespace kelvo {
namespace {

using sync::EItemPermissions;
using sync::EPermissionsDenied;
using sync::ESyncItemLock;
using sync::ESyncItemStatus;

struct Stored {
  std::int64_t itemId = 1;
  int status = 0;
  int lock = 0;
  std::string owner = {};
  std::int64_t lockTime = 0;
  std::string modifiedBy = {};
  int permissions = 1064;
  int denied = 0;
};

std::int32_t Store(CSyncCacheFolder& folder, std::string_view name, const Stored& s) {
  return folder.Update("F", s.itemId, name, ESyncItemStatus{s.status}, ESyncItemLock{s.lock},
                       s.owner, s.lockTime, s.modifiedBy, EItemPermissions{s.permissions},
                       EPermissionsDenied{s.denied}, false);
}

TEST(BadgeStatusTest, FirstRuleThatHoldsWins) {
  struct Row {
    int status, lock, denied;
    BadgeStatus badge;
  };
  const Row rows[] = {
      {0, 0, 0, BadgeStatus::kInSync},       {1, 0, 0, BadgeStatus::kDirty},
      {-1, 0, 0, BadgeStatus::kDirty},       {0, 1, 0, BadgeStatus::kLocked},
      {1, 2, 0, BadgeStatus::kLockedForMe},  {1, 3, 0, BadgeStatus::kPendingUnlock},
      {0, 4, 0, BadgeStatus::kInSync},       {7, -1, 0, BadgeStatus::kDirty},
      {0, 1, 5, BadgeStatus::kPermissions},  {1, 2, 99, BadgeStatus::kPermissions},
      {0, 0, -1, BadgeStatus::kPermissions},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(DeriveBadgeStatus(ESyncItemStatus{row.status}, ESyncItemLock{row.lock},
                                EPermissionsDenied{row.denied}),
              row.badge)
        << row.status << " " << row.lock << " " << row.denied;
  }
}

TEST(SyncCacheFolderTest, AnswersNothingUntilItsListHasCome) {
  CSyncCacheFolder folder(100);
  Store(folder, "a", {.lock = 1, .owner = "eve", .lockTime = 5, .modifiedBy = "bob"});
  EXPECT_EQ(folder.GetStatus("a", 200), BadgeStatus::kNone);
  EXPECT_EQ(folder.GetLockOwner("a", 200), "");
  EXPECT_EQ(folder.GetModifiedBy("a", 200), "");
  EXPECT_EQ(folder.lastAccess, 100) << "a look-up that answers nothing is no access";

  folder.valid = true;
  EXPECT_EQ(folder.GetStatus("a", 300), BadgeStatus::kLocked);
  EXPECT_EQ(folder.GetLockOwner("a", 300), "eve");
  EXPECT_EQ(folder.GetLockTime("a", 300), 5);
  EXPECT_EQ(folder.GetModifiedBy("a", 300), "bob");
  EXPECT_EQ(folder.GetFileId("a", 300), "F");
  EXPECT_EQ(folder.GetStatus("missing", 400), BadgeStatus::kNone);
  EXPECT_EQ(folder.lastAccess, 400) << "a miss is an access, too";
}

TEST(SyncCacheFolderTest, UnlockedItemHasNoOwner) {
  CSyncCacheFolder folder(0);
  folder.valid = true;
  Store(folder, "a", {.owner = "eve"});
  EXPECT_EQ(folder.GetLockOwner("a", 1), "");
}

TEST(SyncCacheFolderTest, UpdateTellsWhatChanged) {
  const Stored base{.itemId = 7, .lock = 1, .owner = "eve", .lockTime = 5};
  struct Row {
    const char* what;
    Stored next;
    std::int32_t mask;
  };
  const Row rows[] = {
      {"the same", base, 0},
      {"modifier and permissions only",
       {.itemId = 7,
        .lock = 1,
        .owner = "eve",
        .lockTime = 5,
        .modifiedBy = "x",
        .permissions = 40},
       0},
      {"owner", {.itemId = 7, .lock = 1, .owner = "bob", .lockTime = 5}, 4},
      {"lock time", {.itemId = 7, .lock = 1, .owner = "eve", .lockTime = 6}, 4},
      {"unlocked", {.itemId = 7}, 6},
      {"denied while locked",
       {.itemId = 7, .lock = 1, .owner = "eve", .lockTime = 5, .denied = 3},
       2},
  };
  for (const Row& row : rows) {
    CSyncCacheFolder folder(0);
    EXPECT_EQ(Store(folder, "a", base), CSyncCacheFolder::kNewItem);
    EXPECT_EQ(Store(folder, "a", row.next), row.mask) << row.what;
    folder.valid = true;
    EXPECT_EQ(folder.GetModifiedBy("a", 1), row.next.modifiedBy) << row.what;
    EXPECT_EQ(static_cast<int>(folder.GetPermissions("a", 1)), row.next.permissions) << row.what;
  }
}

TEST(SyncCacheFolderTest, NewNameTakesTheItemAwayFromItsOldOne) {
  constexpr std::int64_t kHuge = std::numeric_limits<std::int64_t>::max();
  CSyncCacheFolder folder(0);
  folder.valid = true;
  Store(folder, "b", {.itemId = kHuge});
  Store(folder, "old", {.itemId = 4});
  EXPECT_EQ(Store(folder, "new", {.itemId = 4}), CSyncCacheFolder::kNewItem);
  EXPECT_EQ(folder.Peek("old"), nullptr);
  EXPECT_NE(folder.Peek("new"), nullptr);
  EXPECT_NE(folder.Peek("b"), nullptr);
  // Two names of one id can only come with a list; the first in order goes.
  CSyncCacheItem twin;
  twin.itemId = 9;
  folder.items.Put("x1", twin);
  folder.items.Put("x0", twin);
  Store(folder, "z", {.itemId = 9});
  EXPECT_EQ(folder.Peek("x0"), nullptr);
  EXPECT_NE(folder.Peek("x1"), nullptr);
}

}  // namespace
}  // namespace kelvo
