#include "cache/sync_cache.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <tuple>
#include <utility>

#include "base/logger.h"
#include "base/release_memory.h"
#include "base/string_utils.h"
#include "base/time_utils.h"

namespace kelvo {
namespace {

constexpr std::chrono::seconds kSweepInterval{600};
constexpr std::int64_t kExpiry = 900;      // seconds after the last look-up
constexpr std::int64_t kListPatience = 5;  // seconds after an unanswered request
// Rounding of two clocks to whole seconds must not look like a clock that was set.
constexpr std::int64_t kClockTolerance = 2;      // seconds
constexpr std::size_t kWorthReleasing = 10'000;  // expired items, about 1 MB
// Changed items take several blocks of memory each, so that to free so many would be felt.
constexpr std::size_t kWorthFreeingAside = 20'000;
constexpr std::size_t kBytesPerFolder = 512;  // beside its path and its items

}  // namespace

std::atomic<CSyncCache*> CSyncCache::m_Instance{nullptr};

CSyncCache::CSyncCache(RunLoop& runLoop, const Clock& clock, BackgroundQueue* worker,
                       std::size_t mostBytes)
    : clockOffset_(clock.Now() - clock.Monotonic().count() / 1000),
      runLoop_(runLoop),
      clock_(clock),
      worker_(worker),
      mostBytes_(mostBytes) {}

CSyncCache::~CSyncCache() { *alive_ = false; }

bool CSyncCache::Initialize(CFinderConfiguration* configuration, CSyncApi* syncApi) {
  configuration_ = configuration;
  syncApi_ = syncApi;
  syncApi_->AddClient(this);
  syncApi_->SetListPreparer([](CSyncStatusListResponse& response) {
    return std::make_shared<PreparedList>(PrepareListAside(response));
  });
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
  std::shared_ptr<CSyncCacheFolder> former;
  std::vector<Folders::node_type> crowdedOut;
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
      crowdedOut = Grow(directory.size());
    } else {
      former =
          std::make_shared<CSyncCacheFolder>(std::exchange(found->second, CSyncCacheFolder(now)));
    }
  }
  if (former != nullptr) {
    const std::size_t items = former->items.Size();
    LetGo(std::move(former), items);
  }
  LetGo(std::move(crowdedOut));
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

CSyncCacheItem CSyncCache::GetItem(std::string_view path) {
  return Query<CSyncCacheItem>(path, &CSyncCacheFolder::GetItem);
}

std::optional<SyncCacheItemView> CSyncCache::Peek(std::string_view path) const {
  std::string_view directory;
  std::string_view name;
  if (!SplitPath(path, &directory, &name)) return std::nullopt;
  auto found = folders_.find(directory);
  return found == folders_.end() ? std::nullopt : found->second.Peek(name);
}

BadgeStatus CSyncCache::PeekStatus(std::string_view path) const {
  CMutexLock lock(mutex_);
  return Peek(path).value_or(SyncCacheItemView{}).status;
}

std::optional<CSyncCacheItem> CSyncCache::PeekItem(std::string_view path) const {
  CMutexLock lock(mutex_);
  const std::optional<SyncCacheItemView> item = Peek(path);
  if (!item) return std::nullopt;
  return item->As<std::string>();
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
  std::vector<Folders::node_type> dropped;
  std::int32_t answer = 1;
  {
    CMutexLock guard(mutex_);
    auto found = folders_.find(directory);
    if (found == folders_.end()) return 0;
    ++statusChanges_;
    if (syncStatus == kDropDirectory) {
      dropped.push_back(folders_.extract(found));
    } else {
      const std::size_t former = found->second.items.Bytes();
      answer = found->second.Update(fileId, itemId, name, syncStatus, lock, lockOwner, lockTime,
                                    modifiedBy, permissions, denied, folder);
      const std::size_t bytes = found->second.items.Bytes();
      if (bytes > former) dropped = Grow(bytes - former);
    }
  }
  LetGo(std::move(dropped));
  return answer;
}

void CSyncCache::RequestReload(const std::string& path) {
  std::vector<std::string> shown;
  auto await = [&](const std::string& directory, CSyncCacheFolder& folder) {
    folder.valid = false;
    AddItemIfShown(directory, folder, &shown);
    syncApi_->RequestFolderItems(directory);
  };
  AwaitAll(path, await);
  if (renewalObserver_ && !shown.empty()) renewalObserver_(shown, true);
}

template <typename Await>
void CSyncCache::AwaitAll(const std::string& path, Await await) {
  // Deliberate: the requests leave under the lock, so that no query can see a folder awaiting a
  // list that nobody has asked for.
  CMutexLock lock(mutex_);
  ++statusChanges_;
  std::string_view directory;
  std::string_view name;
  if (SplitPath(path, &directory, &name)) {
    auto parent = folders_.find(directory);
    if (parent != folders_.end() && parent->second.valid) await(parent->first, parent->second);
  }
  auto self = folders_.find(path);
  if (self != folders_.end() && self->second.valid) await(self->first, self->second);
  // What is below begins with path + "/", and "0" is the byte after "/". Other names that begin
  // with the path, such as path + "-old", lie between it and these.
  const std::string stem = path == "/" ? "" : path;
  const auto end = folders_.lower_bound(stem + '0');
  for (auto below = folders_.lower_bound(stem + '/'); below != end; ++below) {
    if (below->second.valid) await(below->first, below->second);
  }
}

