// The plain way to keep what the Agent said, as a baseline: an ordered map of records in an ordered
// map of folders, a getter a field, a walk for a rename and another for a reload.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>

#include "base/mutex.h"
#include "base/string_utils.h"
#include "cache/sync_cache_item.h"
#include "platform/clock.h"

namespace kelvo::bench {

struct OrderedMapFolder {
  bool valid = false;
  std::int64_t lastAccess = 0;
  std::map<std::string, CSyncCacheItem, std::less<>> items;

  const CSyncCacheItem* Find(std::string_view name, std::int64_t now) {
    lastAccess = now;
    auto found = items.find(name);
    return found == items.end() ? nullptr : &found->second;
  }
  void Update(std::string_view name, CSyncCacheItem item) {
    auto known = items.find(name);
    if (known != items.end()) {
      known->second = std::move(item);
      return;
    }
    for (auto entry = items.begin(); entry != items.end(); ++entry) {
      if (entry->second.itemId != item.itemId) continue;
      items.erase(entry);
      break;
    }
    items.emplace(std::string(name), std::move(item));
  }
};

class OrderedMapCache {
 public:
  using Request = std::function<void(const std::string& directory)>;

  OrderedMapCache(const Clock& clock, Request request)
      : clock_(clock), request_(std::move(request)) {}

  OrderedMapFolder& Folder(const std::string& directory) { return folders_[directory]; }

  std::string GetFileId(std::string_view path) { return Get(path, &CSyncCacheItem::fileId); }
  BadgeStatus GetStatus(std::string_view path) { return Get(path, &CSyncCacheItem::status); }
  sync::ESyncItemLock GetLockStatus(std::string_view path) {
    return Get(path, &CSyncCacheItem::lock);
  }
  std::int64_t GetLockTime(std::string_view path) { return Get(path, &CSyncCacheItem::lockTime); }
  std::string GetLockOwner(std::string_view path) { return Get(path, &CSyncCacheItem::lockOwner); }
  std::string GetModifiedBy(std::string_view path) {
    return Get(path, &CSyncCacheItem::modifiedBy);
  }
  sync::EItemPermissions GetPermissions(std::string_view path) {
    return Get(path, &CSyncCacheItem::permissions);
  }
  sync::EPermissionsDenied GetDenied(std::string_view path) {
    return Get(path, &CSyncCacheItem::denied);
  }

  void RequestReload(const std::string& path) {
    std::string_view parent;
    std::string_view name;
    (void)SplitPath(path, &parent, &name);
    CMutexLock lock(mutex_);
    for (auto& [key, folder] : folders_) {
      const bool below = key.starts_with(path) &&
                         (key.size() == path.size() || path == "/" || key[path.size()] == '/');
      if (!folder.valid || !(below || key == parent)) continue;
      folder.valid = false;
      request_(key);
    }
  }

 private:
  template <typename Field>
  Field Get(std::string_view path, Field CSyncCacheItem::*field) {
    std::string_view directory;
    std::string_view name;
    if (!SplitPath(path, &directory, &name)) return {};
    CMutexLock lock(mutex_);
    auto folder = folders_.find(directory);
    if (folder == folders_.end() || !folder->second.valid) return {};
    const CSyncCacheItem* item = folder->second.Find(name, clock_.Now());
    return item == nullptr ? Field{} : item->*field;
  }

  CMutex mutex_{kMutexRecursive};
  std::map<std::string, OrderedMapFolder, std::less<>> folders_;
  const Clock& clock_;
  const Request request_;
};

}  // namespace kelvo::bench
