#include "cache/sync_cache.h"

#include <chrono>
#include <cstdlib>
#include <utility>

#include "base/logger.h"
#include "base/string_utils.h"
#include "base/time_utils.h"

namespace kelvo {
namespace {

constexpr std::chrono::seconds kSweepInterval{600};
constexpr std::int64_t kExpiry = 900;      // seconds after the last look-up
constexpr std::int64_t kListPatience = 5;  // seconds after an unanswered request
// Rounding of two clocks to whole seconds must not look like a clock that was set.
constexpr std::int64_t kClockTolerance = 2;  // seconds

}  // namespace

std::atomic<CSyncCache*> CSyncCache::m_Instance{nullptr};

CSyncCache::CSyncCache(RunLoop& runLoop, const Clock& clock)
    : clockOffset_(clock.Now() - clock.Monotonic().count() / 1000),
      runLoop_(runLoop),
      clock_(clock) {}

CSyncCache::~CSyncCache() = default;

bool CSyncCache::Initialize(CFinderConfiguration* configuration, CSyncApi* syncApi) {
  configuration_ = configuration;
  syncApi_ = syncApi;
  syncApi_->AddClient(this);
  timer_.SetTarget(this, &CSyncCache::OnTimer);
  timer_.Start(runLoop_, kSweepInterval, kSweepInterval);
  return true;
}

std::int64_t CSyncCache::Now() {
  const std::int64_t now = clock_.Now();
  const std::int64_t offset = now - clock_.Monotonic().count() / 1000;
  const std::int64_t step = offset - clockOffset_;
  if (std::llabs(step) >= kClockTolerance) {
    clockOffset_ = offset;
    for (auto& [path, folder] : folders_) folder.lastAccess += step;
  }
  return now;
}

template <typename Answer, typename Getter>
Answer CSyncCache::Query(std::string_view path, Getter getter) {
  std::string_view directory;
  std::string_view name;
  if (!SplitPath(path, &directory, &name)) return Answer{};
  {
    CMutexLock lock(mutex_);
    const std::int64_t now = Now();
    auto found = folders_.find(directory);
    if (found != folders_.end() &&
        (found->second.valid || now - found->second.lastAccess <= kListPatience)) {
      return (found->second.*getter)(name, now);
    }
    if (!IsValidUtf8(path)) return Answer{};
    if (found == folders_.end()) {
      folders_.emplace(std::string(directory), CSyncCacheFolder(now));
    } else {
      found->second = CSyncCacheFolder(now);
    }
  }
  syncApi_->RequestFolderItems(std::string(directory));
  syncApi_->RequestFolderItems(std::string(path));
  return Answer{};
}

std::string CSyncCache::GetFileId(std::string_view path) {
  return Query<std::string>(path, &CSyncCacheFolder::GetFileId);
}

BadgeStatus CSyncCache::GetStatus(std::string_view path) {
  return Query<BadgeStatus>(path, &CSyncCacheFolder::GetStatus);
}

sync::ESyncItemLock CSyncCache::GetLockStatus(std::string_view path) {
  return Query<sync::ESyncItemLock>(path, &CSyncCacheFolder::GetLockStatus);
}

std::int64_t CSyncCache::GetLockTime(std::string_view path) {
  return Query<std::int64_t>(path, &CSyncCacheFolder::GetLockTime);
}

std::string CSyncCache::GetLockOwner(std::string_view path) {
  return Query<std::string>(path, &CSyncCacheFolder::GetLockOwner);
}

std::string CSyncCache::GetModifiedBy(std::string_view path) {
  return Query<std::string>(path, &CSyncCacheFolder::GetModifiedBy);
}

sync::EItemPermissions CSyncCache::GetPermissions(const std::string& path) {
  return Query<sync::EItemPermissions>(path, &CSyncCacheFolder::GetPermissions);
}

sync::EPermissionsDenied CSyncCache::GetDenied(std::string_view path) {
  return Query<sync::EPermissionsDenied>(path, &CSyncCacheFolder::GetDenied);
}

const CSyncCacheItem* CSyncCache::Peek(std::string_view path) const {
  std::string_view directory;
  std::string_view name;
  if (!SplitPath(path, &directory, &name)) return nullptr;
  auto found = folders_.find(directory);
  return found == folders_.end() ? nullptr : found->second.Peek(name);
}

BadgeStatus CSyncCache::PeekStatus(std::string_view path) const {
  CMutexLock lock(mutex_);
  const CSyncCacheItem* item = Peek(path);
  return item == nullptr ? BadgeStatus::kNone : item->status;
}

std::optional<CSyncCacheItem> CSyncCache::PeekItem(std::string_view path) const {
  CMutexLock lock(mutex_);
  const CSyncCacheItem* item = Peek(path);
  if (item == nullptr) return std::nullopt;
  std::optional<CSyncCacheItem> answer(*item);
  if (item->lock == sync::ESyncItemLock::NO_SYNC_LOCK) answer->lockOwner.clear();
  return answer;
}

bool CSyncCache::IsListed(std::string_view directory) const {
  CMutexLock lock(mutex_);
  auto found = folders_.find(directory);
  return found != folders_.end() && found->second.valid;
}

bool CSyncCache::IsAwaited(std::string_view directory) const {
  CMutexLock lock(mutex_);
  auto found = folders_.find(directory);
  return found != folders_.end() && !found->second.valid;
}

std::int32_t CSyncCache::UpdateItem(std::string_view path, const std::string& fileId,
                                    std::int64_t itemId, sync::ESyncItemStatus syncStatus,
                                    sync::ESyncItemLock lock, const std::string& lockOwner,
                                    std::int64_t lockTime, const std::string& modifiedBy,
                                    sync::EItemPermissions permissions,
                                    sync::EPermissionsDenied denied, bool folder) {
  // The Agent's word for "forget what you know of this directory".
  constexpr sync::ESyncItemStatus kDropDirectory{3};
  std::string_view directory;
  std::string_view name;
  if (!SplitPath(path, &directory, &name)) return 0;
  CMutexLock guard(mutex_);
  auto found = folders_.find(directory);
  if (found == folders_.end()) return 0;
  if (syncStatus == kDropDirectory) {
    folders_.erase(found);
    return 1;
  }
  return found->second.Update(fileId, itemId, name, syncStatus, lock, lockOwner, lockTime,
                              modifiedBy, permissions, denied, folder);
}

void CSyncCache::RequestReload(const std::string& path) {
  auto await = [this](const std::string& directory, CSyncCacheFolder& folder) {
    folder.valid = false;
    syncApi_->RequestFolderItems(directory);
  };
  // Deliberate: the requests leave under the lock, so that no query can see a folder awaiting a
  // list that nobody has asked for.
  CMutexLock lock(mutex_);
  std::string_view directory;
  std::string_view name;
  if (SplitPath(path, &directory, &name)) {
    auto parent = folders_.find(directory);
    if (parent != folders_.end() && parent->second.valid) await(parent->first, parent->second);
  }
  for (auto& [key, folder] : folders_) {
    const bool below = key.starts_with(path) &&
                       (key.size() == path.size() || path == "/" || key[path.size()] == '/');
    if (below && folder.valid) await(key, folder);
  }
}

bool CSyncCache::IsPublicLink(std::string_view path) const {
  CMutexLock lock(mutex_);
  return publicLinks_.contains(path);
}

void CSyncCache::RefreshAll() {
  Folders forgotten;
  {
    CMutexLock lock(mutex_);
    forgotten.swap(folders_);
  }
  for (const auto& entry : forgotten) syncApi_->RefreshItem(entry.first);
}

void CSyncCache::AddCommandForThisInstance(const std::string& path) {
  CMutexLock lock(setsMutex_);
  commandsForThisInstance_.insert(path);
}

void CSyncCache::RemoveCommandForThisInstance(const std::string& path) {
  CMutexLock lock(setsMutex_);
  commandsForThisInstance_.erase(path);
}

bool CSyncCache::IsReponseForThisInstance(const std::string& path) const {
  CMutexLock lock(setsMutex_);
  return commandsForThisInstance_.contains(path);
}

void CSyncCache::AddObservedPath(const std::string& path) {
  CMutexLock lock(setsMutex_);
  observedPaths_.insert(path);
}

void CSyncCache::RemoveObservedPath(const std::string& path) {
  CMutexLock lock(setsMutex_);
  observedPaths_.erase(path);
}

bool CSyncCache::IsObserved(std::string_view directory) const {
  CMutexLock lock(setsMutex_);
  return observedPaths_.contains(directory);
}

void CSyncCache::OnTimer(CTimer* /*timer*/) {
  std::vector<std::string> expired;
  {
    CMutexLock lock(mutex_);
    const std::int64_t now = Now();
    for (auto entry = folders_.begin(); entry != folders_.end();) {
      const auto& [path, folder] = *entry;
      const std::int64_t limit = folder.valid ? kExpiry : kListPatience;
      if (now - folder.lastAccess <= limit || IsObserved(path)) {
        ++entry;
        continue;
      }
      KELVO_LOG(kLogDebug, "Folder cache expired " << path << " (last access "
                                                   << DateToString(folder.lastAccess, 0)
                                                   << (folder.valid ? ", valid)" : ", invalid)"));
      expired.push_back(path);
      entry = folders_.erase(entry);
    }
  }
  if (sweepObserver_) sweepObserver_(expired);
}

}  // namespace kelvo
