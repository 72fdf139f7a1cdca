#include "cache/sync_cache_folder.h"

#include <utility>

namespace kelvo {

const CSyncCacheItem* CSyncCacheFolder::Find(std::string_view name, std::int64_t now) {
  lastAccess = now;
  return items.Find(name);
}

const CSyncCacheItem* CSyncCacheFolder::Peek(std::string_view name) const {
  return valid ? items.Find(name) : nullptr;
}

// One field of an item, or its zero: what all getters have in common.
template <typename Field>
Field CSyncCacheFolder::Get(std::string_view name, std::int64_t now, Field CSyncCacheItem::*field) {
  const CSyncCacheItem* item = valid ? Find(name, now) : nullptr;
  return item == nullptr ? Field{} : item->*field;
}

BadgeStatus CSyncCacheFolder::GetStatus(std::string_view name, std::int64_t now) {
  return Get(name, now, &CSyncCacheItem::status);
}

sync::ESyncItemLock CSyncCacheFolder::GetLockStatus(std::string_view name, std::int64_t now) {
  return Get(name, now, &CSyncCacheItem::lock);
}

sync::EItemPermissions CSyncCacheFolder::GetPermissions(std::string_view name, std::int64_t now) {
  return Get(name, now, &CSyncCacheItem::permissions);
}

sync::EPermissionsDenied CSyncCacheFolder::GetDenied(std::string_view name, std::int64_t now) {
  return Get(name, now, &CSyncCacheItem::denied);
}

std::int64_t CSyncCacheFolder::GetLockTime(std::string_view name, std::int64_t now) {
  return Get(name, now, &CSyncCacheItem::lockTime);
}

std::string CSyncCacheFolder::GetFileId(std::string_view name, std::int64_t now) {
  return Get(name, now, &CSyncCacheItem::fileId);
}

std::string CSyncCacheFolder::GetModifiedBy(std::string_view name, std::int64_t now) {
  return Get(name, now, &CSyncCacheItem::modifiedBy);
}

std::string CSyncCacheFolder::GetLockOwner(std::string_view name, std::int64_t now) {
  const CSyncCacheItem* item = valid ? Find(name, now) : nullptr;
  if (item == nullptr || item->lock == sync::ESyncItemLock::NO_SYNC_LOCK) return {};
  return item->lockOwner;
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
  if (const CSyncCacheItem* known = items.Find(name)) {
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
