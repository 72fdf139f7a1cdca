#include "cache/sync_cache_folder.h"

#include <utility>

namespace kelvo {

std::optional<SyncCacheItemView> CSyncCacheFolder::Find(std::string_view name, std::int64_t now) {
  lastAccess = now;
  return items.Find(name);
}

std::optional<SyncCacheItemView> CSyncCacheFolder::Peek(std::string_view name) const {
  std::optional<SyncCacheItemView> item;
  if (valid) item = items.Find(name);
  if (item && item->lock == sync::ESyncItemLock::NO_SYNC_LOCK) item->lockOwner = {};
  return item;
}

// What all getters have in common. Without an item, the zero of every field.
SyncCacheItemView CSyncCacheFolder::Get(std::string_view name, std::int64_t now) {
  if (!valid) return {};
  lastAccess = now;
  return Peek(name).value_or(SyncCacheItemView{});
}

BadgeStatus CSyncCacheFolder::GetStatus(std::string_view name, std::int64_t now) {
  return Get(name, now).status;
}

sync::ESyncItemLock CSyncCacheFolder::GetLockStatus(std::string_view name, std::int64_t now) {
  return Get(name, now).lock;
}

sync::EItemPermissions CSyncCacheFolder::GetPermissions(std::string_view name, std::int64_t now) {
  return Get(name, now).permissions;
}

sync::EPermissionsDenied CSyncCacheFolder::GetDenied(std::string_view name, std::int64_t now) {
  return Get(name, now).denied;
}

std::int64_t CSyncCacheFolder::GetLockTime(std::string_view name, std::int64_t now) {
  return Get(name, now).lockTime;
}

std::string CSyncCacheFolder::GetFileId(std::string_view name, std::int64_t now) {
  return std::string(Get(name, now).fileId);
}

std::string CSyncCacheFolder::GetModifiedBy(std::string_view name, std::int64_t now) {
  return std::string(Get(name, now).modifiedBy);
}

std::string CSyncCacheFolder::GetLockOwner(std::string_view name, std::int64_t now) {
  return std::string(Get(name, now).lockOwner);
}

CSyncCacheItem CSyncCacheFolder::GetItem(std::string_view name, std::int64_t now) {
  return Get(name, now).As<std::string>();
}

std::int32_t CSyncCacheFolder::Update(const std::string& fileId, std::int64_t itemId,
                                      std::string_view name, sync::ESyncItemStatus syncStatus,
                                      sync::ESyncItemLock lock, const std::string& lockOwner,
                                      std::int64_t lockTime, const std::string& modifiedBy,
                                      sync::EItemPermissions permissions,
                                      sync::EPermissionsDenied denied, bool folder) {
  CSyncCacheItem item{fileId,     itemId,      DeriveBadgeStatus(syncStatus, lock, denied),
                      lock,       lockTime,    lockOwner,
                      modifiedBy, permissions, denied,
                      folder};
  std::int32_t mask = 0;
  if (const std::optional<SyncCacheItemView> known = items.Find(name)) {
    if (known->status != item.status) mask |= kStatusChanged;
    if (known->lock != lock || known->lockTime != lockTime || known->lockOwner != lockOwner) {
      mask |= kLockChanged;
    }
  } else {
    items.EraseFirstWithItemId(itemId);
    mask = kNewItem;
  }
  items.Put(name, std::move(item));
  return mask;
}

}  // namespace kelvo
