#include "hosts/finder/offered_menus.h"

#include <limits>
#include <utility>

namespace kelvo {

std::int32_t OfferedMenus::Add(FinderMenu menu) {
  std::optional<Entry> dropped;  // ends without the lock
  CMutexLock lock(mutex_);
  const auto count = static_cast<std::int32_t>(menu.menu.numberOfItems());
  if (nextTag_ > std::numeric_limits<std::int32_t>::max() - count) nextTag_ = 1;
  const std::int32_t first = std::exchange(nextTag_, nextTag_ + count);
  entries_.push_back({first, std::move(menu)});
  if (entries_.size() > kMenus) {
    dropped = std::move(entries_.front());
    entries_.pop_front();
  }
  return first;
}

std::optional<OfferedMenus::Line> OfferedMenus::LineOf(std::int64_t tag) {
  CMutexLock lock(mutex_);
  for (const Entry& entry : entries_) {
    const std::vector<MenuItem>& items = entry.menu.menu.items();
    const std::int64_t index = tag - entry.firstTag;
    if (index < 0 || index >= static_cast<std::int64_t>(items.size())) continue;
    const MenuItem& item = items[static_cast<std::size_t>(index)];
    if (!item.enabled || item.action.name.empty()) return std::nullopt;
    return Line{item.action, entry.menu.context};
  }
  return std::nullopt;
}

}  // namespace kelvo
