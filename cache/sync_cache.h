#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "agent/sync_api.h"
#include "agent/sync_api_client.h"
#include "base/mutex.h"
#include "base/timer.h"
#include "cache/prepared_list.h"
#include "cache/sync_cache_folder.h"
#include "platform/background_queue.h"
#include "platform/clock.h"
#include "platform/run_loop.h"

namespace kelvo {

class CFinderConfiguration;

// What the Agent last said about every file, one entry per directory, and the set of public links.
//
// Paths: absolute bytes without a trailing slash. One that is empty or ends in "/" (other than "/")
// answers 0 or empty and sends nothing; so does one that is not UTF-8 and not cached, since the
// Agent cannot be told of it. Threads: queries and the sets of observed paths and commands from any
// thread; Agent events and OnTimer on the main loop. Never blocks. Lifetime: created by
// FinderSync::startUp, never destroyed.
class CSyncCache : public CSyncApiClient, public CTarget, public CSyncApi::Cache {
 public:
  static std::atomic<CSyncCache*> m_Instance;

  // Told after each sweep, on the main loop and without a lock.
  using SweepObserver = std::function<void(const std::vector<std::string>& expiredFolders)>;

  // Told of lists that are to come anew although nobody has queried them, on the main loop and
  // without a lock: of each observed folder one item, whose badge stays what it was until the list
  // is there. `requested`: whether the list has been asked for.
  using RenewalObserver =
      std::function<void(const std::vector<std::string>& items, bool requested)>;

  // What the cache may hold, about: twenty million items. Beyond it folders are forgotten as if
  // they had expired, those that nobody observes first, and of these the ones looked at the longest
  // ago.
  static constexpr std::size_t kMostBytes = std::size_t{2} << 30;

  // `worker`: frees what is much; null leaves that to whoever called.
  CSyncCache(RunLoop& runLoop, const Clock& clock, BackgroundQueue* worker = nullptr,
             std::size_t mostBytes = kMostBytes);
  ~CSyncCache() override;
  CSyncCache(const CSyncCache&) = delete;
  CSyncCache& operator=(const CSyncCache&) = delete;

  // Joins the API's clients and starts the sweep, every 600 seconds. Always true.
  bool Initialize(CFinderConfiguration* configuration, CSyncApi* syncApi);
  void SetSweepObserver(SweepObserver observer) { sweepObserver_ = std::move(observer); }
  void SetRenewalObserver(RenewalObserver observer) { renewalObserver_ = std::move(observer); }

  // A miss answers 0 or empty, and requests the list of the directory and then that of the path
  // itself; while a list is awaited for at most 5 seconds nothing more is sent.
  std::string GetFileId(std::string_view path);
  BadgeStatus GetStatus(std::string_view path);
  sync::ESyncItemLock GetLockStatus(std::string_view path);
  std::int64_t GetLockTime(std::string_view path);  // seconds since 1970
  std::string GetLockOwner(std::string_view path);
  std::string GetModifiedBy(std::string_view path);
  sync::EItemPermissions GetPermissions(const std::string& path) override;
  sync::EPermissionsDenied GetDenied(std::string_view path);
  // What all of these answer, in one look-up.
  CSyncCacheItem GetItem(std::string_view path);

  // The status of each name in the directory, when that is listed; else false, nothing is answered
  // and nothing is asked. `directory`: empty for "/".
  bool GetStatuses(std::string_view directory, std::span<const std::string_view> names,
                   std::span<BadgeStatus> statuses);
  // As PeekStatus of each; leaves `statuses` of what is not known as they are.
  void PeekStatuses(std::string_view directory, std::span<const std::string_view> names,
                    std::span<BadgeStatus> statuses) const;

  // Another number after every change of some status. Never waits for the lock.
  std::uint64_t StatusChanges() const { return statusChanges_; }
  // As GetStatus, but asks nobody and counts as no access.
  BadgeStatus PeekStatus(std::string_view path) const;
  // All that is known of the item, as the queries would answer it, in one look-up; otherwise as
  // PeekStatus.
  std::optional<CSyncCacheItem> PeekItem(std::string_view path) const;
  // Whether the directory's list is stored, whether it is awaited, whether Finder shows it.
  bool IsListed(std::string_view directory) const;
  bool IsAwaited(std::string_view directory) const;
  bool IsObserved(std::string_view directory) const;

