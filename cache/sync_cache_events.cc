// What the cache does with the Agent's decoded events.
#include <algorithm>
#include <chrono>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "agent/list_cursor.h"
#include "agent/notifications_bridge.h"
#include "base/logger.h"
#include "cache/sync_cache.h"

namespace kelvo {
namespace {

// How many are repainted before a look at the clock: a repaint is a matter of a microsecond, or of
// a hundred where a slow disk is asked what the item is.
constexpr std::size_t kMostRepaintsAtOnce = 512;
constexpr std::size_t kFirstRepaintsAtOnce = 64;
constexpr std::size_t kFewestRepaintsAtOnce = 32;
constexpr std::chrono::milliseconds kQuickRepaints{1};
constexpr std::chrono::milliseconds kRepaintPerTurn{10};

// The item paths of the Agent's public-link list. Throws CTextDecodingException.
std::set<std::string, std::less<>> DecodePublicLinks(const std::string& data) {
  std::set<std::string, std::less<>> links;
  CListCursor cursor(data);
  while (!cursor.eof()) {
    std::string_view path;
    std::string_view text;
    long number = 0;
    cursor >> path >> text >> number >> number >> number >> text >> text >> text >> number;
    links.emplace(path);
  }
  return links;
}

}  // namespace

ListRepaint CSyncCache::StoreList(PreparedList list) {
  ListRepaint repaint(list.path, std::move(list.names));
  std::vector<Folders::node_type> crowdedOut;
  {
    CMutexLock lock(mutex_);
    ++statusChanges_;
    auto entry = folders_.find(list.path);
    if (entry == folders_.end()) {
      entry = folders_.emplace(std::move(list.path), CSyncCacheFolder(Now())).first;
    }
    entry->second.valid = true;
    std::swap(entry->second.items, list.items);
    // The list itself stays, or its own repaint would ask for it again.
    crowdedOut = Grow(entry->first.size() + entry->second.items.Bytes(), &entry->second);
  }
  LetGo(std::move(crowdedOut));
  const std::size_t formerItems = list.items.Size();
  LetGo(std::make_shared<SyncCacheItems>(std::move(list.items)), formerItems);
  return repaint;
}

void CSyncCache::OnSyncStatusListResponse(CSyncStatusListResponse& response) {
  const auto prepared = std::static_pointer_cast<PreparedList>(response.Prepared());
  const auto repaint = std::make_shared<ListRepaint>(
      StoreList(prepared == nullptr ? PrepareList(response) : std::move(*prepared)));
  if (!RepaintSome(*repaint)) return;
  HoldAgentMessages();
  RepaintLater(repaint);
}

bool CSyncCache::RepaintSome(ListRepaint& repaint) {
  std::chrono::milliseconds now = clock_.Monotonic();
  const std::chrono::milliseconds end = now + kRepaintPerTurn;
  std::size_t some = kFirstRepaintsAtOnce;
  do {
    repaint.Next(some);
    const std::chrono::milliseconds before = std::exchange(now, clock_.Monotonic());
    some = now - before > kQuickRepaints ? std::max(some / 2, kFewestRepaintsAtOnce)
                                         : std::min(some * 2, kMostRepaintsAtOnce);
  } while (repaint.Left() > 0 && now < end);
  return repaint.Left() > 0;
}

// What others do meanwhile may drop the folder. To ask for its items would then ask for its list
// again, which whoever dropped it has done.
void CSyncCache::RepaintLater(const std::shared_ptr<ListRepaint>& repaint) {
  runLoop_.Post([this, alive = alive_, repaint] {
    if (!*alive) return;
    if (IsListed(repaint->Directory()) && RepaintSome(*repaint)) return RepaintLater(repaint);
    ReleaseAgentMessages();
  });
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
