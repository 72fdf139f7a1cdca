#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "cache/sync_cache_item.h"

namespace kelvo {

// The items of one folder by name. How they are kept is this class's own affair; callers see names
// in byte order, single items, and whole replacement.
//
// Threads: one at a time; the cache locks.
class SyncCacheItems {
 public:
  // Null when there is none. Valid until the next change.
  const CSyncCacheItem* Find(std::string_view name) const;
  // Stores the item under the name, replacing what was there.
  void Put(std::string_view name, CSyncCacheItem item);
  // Removes the first item, in name order, with this item id.
  void EraseFirstWithItemId(std::int64_t itemId);
  void Clear() { items_.clear(); }
  std::size_t Size() const { return items_.size(); }
  // Calls `visit` for every name in byte order.
  void VisitNames(const std::function<void(const std::string& name)>& visit) const;

 private:
  std::map<std::string, CSyncCacheItem, std::less<>> items_;
};

}  // namespace kelvo
