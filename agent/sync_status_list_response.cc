#include "agent/sync_status_list_response.h"

#include <utility>

#include "base/logger.h"
#include "core/finder_configuration.h"

namespace kelvo {
namespace {

constexpr int kFolderType = 2;

}  // namespace

CSyncStatusListResponse::CSyncStatusListResponse(const CFinderConfiguration* configuration,
                                                 std::string path,
                                                 std::shared_ptr<const std::string> list)
    : configuration_(configuration),
      path_(std::move(path)),
      list_(std::move(list)),
      cursor_(*list_) {
  unsigned long count;
  cursor_ >> count;
  remaining_ = count;
}

bool CSyncStatusListResponse::Next() {
  if (remaining_ == 0) return false;
  --remaining_;
  try {
    ReadRecord();
  } catch (const CTextDecodingException& exception) {
    if (!std::exchange(*isFaultLogged_, true)) {
      KELVO_LOG(kLogError, "SyncStatusListResponse exception: " << exception.what());
    }
    remaining_ = 0;
  }
  return true;
}

void CSyncStatusListResponse::ReadRecord() {
  CListCursor cursor = cursor_;
  int type;
  cursor >> name_;
  if (int numbers[4]; cursor.TakeUsualFour(numbers)) {
    type = numbers[0];
    status_ = static_cast<sync::ESyncItemStatus>(numbers[1]);
    permissions_ = static_cast<sync::EItemPermissions>(numbers[2]);
    denied_ = static_cast<sync::EPermissionsDenied>(numbers[3]);
  } else {
    cursor >> type >> status_ >> permissions_ >> denied_;
  }
  long long itemId;
  cursor >> modifiedBy_ >> fileId_ >> itemId;
  itemId_ = itemId;
  folder_ = type == kFolderType;
  if (IsUserMe(modifiedBy_)) modifiedBy_ = {};
  cursor >> lock_;
  if (lock_ == sync::ESyncItemLock::NO_SYNC_LOCK) {
    lockHolder_ = {};
    lockTime_ = 0;
  } else {
    long lockTime;
    cursor >> lockHolder_ >> lockTime;
    lockTime_ = lockTime;
    if (lock_ == sync::ESyncItemLock::SYNC_LOCK_FOR_ME) lockHolder_ = {};
  }
  cursor_ = cursor;
}

bool CSyncStatusListResponse::IsUserMe(std::string_view name) {
  if (configuration_ == nullptr) return false;
  const std::uint64_t publication = configuration_->Publication();
  if (publication != publication_) {
    publication_ = publication;
    user_ = configuration_->FullName();
  }
  return name.empty() || name == user_;
}

}  // namespace kelvo
