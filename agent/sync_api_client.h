#pragma once

#include <cstdint>
#include <string>

#include "agent/sync_enums.h"
#include "base/string_map.h"

namespace kelvo {

class CSyncStatusListResponse;

// One item's status as the Agent reports it.
struct SSyncApiItemStatus {
  std::string path;  // file-system form
  std::string fileId;
  std::int64_t itemId = 0;
  sync::ESyncItemStatus status{};
  sync::ESyncItemLock lock{};
  std::string lockHolder;
  std::int64_t lockTime = 0;  // seconds since 1970
  std::string modifiedBy;
  sync::EItemPermissions permissions{};
  sync::EPermissionsDenied denied{};
  bool folder = false;
};

// Receives the Agent's decoded events. Called on the main loop, in the order in which clients
// joined.
class CSyncApiClient {
 public:
  virtual void OnSyncStatusListResponse(CSyncStatusListResponse& /*response*/) {}
  virtual void OnSyncStatusChanged(const SSyncApiItemStatus& /*item*/) {}
  virtual void OnSyncStatusReset() {}
  virtual void OnSyncRequestResponse(const std::string& /*command*/, const StringMap& /*values*/) {}
  virtual void OnSyncSyncList(const std::string& /*listId*/, const std::string& /*list*/) {}
  virtual void OnSyncErrorReceived(sync::ESyncError /*error*/, const StringMap& /*values*/) {}
  virtual void OnEditPublicLink(const std::string& /*path*/) {}
  virtual void OnConnectionStatusChanged(bool /*connected*/) {}

 protected:
  ~CSyncApiClient() = default;
};

}  // namespace kelvo
