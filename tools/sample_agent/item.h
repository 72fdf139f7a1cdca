#pragma once

#include <cstdint>
#include <string>

#include "agent/sync_enums.h"

namespace kelvo::sample_agent {

// The two sync statuses that this Agent uses; every other one but 0 is shown as not in sync, too.
inline constexpr int kInSync = 0;
inline constexpr int kDirty = 1;

// What the Agent knows about one file or folder. The enumerations may hold values beyond their
// enumerators, since a scenario may try any number.
struct Item {
  bool folder = false;
  int status = kInSync;   // as a scenario or a command has set it
  bool changing = false;  // changed on disk a moment ago
  sync::EItemPermissions permissions = sync::EItemPermissions::PERM_UPDATE;
  sync::EPermissionsDenied denied = sync::EPermissionsDenied::NO_PERMISSIONS_DENIED;
  std::string modifiedBy;  // empty: the user
  std::string fileId;
  std::int64_t itemId = 0;  // stays with the item when it is renamed
  sync::ESyncItemLock lock = sync::ESyncItemLock::NO_SYNC_LOCK;
  std::string lockHolder;
  std::int64_t lockTime = 0;  // seconds since 1970

  int SyncStatus() const { return changing && status == kInSync ? kDirty : status; }
};

// An item under its name in a listed folder.
struct ListedItem {
  std::string name;
  Item item;
};

}  // namespace kelvo::sample_agent
