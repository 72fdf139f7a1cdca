#pragma once

#include <cstdint>
#include <string>

#include "agent/sync_enums.h"
#include "cache/badge_status.h"

namespace kelvo {

// What the Agent last said about one file or folder. A value.
struct CSyncCacheItem {
  std::string fileId;       // the service's identifier; empty when unknown
  std::int64_t itemId = 0;  // by which an item is recognised under a new name
  BadgeStatus status = BadgeStatus::kNone;
  sync::ESyncItemLock lock{};
  std::int64_t lockTime = 0;  // seconds since 1970
  std::string lockOwner;
  std::string modifiedBy;
  sync::EItemPermissions permissions{};
  sync::EPermissionsDenied denied{};
  bool folder = false;
};

}  // namespace kelvo
