// What the cache does with the Agent's decoded events.
#include <set>
#include <sstream>
#include <string>
#include <utility>

#include "agent/sync_status_list_response.h"
#include "agent/text_decoder.h"
#include "base/logger.h"
#include "cache/sync_cache.h"

namespace kelvo {
namespace {

void LogRecord(const CSyncStatusListResponse& record) {
  KELVO_LOG(kLogDebug, "OnSyncStatusListResponse name "
                           << record.Name() << " fileId: " << record.FileId() << " status "
                           << static_cast<int>(record.Status()) << " lock "
                           << sync::EnumString(record.Lock()) << " holder " << record.LockHolder()
                           << " modified " << record.ModifiedBy() << " lock time "
                           << record.LockTime() << " folder " << (record.Folder() ? 1 : 0)
                           << " perms " << sync::EnumString(record.Permissions()) << " denied "
                           << sync::EnumString(record.Denied()));
}

CSyncCacheItem ToItem(const CSyncStatusListResponse& record) {
  return CSyncCacheItem{record.FileId(),
                        record.ItemId(),
                        DeriveBadgeStatus(record.Status(), record.Lock(), record.Denied()),
                        record.Lock(),
                        record.LockTime(),
                        record.LockHolder(),
                        record.ModifiedBy(),
                        record.Permissions(),
                        record.Denied(),
                        record.Folder()};
}

// The item paths of the Agent's public-link list. Throws CTextDecodingException.
std::set<std::string, std::less<>> DecodePublicLinks(const std::string& data) {
  std::set<std::string, std::less<>> links;
  std::istringstream stream(data);
  CTextDecoder decoder(&stream);
  while (!decoder.eof()) {
    std::string path;
    std::string text;
    long number = 0;
    decoder >> path >> text >> number >> number >> number >> text >> text >> text >> number;
    links.insert(std::move(path));
  }
  return links;
}

}  // namespace

void CSyncCache::OnSyncStatusListResponse(CSyncStatusListResponse& response) {
  SyncCacheItems items;
  while (response.Next()) {
    items.Put(response.Name(), ToItem(response));
    LogRecord(response);
  }
  std::vector<std::string> names;
  names.reserve(items.Size());
  items.VisitNames([&names](const std::string& name) { names.push_back(name); });
  {
    CMutexLock lock(mutex_);
    auto entry = folders_.find(response.Path());
    if (entry == folders_.end()) {
      entry = folders_.emplace(response.Path(), CSyncCacheFolder(Now())).first;
    }
    entry->second.valid = true;
    std::swap(entry->second.items, items);
  }
  for (const std::string& name : names) syncApi_->RefreshItem(response.Path() + "/" + name);
}

void CSyncCache::OnSyncStatusChanged(const SSyncApiItemStatus& item) {
  const std::int32_t mask =
      UpdateItem(item.path, item.fileId, item.itemId, item.status, item.lock, item.lockHolder,
                 item.lockTime, item.modifiedBy, item.permissions, item.denied, item.folder);
  if (mask == 0) return;
  KELVO_LOG(kLogDebug, "OnSyncCacheItemUpdated " << item.path << " " << mask);
  syncApi_->RefreshItem(item.path);
}

void CSyncCache::OnSyncStatusReset() { RefreshAll(); }

void CSyncCache::OnSyncSyncList(const std::string& listName, const std::string& data) {
  if (listName != "publicLinks") return;
  KELVO_LOG(kLogDebug, "PublicLinks: " << data);
  try {
    std::set<std::string, std::less<>> links = DecodePublicLinks(data);
    CMutexLock lock(mutex_);
    publicLinks_.swap(links);
    KELVO_LOG(kLogDebug, "Updated public links");
  } catch (const CTextDecodingException& exception) {
    KELVO_LOG(kLogError, "PublicLinks response exception: " << exception.what());
  }
}

void CSyncCache::OnSyncErrorReceived(sync::ESyncError error, const StringMap& params) {
  if (error == sync::ESyncError{}) {
    syncApi_->RequestPublicLinks();
    OnSyncStatusReset();
    return;
  }
  auto path = params.find("path");
  if (path != params.end() && params.contains("mpf")) RequestReload(path->second);
}

}  // namespace kelvo
