#include "cache/prepared_list.h"

#include <algorithm>
#include <string_view>
#include <utility>
#include <vector>

#include "agent/refresh_paths.h"
#include "base/logger.h"

namespace kelvo {
namespace {

// Ordering so many by item id would be felt on the main loop at the first rename.
constexpr std::size_t kLargeList = 20'000;

void LogRecord(const CSyncStatusListResponse& record) {
  KELVO_LOG(kLogDebug, "OnSyncStatusListResponse name "
                           << record.Name() << " fileId: " << record.FileId() << " status "
                           << static_cast<int>(record.Status()) << " lock "
                           << sync::EnumString(record.Lock()) << " holder " << record.LockHolder()
                           << " modified " << record.ModifiedBy() << " lock time "
                           << record.LockTime() << " folder " << (record.Folder() ? 1 : 0)
                           << " perms " << sync::EnumString(record.Permissions()) << " denied "
                           << sync::EnumString(record.Denied()));
}

SyncCacheItemView ToItem(const CSyncStatusListResponse& record) {
  return {record.FileId(),
          record.ItemId(),
          DeriveBadgeStatus(record.Status(), record.Lock(), record.Denied()),
          record.Lock(),
          record.LockTime(),
          record.LockHolder(),
          record.ModifiedBy(),
          record.Permissions(),
          record.Denied(),
          record.Folder()};
}

}  // namespace

PreparedList PrepareList(CSyncStatusListResponse& response) {
  SyncCacheItems items(response.Text());
  while (response.Next()) {
    items.Append(response.Name(), ToItem(response));
    LogRecord(response);
  }
  items.FinishAppending();
  SyncCacheNames names = items.SortedNames();
  return {response.Path(), std::move(items), std::move(names)};
}

PreparedList PrepareListAside(CSyncStatusListResponse& response) {
  PreparedList list = PrepareList(response);
  if (list.items.Size() >= kLargeList) list.items.OrderByItemId();
  return list;
}

ListRepaint::ListRepaint(const std::string& directory, SyncCacheNames names)
    : directory_(directory), names_(std::move(names)) {}

void ListRepaint::Next(std::size_t most) {
  std::vector<std::string_view> next;
  const std::size_t count = std::min(most, Left());
  next.reserve(count);
  while (next.size() < count) next.push_back(names_[done_++]);
  RefreshPaths(directory_, next);
}

}  // namespace kelvo
