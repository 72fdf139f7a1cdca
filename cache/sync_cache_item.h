#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "agent/sync_enums.h"
#include "cache/badge_status.h"

namespace kelvo {

// What the Agent last said about one file or folder. A value.
template <typename Text>
struct BasicSyncCacheItem {
  Text fileId{};            // the service's identifier; empty when unknown
  std::int64_t itemId = 0;  // by which an item is recognised under a new name
  BadgeStatus status = BadgeStatus::kNone;
  sync::ESyncItemLock lock{};
  std::int64_t lockTime = 0;  // seconds since 1970
  Text lockOwner{};
  Text modifiedBy{};
  sync::EItemPermissions permissions{};
  sync::EPermissionsDenied denied{};
  bool folder = false;

  friend bool operator==(const BasicSyncCacheItem&, const BasicSyncCacheItem&) = default;

  // The same with texts of another kind: a copy that owns them, or a view of this.
  template <typename Other>
  BasicSyncCacheItem<Other> As() const {
    return {Other(fileId),     itemId,      status, lock,  lockTime, Other(lockOwner),
            Other(modifiedBy), permissions, denied, folder};
  }
};

using CSyncCacheItem = BasicSyncCacheItem<std::string>;
// The same without owning its texts.
using SyncCacheItemView = BasicSyncCacheItem<std::string_view>;

}  // namespace kelvo
