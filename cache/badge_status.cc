#include "cache/badge_status.h"

namespace kelvo {

BadgeStatus DeriveBadgeStatus(sync::ESyncItemStatus status, sync::ESyncItemLock lock,
                              sync::EPermissionsDenied denied) {
  if (denied != sync::EPermissionsDenied::NO_PERMISSIONS_DENIED) return BadgeStatus::kPermissions;
  switch (lock) {
    case sync::ESyncItemLock::SYNC_LOCK:
      return BadgeStatus::kLocked;
    case sync::ESyncItemLock::SYNC_LOCK_FOR_ME:
      return BadgeStatus::kLockedForMe;
    case sync::ESyncItemLock::SYNC_PENDING_UNLOCK:
      return BadgeStatus::kPendingUnlock;
    default:
      break;
  }
  return status == sync::ESyncItemStatus{} ? BadgeStatus::kInSync : BadgeStatus::kDirty;
}

}  // namespace kelvo
