#include "agent/sync_enums.h"

namespace kelvo::sync {
namespace {

constexpr char kUnknown[] = "<UNKNOWN>";

}  // namespace

const std::string EmptyString;

#define KELVO_ENUM_NAME(type, name) \
  case type::name:                  \
    return #name

const char* EnumString(ESyncItemLock value) {
  switch (value) {
    KELVO_ENUM_NAME(ESyncItemLock, NO_SYNC_LOCK);
    KELVO_ENUM_NAME(ESyncItemLock, SYNC_LOCK);
    KELVO_ENUM_NAME(ESyncItemLock, SYNC_LOCK_FOR_ME);
    KELVO_ENUM_NAME(ESyncItemLock, SYNC_PENDING_UNLOCK);
    default:
      return kUnknown;
  }
}

const char* EnumString(EPermissionsDenied value) {
  switch (value) {
    KELVO_ENUM_NAME(EPermissionsDenied, NO_PERMISSIONS_DENIED);
    KELVO_ENUM_NAME(EPermissionsDenied, CREATE_PROJECT_PERMISSIONS_DENIED);
    KELVO_ENUM_NAME(EPermissionsDenied, UPDATE_PERMISSIONS_DENIED);
    KELVO_ENUM_NAME(EPermissionsDenied, CREATE_PERMISSIONS_DENIED);
    KELVO_ENUM_NAME(EPermissionsDenied, RENAME_PERMISSIONS_DENIED);
    KELVO_ENUM_NAME(EPermissionsDenied, DELETE_PERMISSIONS_DENIED);
    KELVO_ENUM_NAME(EPermissionsDenied, RENAME_TO_EXISTING_DENIED);
    KELVO_ENUM_NAME(EPermissionsDenied, ACCESS_DENIED);
    KELVO_ENUM_NAME(EPermissionsDenied, DELETE_MODIFIED_DENIED);
    default:
      return kUnknown;
  }
}

const char* EnumString(EItemPermissions value) {
  switch (value) {
    KELVO_ENUM_NAME(EItemPermissions, PERM_NONE);
    KELVO_ENUM_NAME(EItemPermissions, PERM_PROJECT_RESTRICTED_LIST);
    KELVO_ENUM_NAME(EItemPermissions, PERM_PROJECT_LIST);
    KELVO_ENUM_NAME(EItemPermissions, PERM_PROJECT_VIEW);
    KELVO_ENUM_NAME(EItemPermissions, PERM_PROJECT_ACCESS);
    KELVO_ENUM_NAME(EItemPermissions, PERM_PROJECT_UPDATE);
    KELVO_ENUM_NAME(EItemPermissions, PERM_PROJECT_CREATE);
    KELVO_ENUM_NAME(EItemPermissions, PERM_PROJECT_DELETE);
    KELVO_ENUM_NAME(EItemPermissions, PERM_PROJECT_DELETE_PROJECT);
    KELVO_ENUM_NAME(EItemPermissions, PERM_PROJECT_OWNER);
    KELVO_ENUM_NAME(EItemPermissions, PERM_SUBSCRIBED);
    KELVO_ENUM_NAME(EItemPermissions, PERM_RESTRICTED_LIST);
    KELVO_ENUM_NAME(EItemPermissions, PERM_LIST);
    KELVO_ENUM_NAME(EItemPermissions, PERM_VIEW);
    KELVO_ENUM_NAME(EItemPermissions, PERM_ACCESS);
    KELVO_ENUM_NAME(EItemPermissions, PERM_UPDATE);
    KELVO_ENUM_NAME(EItemPermissions, PERM_CREATE);
    KELVO_ENUM_NAME(EItemPermissions, PERM_DELETE);
    KELVO_ENUM_NAME(EItemPermissions, PERM_DELETE_PROJECT);
    KELVO_ENUM_NAME(EItemPermissions, PERM_OWNER);
    default:
      return kUnknown;
  }
}

}  // namespace kelvo::sync
