#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "agent/list_cursor.h"
#include "agent/sync_enums.h"

namespace kelvo {

class CFinderConfiguration;

// The Agent's list of one folder, walked once with Next(). The accessors give the current record;
// its texts are views into the list's text (or empty), good as long as somebody holds that text.
//
// Threads: one at a time, copies included. Lifetime: the configuration must outlive it.
class CSyncStatusListResponse {
 public:
  // `path`: the listed folder. `list`: the text, shared by the walks of several clients. Throws
  // CTextDecodingException when the record count cannot be read.
  CSyncStatusListResponse(const CFinderConfiguration* configuration, std::string path,
                          std::shared_ptr<const std::string> list);

  // Loads the next record; false after the last.
  // Deliberate: a record that does not decode is logged, once by all copies of a response, answers
  // true half filled, and ends the walk; the cache stores that record, too.
  bool Next();

  const std::shared_ptr<const std::string>& Text() const { return list_; }
  // What the client that prepares lists has made of this one, on a worker; null for none. Whoever
  // made it has walked the list and logged its fault.
  const std::shared_ptr<void>& Prepared() const { return prepared_; }
  void SetPrepared(std::shared_ptr<void> prepared) {
    prepared_ = std::move(prepared);
    *isFaultLogged_ = true;
  }
  const std::string& Path() const { return path_; }
  std::string_view Name() const { return name_; }
  std::string_view FileId() const { return fileId_; }
  std::int64_t ItemId() const { return itemId_; }
  sync::ESyncItemStatus Status() const { return status_; }
  sync::ESyncItemLock Lock() const { return lock_; }
  std::string_view LockHolder() const { return lockHolder_; }
  std::int64_t LockTime() const { return lockTime_; }  // seconds since 1970
  std::string_view ModifiedBy() const { return modifiedBy_; }
  sync::EItemPermissions Permissions() const { return permissions_; }
  sync::EPermissionsDenied Denied() const { return denied_; }
  bool Folder() const { return folder_; }

 private:
  void ReadRecord();
  bool IsUserMe(std::string_view name);

  const CFinderConfiguration* configuration_;
  std::string path_;
  std::string_view fileId_;
  std::int64_t itemId_ = 0;
  std::shared_ptr<const std::string> list_;
  std::shared_ptr<void> prepared_;
  CListCursor cursor_;
  std::uint64_t remaining_ = 0;
  std::shared_ptr<bool> isFaultLogged_ = std::make_shared<bool>(false);
  std::string_view name_;
  sync::ESyncItemStatus status_{};
  sync::ESyncItemLock lock_{};
  std::string_view lockHolder_;
  std::string_view modifiedBy_;
  std::int64_t lockTime_ = 0;
  bool folder_ = false;
  sync::EItemPermissions permissions_{};
  sync::EPermissionsDenied denied_{};

  // The signed-in user's name as of that publication of the configuration, so that a record need
  // not wait for the configuration's lock.
  std::uint64_t publication_ = 0;
  std::string user_;
};

}  // namespace kelvo
