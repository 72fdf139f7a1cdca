// Statuses of many items of one folder, under one lock.
#include "cache/sync_cache.h"

namespace kelvo {

bool CSyncCache::GetStatuses(std::string_view directory, std::span<const std::string_view> names,
                             std::span<BadgeStatus> statuses) {
  CMutexLock lock(mutex_);
  const auto found = folders_.find(directory);
  if (found == folders_.end() || !found->second.valid) return false;
  const std::int64_t now = Now();
  for (std::size_t i = 0; i < names.size(); ++i) {
    statuses[i] = found->second.GetStatus(names[i], now);
  }
  return true;
}

void CSyncCache::PeekStatuses(std::string_view directory, std::span<const std::string_view> names,
                              std::span<BadgeStatus> statuses) const {
  CMutexLock lock(mutex_);
  const auto found = folders_.find(directory);
  if (found == folders_.end()) return;
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (const auto item = found->second.Peek(names[i])) statuses[i] = item->status;
  }
}

}  // namespace kelvo
