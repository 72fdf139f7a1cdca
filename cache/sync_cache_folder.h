#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "cache/sync_cache_items.h"

namespace kelvo {

// The items of one directory, and what the expiry rules need. A value; the cache locks.
//
// Names are last path components. Times are seconds since 1970, and `now` is the cache's.
// A folder that is not valid answers 0 or empty for every name, and its lastAccess stays.
class CSyncCacheFolder {
 public:
  enum ChangeMask : std::int32_t { kNewItem = 1, kStatusChanged = 2, kLockChanged = 4 };

  explicit CSyncCacheFolder(std::int64_t now) : lastAccess(now) {}

  // Sets lastAccess; nothing when there is no such item. Good until the next change.
  std::optional<SyncCacheItemView> Find(std::string_view name, std::int64_t now);
  // As the getters see it: nothing also when the folder is not valid; lastAccess stays.
  std::optional<SyncCacheItemView> Peek(std::string_view name) const;

  BadgeStatus GetStatus(std::string_view name, std::int64_t now);
  sync::ESyncItemLock GetLockStatus(std::string_view name, std::int64_t now);
  sync::EItemPermissions GetPermissions(std::string_view name, std::int64_t now);
  sync::EPermissionsDenied GetDenied(std::string_view name, std::int64_t now);
  std::int64_t GetLockTime(std::string_view name, std::int64_t now);
  std::string GetFileId(std::string_view name, std::int64_t now);
  std::string GetModifiedBy(std::string_view name, std::int64_t now);
  // Empty for an item that is not locked, whatever is stored.
  std::string GetLockOwner(std::string_view name, std::int64_t now);
  // What all of them answer, in one look-up.
  CSyncCacheItem GetItem(std::string_view name, std::int64_t now);

  // Stores one item, whether or not the folder is valid; answers a ChangeMask. A new name takes
  // away the first item with the same item id, which is that item under its old name.
  std::int32_t Update(const std::string& fileId, std::int64_t itemId, std::string_view name,
                      sync::ESyncItemStatus syncStatus, sync::ESyncItemLock lock,
                      const std::string& lockOwner, std::int64_t lockTime,
                      const std::string& modifiedBy, sync::EItemPermissions permissions,
                      sync::EPermissionsDenied denied, bool folder);

  bool valid = false;  // the Agent's list has been stored; false while one is awaited
  std::int64_t lastAccess;
  SyncCacheItems items;

 private:
  SyncCacheItemView Get(std::string_view name, std::int64_t now);
};

}  // namespace kelvo