bool CSyncCache::IsPublicLink(std::string_view path) const {
  CMutexLock lock(mutex_);
  return publicLinks_.contains(path);
}

void CSyncCache::RefreshAll() {
  auto forgotten = std::make_shared<Folders>();
  {
    CMutexLock lock(mutex_);
    ++statusChanges_;
    forgotten->swap(folders_);
  }
  std::size_t items = 0;
  std::vector<std::string> shown;
  for (const auto& [path, folder] : *forgotten) {
    items += folder.items.Size();
    AddItemIfShown(path, folder, &shown);
    syncApi_->RefreshItem(path);
  }
  LetGo(std::move(forgotten), items);
  if (renewalObserver_ && !shown.empty()) renewalObserver_(shown, false);
}

void CSyncCache::AddItemIfShown(const std::string& directory, const CSyncCacheFolder& folder,
                                std::vector<std::string>* items) const {
  const std::string_view name = folder.items.AnyName();
  if (name.empty() || !IsObserved(directory.empty() ? std::string_view("/") : directory)) return;
  items->push_back(directory + "/" + std::string(name));
}

void CSyncCache::Aside(std::function<void()> work) {
  if (worker_ == nullptr || !worker_->TryAsync(work)) work();
}

void CSyncCache::LetGo(std::shared_ptr<void> former, std::size_t items) {
  if (items < kWorthFreeingAside) return;
  Aside([held = std::move(former)]() mutable {
    held.reset();
    ReleaseFreeMemory();
  });
}

void CSyncCache::LetGo(std::vector<Folders::node_type> former) {
  if (former.empty()) return;
  std::size_t items = 0;
  for (const Folders::node_type& folder : former) items += folder.mapped().items.Size();
  LetGo(std::make_shared<std::vector<Folders::node_type>>(std::move(former)), items);
}

// Measured now and then, as there may be very many folders.
std::vector<CSyncCache::Folders::node_type> CSyncCache::Grow(std::size_t bytes,
                                                             const CSyncCacheFolder* kept) {
  const auto bytesOf = [](const Folders::value_type& folder) {
    return kBytesPerFolder + folder.first.size() + folder.second.items.Bytes();
  };
  std::vector<Folders::node_type> crowdedOut;
  grown_ += kBytesPerFolder + bytes;
  if (grown_ <= mostBytes_ / 8) return crowdedOut;
  grown_ = 0;
  std::size_t all = 0;
  for (const auto& folder : folders_) all += bytesOf(folder);
  if (all <= mostBytes_) return crowdedOut;
  std::vector<std::tuple<bool, std::int64_t, Folders::iterator>> oldest;
  for (auto folder = folders_.begin(); folder != folders_.end(); ++folder) {
    if (&folder->second == kept) continue;
    oldest.emplace_back(IsObserved(folder->first), folder->second.lastAccess, folder);
  }
  std::sort(oldest.begin(), oldest.end(), [](const auto& a, const auto& b) {
    return std::tie(std::get<0>(a), std::get<1>(a)) < std::tie(std::get<0>(b), std::get<1>(b));
  });
  ++statusChanges_;
  for (const auto& [isObserved, lastAccess, folder] : oldest) {
    if (all <= mostBytes_ / 4 * 3) break;
    all -= bytesOf(*folder);
    crowdedOut.push_back(folders_.extract(folder));
  }
  KELVO_LOG(kLogWarning,
            "too much is known of files: " << crowdedOut.size() << " folders are forgotten");
  return crowdedOut;
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

std::vector<CSyncCache::Folders::node_type> CSyncCache::TakeExpired() {
  std::vector<Folders::node_type> expired;
  CMutexLock lock(mutex_);
  const std::int64_t now = Now();
  for (auto entry = folders_.begin(); entry != folders_.end();) {
    const auto current = entry++;
    const auto& [path, folder] = *current;
    const std::int64_t limit = folder.valid ? kExpiry : kListPatience;
    if (now - folder.lastAccess <= limit || IsObserved(path)) continue;
    KELVO_LOG(kLogDebug, "Folder cache expired " << path << " (last access "
                                                 << DateToString(folder.lastAccess, 0)
                                                 << (folder.valid ? ", valid)" : ", invalid)"));
    ++statusChanges_;
    expired.push_back(folders_.extract(current));
  }
  return expired;
}

void CSyncCache::OnTimer(CTimer* /*timer*/) {
  std::vector<std::string> paths;
  std::size_t items = 0;
  auto expired = std::make_shared<std::vector<Folders::node_type>>(TakeExpired());
  for (Folders::node_type& folder : *expired) {
    items += folder.mapped().items.Size();
    paths.push_back(std::move(folder.key()));
  }
  LetGo(std::move(expired), items);
  if (items >= kWorthReleasing && items < kWorthFreeingAside) Aside(ReleaseFreeMemory);
  if (sweepObserver_) sweepObserver_(paths);
}

}  // namespace kelvo
