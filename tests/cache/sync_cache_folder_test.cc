#include "cache/sync_cache_folder.h"

#include <gtest/gtest.h>

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
      {0, 0, 0, BadgeStatus::kInSync},        {-1, 0, 0, BadgeStatus::kDirty},
      {0, 1, 0, BadgeStatus::kLocked},        {1, 2, 0, BadgeStatus::kLockedForMe},
      {1, 3, 0, BadgeStatus::kPendingUnlock}, {7, -1, 0, BadgeStatus::kDirty},
      {0, 1, 5, BadgeStatus::kPermissions},   {1, 2, 99, BadgeStatus::kPermissions},
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
  Store(folder, "b", {.itemId = 2, .owner = "eve"});
  EXPECT_EQ(folder.GetLockOwner("b", 300), "") << "unlocked";
  EXPECT_EQ(folder.GetStatus("missing", 400), BadgeStatus::kNone);
  EXPECT_EQ(folder.lastAccess, 400) << "a miss is an access, too";
}

TEST(SyncCacheFolderTest, UpdateTellsWhatChanged) {
  const Stored base{.itemId = 7, .lock = 1, .owner = "eve", .lockTime = 5};
  const auto with = [&base](auto field, auto value) {
    Stored changed = base;
    changed.*field = value;
    return changed;
  };
  struct Row {
    const char* what;
    Stored next;
    std::int32_t mask;
  };
  const Row rows[] = {
      {"the same", base, 0},
      {"modifier only", with(&Stored::modifiedBy, "x"), 0},
      {"permissions only", with(&Stored::permissions, 40), 0},
      {"owner", with(&Stored::owner, "bob"), 4},
      {"lock time", with(&Stored::lockTime, 6), 4},
      {"unlocked", {.itemId = 7}, 6},
      {"denied while locked", with(&Stored::denied, 3), 2},
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

}  // namespace
}  // namespace kelvo
