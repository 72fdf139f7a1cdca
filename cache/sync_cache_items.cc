#include "cache/sync_cache_items.h"

#include <algorithm>
#include <utility>

namespace kelvo {

const CSyncCacheItem* SyncCacheItems::Find(std::string_view name) const {
  auto found = items_.find(name);
  return found == items_.end() ? nullptr : &found->second;
}

void SyncCacheItems::Put(std::string_view name, CSyncCacheItem item) {
  auto found = items_.find(name);
  if (found == items_.end()) {
    items_.emplace(std::string(name), std::move(item));
  } else {
    found->second = std::move(item);
  }
}

void SyncCacheItems::EraseFirstWithItemId(std::int64_t itemId) {
  auto found = std::find_if(items_.begin(), items_.end(),
                            [itemId](const auto& entry) { return entry.second.itemId == itemId; });
  if (found != items_.end()) items_.erase(found);
}

void SyncCacheItems::VisitNames(const std::function<void(const std::string& name)>& visit) const {
  for (const auto& entry : items_) visit(entry.first);
}

}  // namespace kelvo
