#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "agent/sync_enums.h"
#include "agent/text_decoder.h"

namespace kelvo {

class CFinderConfiguration;

// The Agent's list of one folder, walked once with Next(). The accessors give the current record.
//
// Threads: one at a time. Lifetime: the configuration must outlive it.
class CSyncStatusListResponse {
 public:
  // `path`: the listed folder. `list`: the text, shared by the walks of several clients. Throws
  // CTextDecodingException when the record count cannot be read.
  CSyncStatusListResponse(const CFinderConfiguration* configuration, std::string path,
                          std::shared_ptr<const std::string> list);
  ~CSyncStatusListResponse();

  // Loads the next record; false after the last.
  // Deliberate: a record that does not decode is logged, answers true half filled, and ends the
  // walk; the cache stores that record, too.
  bool Next();

  const std::string& Path() const { return path_; }
  const std::string& Name() const { return name_; }
  const std::string& FileId() const { return fileId_; }
  std::int64_t ItemId() const { return itemId_; }
  sync::ESyncItemStatus Status() const { return status_; }
  sync::ESyncItemLock Lock() const { return lock_; }
  const std::string& LockHolder() const { return lockHolder_; }
  std::int64_t LockTime() const { return lockTime_; }  // seconds since 1970
  const std::string& ModifiedBy() const { return modifiedBy_; }
  sync::EItemPermissions Permissions() const { return permissions_; }
  sync::EPermissionsDenied Denied() const { return denied_; }
  bool Folder() const { return folder_; }

 private:
  void ReadRecord();

  const CFinderConfiguration* configuration_;
  std::string path_;
  std::string fileId_;
  std::int64_t itemId_ = 0;
  std::shared_ptr<const std::string> list_;
  struct Input;  // the stream over the list text, and the decoder on it
  std::unique_ptr<Input> input_;
  std::uint64_t remaining_ = 0;
  std::string name_;
  sync::ESyncItemStatus status_{};
  sync::ESyncItemLock lock_{};
  std::string lockHolder_;
  std::string modifiedBy_;
  std::int64_t lockTime_ = 0;
  bool folder_ = false;
  sync::EItemPermissions permissions_{};
  sync::EPermissionsDenied denied_{};
};

}  // namespace kelvo
