// The vocabulary of the Agent's sync engine. Values come from outside: one may lie beyond the
// enumerators, so a switch needs a default.
#pragma once

#include <cstdint>
#include <string>

namespace kelvo::sync {

// Passed through to the cache, which interprets it; has no names.
enum class ESyncItemStatus : std::int32_t {};
// The error of a "sync_error" event; has no names.
enum class ESyncError : std::int32_t {};

enum class ESyncItemLock : std::int32_t {
  NO_SYNC_LOCK = 0,
  SYNC_LOCK = 1,
  SYNC_LOCK_FOR_ME = 2,
  SYNC_PENDING_UNLOCK = 3,
};

enum class EPermissionsDenied : std::int32_t {
  NO_PERMISSIONS_DENIED = 0,
  CREATE_PROJECT_PERMISSIONS_DENIED = 1,
  UPDATE_PERMISSIONS_DENIED = 2,
  CREATE_PERMISSIONS_DENIED = 3,
  RENAME_PERMISSIONS_DENIED = 4,
  DELETE_PERMISSIONS_DENIED = 5,
  RENAME_TO_EXISTING_DENIED = 6,
  ACCESS_DENIED = 7,
  DELETE_MODIFIED_DENIED = 8,
};

// Ordered levels; from 1024 on the item's project is fully subscribed.
enum class EItemPermissions : std::int32_t {
  PERM_NONE = 0,
  PERM_PROJECT_RESTRICTED_LIST = 5,
  PERM_PROJECT_LIST = 10,
  PERM_PROJECT_VIEW = 20,
  PERM_PROJECT_ACCESS = 30,
  PERM_PROJECT_UPDATE = 40,
  PERM_PROJECT_CREATE = 50,
  PERM_PROJECT_DELETE = 60,
  PERM_PROJECT_DELETE_PROJECT = 70,
  PERM_PROJECT_OWNER = 100,
  PERM_SUBSCRIBED = 1024,
  PERM_RESTRICTED_LIST = 1029,
  PERM_LIST = 1034,
  PERM_VIEW = 1044,
  PERM_ACCESS = 1054,
  PERM_UPDATE = 1064,
  PERM_CREATE = 1074,
  PERM_DELETE = 1084,
  PERM_DELETE_PROJECT = 1094,
  PERM_OWNER = 1124,
};

// The enumerator's name, "<UNKNOWN>" for any other value. A literal.
const char* EnumString(ESyncItemLock value);
const char* EnumString(EPermissionsDenied value);
const char* EnumString(EItemPermissions value);

extern const std::string EmptyString;

}  // namespace kelvo::sync
