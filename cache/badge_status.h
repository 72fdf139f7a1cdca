#pragma once

#include <cstdint>

#include "agent/sync_enums.h"

namespace kelvo {

enum class BadgeStatus : std::int32_t {
  kNone = 0,
  kInSync = 1,
  kDirty = 2,
  kLocked = 3,  // by another user
  kLockedForMe = 4,
  kPendingUnlock = 5,
  kPermissions = 6,  // a permission violation
};

// The first that holds: denied, a lock that has a badge, a sync status other than 0, in sync.
BadgeStatus DeriveBadgeStatus(sync::ESyncItemStatus status, sync::ESyncItemLock lock,
                              sync::EPermissionsDenied denied);

}  // namespace kelvo