  // Answers a CSyncCacheFolder::ChangeMask; 0 for an item of a directory that is not cached.
  std::int32_t UpdateItem(std::string_view path, const std::string& fileId, std::int64_t itemId,
                          sync::ESyncItemStatus syncStatus, sync::ESyncItemLock lock,
                          const std::string& lockOwner, std::int64_t lockTime,
                          const std::string& modifiedBy, sync::EItemPermissions permissions,
                          sync::EPermissionsDenied denied, bool folder);
  // The directory of `path` and every cached folder at or below `path` await a new list.
  void RequestReload(const std::string& path);
  bool IsPublicLink(std::string_view path) const;
  // Forgets all folders and repaints the badges of the directories that were cached.
  void RefreshAll();

  void AddCommandForThisInstance(const std::string& path) override;
  void RemoveCommandForThisInstance(const std::string& path);
  bool IsReponseForThisInstance(const std::string& path) const;
  void AddObservedPath(const std::string& path);
  void RemoveObservedPath(const std::string& path);

  // Stores the list in place of what its directory had; the repaints that this calls for are the
  // caller's to do, on the main loop, at once or a few at a time.
  [[nodiscard]] ListRepaint StoreList(PreparedList list);

  // Prepares and stores the list and begins to repaint; what the Agent says next waits until all is
  // repainted.
  void OnSyncStatusListResponse(CSyncStatusListResponse& response) override;
  void OnSyncStatusChanged(const SSyncApiItemStatus& item) override;
  void OnSyncStatusReset() override;
  void OnSyncSyncList(const std::string& listName, const std::string& data) override;
  void OnSyncErrorReceived(sync::ESyncError error, const StringMap& params) override;
  // Drops folders that nobody observes: 900 seconds after their last look-up, or 5 seconds after an
  // unanswered request.
  void OnTimer(CTimer* timer);

 private:
  using Folders = std::map<std::string, CSyncCacheFolder, std::less<>>;

  std::optional<SyncCacheItemView> Peek(std::string_view path) const KELVO_REQUIRES(mutex_);
  template <typename Answer, typename Getter>
  Answer Query(std::string_view path, Getter getter);
  // Repaints for a few milliseconds. False when all is done.
  bool RepaintSome(ListRepaint& repaint);
  void RepaintLater(const std::shared_ptr<ListRepaint>& repaint);
  // Calls `await(directory, folder)` for what RequestReload is about.
  template <typename Await>
  void AwaitAll(const std::string& path, Await await);
  // Appends one of the folder's items when the folder is observed and has any.
  void AddItemIfShown(const std::string& directory, const CSyncCacheFolder& folder,
                      std::vector<std::string>* items) const;
  // Moves expired folders out of the cache.
  std::vector<Folders::node_type> TakeExpired();
  // The cache has grown by so much. Moves folders out when it has become too large, but not `kept`.
  std::vector<Folders::node_type> Grow(std::size_t bytes, const CSyncCacheFolder* kept = nullptr)
      KELVO_REQUIRES(mutex_);
  void LetGo(std::vector<Folders::node_type> former) KELVO_EXCLUDES(mutex_);
  // What nobody waits for: on the worker, or at once where there is none.
  void Aside(std::function<void()> work);
  // Frees what the cache has held; much of it aside.
  void LetGo(std::shared_ptr<void> former, std::size_t items) KELVO_EXCLUDES(mutex_);
  // The wall clock; moves every lastAccess along when that was set since the last call.
  std::int64_t Now() KELVO_REQUIRES(mutex_);

  mutable CMutex mutex_{kMutexRecursive};
  CSyncApi* syncApi_ = nullptr;
  CFinderConfiguration* configuration_ = nullptr;
  Folders folders_ KELVO_GUARDED_BY(mutex_);
  std::atomic<std::uint64_t> statusChanges_{0};  // raised with the lock held, before the change
  std::set<std::string, std::less<>> publicLinks_ KELVO_GUARDED_BY(mutex_);
  std::size_t grown_ KELVO_GUARDED_BY(mutex_) = 0;     // bytes, since it was last measured
  std::int64_t clockOffset_ KELVO_GUARDED_BY(mutex_);  // wall clock minus monotonic, seconds

  // Not under mutex_, as callers must never wait for a list that is being stored.
  mutable CMutex setsMutex_{kMutexNormal};
  std::set<std::string, std::less<>> commandsForThisInstance_ KELVO_GUARDED_BY(setsMutex_);
  std::set<std::string, std::less<>> observedPaths_ KELVO_GUARDED_BY(setsMutex_);

  CTimer timer_;
  RunLoop& runLoop_;
  const Clock& clock_;
  BackgroundQueue* const worker_;
  const std::size_t mostBytes_;
  SweepObserver sweepObserver_;
  RenewalObserver renewalObserver_;
  const std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);  // for what is posted
};

}  // namespace kelvo
