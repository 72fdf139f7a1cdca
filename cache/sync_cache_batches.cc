// Statuses of many items of one folder, under one lock.
#include <algorithm>

#include "cache/sync_cache.h"

namespace kelvo {

bool CSyncCache::GetStatuses(std::string_view directory, std::span<const std::string_view> names,
                             std::span<BadgeStatus> statuses) {
  CMutexLock lock(mutex_);
  const auto found = folders_.find(directory);
  if (found == folders_.end() || !found->second.valid) return false;
  if (!names.empty()) found->second.lastAccess = Now();
  std::fill_n(statuses.begin(), names.size(), BadgeStatus::kNone);
  found->second.items.FindStatuses(names, statuses);
  return true;
}

void CSyncCache::PeekStatuses(std::string_view directory, std::span<const std::string_view> names,
                              std::span<BadgeStatus> statuses) const {
  CMutexLock lock(mutex_);
  const auto found = folders_.find(directory);
  if (found == folders_.end() || !found->second.valid) return;
  found->second.items.FindStatuses(names, statuses);
}

}  // namespace kelvo
